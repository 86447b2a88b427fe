#pragma once

#include "core/QWManagedObjectWithSyncSupport.h"
#include "store/QWManagedObjectContext.h"
#include "testing/QWVirtualWorld.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

// A small host of tests: authors write books, books have chapters in order, shelves hold books in order.

inline QWFieldDescriptions fieldList(std::initializer_list<QWManagedObjectFieldDescription*> fields) {
    QWFieldDescriptions list;
    for (auto* field : fields)
        list.append(std::shared_ptr<const QWManagedObjectFieldDescription>(field));
    return list;
}

inline QWManagedObjectFieldDescription* dateField(const QString& key) {
    return new QWManagedObjectFieldDescriptionDate(
        key, key, std::make_shared<QWPatternDateFormatter>("dd.MM.yyyy HH:mm", QLocale::c()));
}

class Author final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override {
        static const auto fields =
            fieldList({new QWManagedObjectFieldDescriptionString("name", "Name"), dateField("dateModified")});
        return &fields;
    }
};

class Book final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override {
        static const auto fields = fieldList({
            new QWManagedObjectFieldDescriptionString("title", "sortTitle", "*C* title"),
            new QWManagedObjectFieldDescriptionStringArray("tags", "sortTags", "Tags"),
            new QWManagedObjectFieldDescriptionLongString("summary", "Summary"),
            new QWManagedObjectFieldDescriptionLongString("notes", "Notes", true),
            new QWManagedObjectFieldDescriptionBool("read", "Read"),
            new QWManagedObjectFieldDescriptionNumber("pages", "Pages"),
            new QWManagedObjectFieldDescriptionNumber("price", true, "Price"),
            dateField("added"),
            dateField("dateModified"),
            new QWManagedObjectFieldDescriptionLevel("rating", "Rating", true, 5),
            new QWManagedObjectFieldDescriptionEnum("format", "formatName", "Format", {1, 2},
                                                    {"Hardcover", "Paperback"}),
            new QWManagedObjectFieldDescriptionImageURL("imageURL", "Cover"),
            new QWManagedObjectFieldDescriptionRelationship("author", "Author", "Author", false),
            new QWManagedObjectFieldDescriptionRelationship("chapters", "Chapters", "Chapter", true),
            new QWManagedObjectFieldDescriptionRelationship("related", "Related", "Book", true),
        });
        return &fields;
    }
    QUrl imageURL() const override { return image; }

    QUrl image;
};

class Chapter final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override {
        static const auto fields =
            fieldList({new QWManagedObjectFieldDescriptionString("heading", "Heading"),
                       new QWManagedObjectFieldDescriptionRelationship("book", "Book", "Book", false)});
        return &fields;
    }
};

// Refers to stickers too, which are no synced records, and to pens, which describe no fields.
class Shelf final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override {
        static const auto fields = fieldList({
            dateField("dateModified"),
            new QWManagedObjectFieldDescriptionRelationship("books", "Books", "Book", true),
            new QWManagedObjectFieldDescriptionRelationship("sticker", "Sticker", "Sticker", false),
            new QWManagedObjectFieldDescriptionRelationship("stickers", "Stickers", "Sticker", true),
            new QWManagedObjectFieldDescriptionRelationship("pen", "Pen", "Pen", false),
        });
        return &fields;
    }
};

class Pen final : public QWManagedObjectWithSyncSupport {};

struct BookLibrary {
    BookLibrary()
        : coordinator(std::make_shared<QWPersistentStoreCoordinator>(model(), world.environment())) {
        QWError error;
        EXPECT_TRUE(coordinator->addStore(folder.filePath("books.sqlite"), {}, &error))
            << error.message.toStdString();
        context = std::make_shared<QWManagedObjectContext>(coordinator);
    }

    static std::shared_ptr<QWManagedObjectModel> model() {
        auto model = std::make_shared<QWManagedObjectModel>();
        auto& author = model->addEntity<Author>("Author");
        addSyncAttributes(author);
        author.addAttribute("name", QWAttributeType::String);
        author.addToMany("books", "Book").setInverse("author");

        auto& book = model->addEntity<Book>("Book");
        addSyncAttributes(book);
        for (const auto* key : {"title", "sortTitle", "tags", "sortTags", "summary", "formatName"})
            book.addAttribute(key, QWAttributeType::String);
        book.addAttribute("notes", QWAttributeType::Document);
        book.addAttribute("read", QWAttributeType::Boolean);
        for (const auto* key : {"pages", "rating", "format"})
            book.addAttribute(key, QWAttributeType::Integer);
        book.addAttribute("price", QWAttributeType::Double);
        book.addAttribute("added", QWAttributeType::Date);
        book.addToOne("author", "Author").setInverse("books");
        book.addOrderedToMany("chapters", "Chapter").setInverse("book").setDeleteRule(QWDeleteRule::Cascade);
        book.addToMany("related", "Book").setInverse("relatedBy");
        book.addToMany("relatedBy", "Book").setInverse("related");
        book.addToMany("shelves", "Shelf").setInverse("books");

        auto& chapter = model->addEntity<Chapter>("Chapter");
        addSyncAttributes(chapter);
        chapter.addAttribute("heading", QWAttributeType::String);
        chapter.addToOne("book", "Book").setInverse("chapters");

        auto& shelf = model->addEntity<Shelf>("Shelf");
        addSyncAttributes(shelf);
        shelf.addOrderedToMany("books", "Book").setInverse("shelves");
        shelf.addToOne("sticker", "Sticker");
        shelf.addToMany("stickers", "Sticker");
        shelf.addToOne("pen", "Pen");
        model->addEntity("Sticker").addAttribute("text", QWAttributeType::String);
        addSyncAttributes(model->addEntity<Pen>("Pen"));
        return model;
    }

    template <class Record>
    QWRef<Record> insert(const QString& entityName, const QVariantMap& values = {}) {
        QWRef<Record> record(static_cast<Record*>(context->insertObject(entityName).data()));
        for (auto value = values.begin(); value != values.end(); ++value) {
            QWError error;
            EXPECT_TRUE(record->setValueForKey(value.key(), *value, &error)) << error.message.toStdString();
        }
        return record;
    }
    QWRef<Book> insertBook(const QVariantMap& values = {}) { return insert<Book>("Book", values); }
    QWRef<Author> insertAuthor(const QVariantMap& values = {}) { return insert<Author>("Author", values); }
    QWRef<Chapter> insertChapter(Book& book, const QString& heading) {
        auto chapter = insert<Chapter>("Chapter", {{"heading", heading}});
        chapter->setRelatedObject("book", &book);
        return chapter;
    }

    void save() {
        QWError error;
        EXPECT_TRUE(context->save(&error)) << error.message.toStdString();
    }
    qint64 count(const QString& entityName) const {
        return context->count(QWFetchRequest(entityName)).value_or(-1);
    }
    QString path(const QString& name) const { return folder.filePath(name); }

    QWVirtualWorld world;
    QTemporaryDir folder;
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
    std::shared_ptr<QWManagedObjectContext> context;
};

inline QDateTime utc(const char* text) {
    return qw::text::dateFromText(text);
}
