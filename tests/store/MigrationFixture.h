#pragma once

#include "store/StoreRows.h"

#include "store/QWStoreError.h"

#include <QFile>
#include <QTemporaryDir>
#include <gmock/gmock.h>

// A store file that is opened with one model after another, and the models that several tests declare.
class Migration : public ::testing::Test {
protected:
    using Model = QWManagedObjectModel;
    using Type = QWAttributeType;
    using Declare = std::function<void(Model&)>;
    using DeclareEntity = std::function<void(QWEntityDescription&)>;

    QTemporaryDir folder;
    const QString path = folder.filePath("a.store");

    // Opens the file with the model that `declare` describes; the store before is closed.
    OpenStore& open(const Declare& declare, const QWStoreOptions& options = {QWSynchronous::Normal}) {
        store_.reset();
        model_ = std::make_unique<Model>();
        declare(*model_);
        QWError error;
        EXPECT_TRUE(model_->complete(&error)) << error.message.toStdString();
        store_ = std::make_unique<OpenStore>(path, *model_, options);
        return *store_;
    }
    OpenStore& migrated(const Declare& declare) {
        OpenStore& opened = open(declare);
        EXPECT_TRUE(opened) << opened.message();
        return opened;
    }
    // The reasons why the file cannot be migrated; checks that it is as it was.
    std::vector<std::string> refusal(const Declare& declare) {
        store_.reset();
        const QByteArray before = content();
        OpenStore& opened = open(declare);
        EXPECT_FALSE(opened);
        EXPECT_EQ(QWStoreErrorCode(opened.error.code), QWStoreErrorCode::CannotMigrate);
        EXPECT_EQ(opened.error.userInfo["path"], QVariant(path));
        EXPECT_TRUE(content() == before);
        EXPECT_FALSE(QFile::exists(path + "-wal"));
        std::vector<std::string> reasons;
        for (const QString& reason : opened.error.userInfo["reasons"].toStringList()) {
            EXPECT_TRUE(opened.error.message.contains(reason));
            reasons.push_back(reason.toStdString());
        }
        return reasons;
    }
    QByteArray content() const {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    // An id of the present model for a record of an earlier one.
    QWManagedObjectID now(const QWManagedObjectID& id, const QString& entity) const {
        return {model_->entity(entity), id.key};
    }
    std::vector<qint64> memberKeys(const QString& entity, const QString& relationship, qint64 owner) {
        std::vector<qint64> keys;
        for (const auto& id : (*store_)->members(store_->property(entity, relationship), owner))
            keys.push_back(id.key);
        return keys;
    }

    // Parts of models.
    static void declareBook(Model& model) { model.addEntity("Book").addAttribute("title", Type::String); }
    // Books and authors; the arguments declare the properties that differ.
    static Declare library(const DeclareEntity& book, const DeclareEntity& author) {
        return [=](Model& model) {
            book(model.addEntity("Book"));
            author(model.addEntity("Author"));
        };
    }
    static void nothing(QWEntityDescription&) {}
    static void toOneAuthor(QWEntityDescription& entity) { entity.addToOne("author", "Author"); }
    static void authorWithInverse(QWEntityDescription& entity) {
        entity.addToOne("author", "Author").setInverse("books");
    }
    static void books(QWEntityDescription& entity) { entity.addToMany("books", "Book"); }

private:
    std::unique_ptr<Model> model_;
    std::unique_ptr<OpenStore> store_;
};
