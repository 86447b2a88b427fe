#pragma once

#include "model/AtlasModel.h"
#include "model/AtlasRecords.h"
#include "store/QWManagedObjectContext.h"
#include "testing/QWVirtualWorld.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// A small set of ISO tables and flags: two countries with a flag, one without; regions whose parents are
// written in both ways; two languages, two currencies.
class ISOFixture {
public:
    ISOFixture() {
        QDir(folder_.path()).mkdir("flags");
        write("iso_4217.json", R"({"4217": [
            {"alpha_3": "EUR", "name": "Euro", "numeric": "978"},
            {"alpha_3": "JPY", "name": "Yen", "numeric": "392"}]})");
        write("iso_639-2.json", R"({"639-2": [
            {"alpha_2": "fr", "alpha_3": "fra", "name": "French"}, {"alpha_3": "gsw", "name": "Swiss German"}]})");
        write("iso_3166-1.json", R"({"3166-1": [
            {"alpha_2": "AX", "alpha_3": "ALA", "name": "Åland Islands", "numeric": "248"},
            {"alpha_2": "FR", "alpha_3": "FRA", "name": "France", "numeric": "250", "official_name": "French Republic"},
            {"alpha_2": "JP", "alpha_3": "JPN", "name": "Japan", "numeric": "392"}]})");
        write("iso_3166-2.json", R"({"3166-2": [
            {"code": "FR-75", "name": "Paris", "type": "Metropolitan department", "parent": "IDF"},
            {"code": "FR-77", "name": "Seine-et-Marne", "type": "Metropolitan department", "parent": "FR-IDF"},
            {"code": "FR-IDF", "name": "Île-de-France", "type": "Metropolitan region"},
            {"code": "JP-13", "name": "Tokyo", "type": "Prefecture"}]})");
        write("flags/fr.png", "the flag of France");
        write("flags/jp.png", "the flag of Japan");
    }

    QString path() const { return folder_.path(); }
    QString flagsPath() const { return folder_.filePath("flags"); }
    void write(const QString& name, const QByteArray& bytes) {
        QFile file(folder_.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    void remove(const QString& name) { QFile::remove(folder_.filePath(name)); }

private:
    QTemporaryDir folder_;
};

// The records of an atlas in a folder of their own, without an engine.
class AtlasTest : public ::testing::Test {
protected:
    AtlasTest() {
        const auto coordinator =
            std::make_shared<QWPersistentStoreCoordinator>(atlas::makeModel(), world_.environment());
        EXPECT_TRUE(coordinator->addStore(folder_.filePath("Atlas.sqlite")));
        context_ = std::make_shared<QWManagedObjectContext>(coordinator);
    }

    using Record = QWManagedObjectWithSyncSupport;

    template <class Class = Record>
    QWRef<Class> insert(const QString& entity) {
        return QWRef<Class>(static_cast<Class*>(context_->insertObject(entity).data()));
    }
    QWRef<Record> find(const QString& entity, const QString& uuid) {
        return Record::fetchObjectWithUUID(uuid, entity, *context_);
    }
    QString imagePath(const QString& uuid) const { return folder_.filePath("images/Country-" + uuid); }
    static QByteArray contents(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QWVirtualWorld world_;
    QTemporaryDir folder_;
    std::shared_ptr<QWManagedObjectContext> context_;
};
