#pragma once

#include "store/QWManagedObjectContext.h"
#include "testing/QWVirtualWorld.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

// A record class with hooks that tests can watch.
class HookedRecord : public QWManagedObject {
public:
    void awakeFromInsert() override {
        ++awakenings;
        setPrimitiveValueForKey("note", QStringLiteral("primitive"));
        setValueForKey("name", QStringLiteral("unnamed"));
    }
    int awakenings = 0;
};

// Authors write books; books have chapters in order and share tags; a shelf may only go when it is empty;
// novels are books with a genre; hooked records have an insertion hook.
inline std::shared_ptr<QWManagedObjectModel> libraryModel() {
    auto model = std::make_shared<QWManagedObjectModel>();
    auto& author = model->addEntity("Author");
    author.addAttribute("name", QWAttributeType::String);
    author.addAttribute("code", QWAttributeType::String).setIndexedFolded();
    author.addToMany("books", "Book").setInverse("author");
    author.addToOne("spouse", "Author").setInverse("spouse");
    auto& book = model->addEntity("Book");
    book.addAttribute("title", QWAttributeType::String);
    book.addAttribute("pages", QWAttributeType::Integer).setDefault(0);
    book.addAttribute("price", QWAttributeType::Double);
    book.addAttribute("read", QWAttributeType::Boolean);
    book.addAttribute("added", QWAttributeType::Date);
    book.addAttribute("cover", QWAttributeType::Data);
    book.addToOne("author", "Author").setInverse("books");
    book.addOrderedToMany("chapters", "Chapter").setInverse("book").setDeleteRule(QWDeleteRule::Cascade);
    book.addToMany("tags", "Tag").setInverse("books");
    book.addToOne("shelf", "Shelf").setInverse("books");
    auto& novel = model->addEntity("Novel");
    novel.setParent("Book");
    novel.addAttribute("genre", QWAttributeType::String);
    auto& chapter = model->addEntity("Chapter");
    chapter.addAttribute("heading", QWAttributeType::String);
    chapter.addToOne("book", "Book").setInverse("chapters");
    auto& tag = model->addEntity("Tag");
    tag.addAttribute("name", QWAttributeType::String).setOptional(false);
    tag.addToMany("books", "Book").setInverse("tags");
    auto& shelf = model->addEntity("Shelf");
    shelf.addAttribute("name", QWAttributeType::String);
    shelf.addToMany("books", "Book").setInverse("shelf").setDeleteRule(QWDeleteRule::Deny);
    auto& hooked = model->addEntity<HookedRecord>("Hooked");
    hooked.addAttribute("name", QWAttributeType::String);
    hooked.addAttribute("note", QWAttributeType::String);
    return model;
}

// A store of that model in a folder of its own, and a context on it.
class StoreTest : public ::testing::Test {
protected:
    using Ref = QWRef<QWManagedObject>;

    void SetUp() override {
        coordinator = openStore();
        context = makeContext();
    }

    std::shared_ptr<QWPersistentStoreCoordinator> openStore() {
        auto opened = std::make_shared<QWPersistentStoreCoordinator>(libraryModel(), world.environment());
        QWError error;
        EXPECT_TRUE(opened->addStore(folder.filePath("library.sqlite"), {}, &error))
            << error.message.toStdString();
        return opened;
    }
    std::shared_ptr<QWManagedObjectContext>
    makeContext(QWConcurrencyType type = QWConcurrencyType::MainQueue) {
        return std::make_shared<QWManagedObjectContext>(coordinator, type);
    }

    Ref insert(const QString& entity, const QVariantMap& values = {}) {
        return insertIn(*context, entity, values);
    }
    static Ref insertIn(QWManagedObjectContext& target, const QString& entity,
                        const QVariantMap& values = {}) {
        Ref record = target.insertObject(entity);
        for (auto value = values.begin(); value != values.end(); ++value)
            EXPECT_TRUE(record->setValueForKey(value.key(), value.value())) << value.key().toStdString();
        return record;
    }
    void save() { save(*context); }
    static void save(QWManagedObjectContext& target) {
        QWError error;
        ASSERT_TRUE(target.save(&error)) << error.message.toStdString();
    }
    static QWManagedObjectSet fetchIn(QWManagedObjectContext& target, const QString& entity,
                                      const QString& condition = "TRUEPREDICATE") {
        QWError error;
        const auto predicate = QWPredicate::parse(condition, {}, &error);
        EXPECT_TRUE(predicate) << error.message.toStdString();
        const auto records = target.fetch(QWFetchRequest(entity, *predicate), &error);
        EXPECT_TRUE(records) << error.message.toStdString();
        return records.value_or(QWManagedObjectSet());
    }
    QWManagedObjectSet fetch(const QString& entity, const QString& condition = "TRUEPREDICATE") {
        return fetchIn(*context, entity, condition);
    }
    template <class List>
    static QStringList names(const List& records, const QString& key) {
        QStringList result;
        for (const auto& record : records)
            result << record->valueForKey(key).toString();
        return result;
    }

    QTemporaryDir folder;
    QWVirtualWorld world;
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
    std::shared_ptr<QWManagedObjectContext> context;
};

// Collects the change notices of a context, with each updated or inserted record's changed keys at the time.
struct NoticeLog {
    explicit NoticeLog(QWManagedObjectContext& context) {
        observation = context.observeObjectsDidChange([this](const QWObjectsDidChangeNotice& notice) {
            QStringList keysOfNotice;
            for (const auto* set : {&notice.inserted, &notice.updated, &notice.refreshed, &notice.deleted})
                for (const auto& record : *set)
                    keysOfNotice << record->changedKeysForCurrentEvent().join(',');
            notices.push_back(notice);
            keys.push_back(keysOfNotice);
        });
    }
    std::vector<QWObjectsDidChangeNotice> notices;
    std::vector<QStringList> keys; // for each notice, of its records in the order of the four sets
    QWObservation observation;
};
