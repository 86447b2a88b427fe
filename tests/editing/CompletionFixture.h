#pragma once

#include "editing/QWTokenField.h"
#include "store/QWManagedObjectContext.h"
#include "testing/QWVirtualWorld.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

// A field as data.
struct FieldDouble : QWTokenField {
    QString observedKeyPath() const override { return path; }
    QString identifier() const override { return name; }
    QStringList objectValue() const override { return tokens; }

    QString path = "selection.tags", name;
    QStringList tokens;
};

// A store of notes with tags and a kind.
class CompletionTest : public ::testing::Test {
protected:
    CompletionTest() {
        auto model = std::make_shared<QWManagedObjectModel>();
        auto& note = model->addEntity("Note");
        note.addAttribute("tags", QWAttributeType::String).setIndexed();
        note.addAttribute("kind", QWAttributeType::String);
        note.addAttribute("size", QWAttributeType::Integer);
        coordinator = std::make_shared<QWPersistentStoreCoordinator>(model, world.environment());
        QWError error;
        EXPECT_TRUE(coordinator->addStore(folder.filePath("notes.sqlite"), {QWSynchronous::Normal}, &error))
            << error.message.toStdString();
        context = std::make_shared<QWManagedObjectContext>(coordinator);
    }
    QWRef<QWManagedObject> insert(const QString& key, const QVariant& value) {
        auto note = context->insertObject("Note");
        EXPECT_TRUE(note->setValueForKey(key, value));
        return note;
    }
    void save(const QString& key, const QStringList& values) {
        for (const QString& value : values)
            insert(key, value);
        ASSERT_TRUE(context->save());
    }

    QTemporaryDir folder;
    QWVirtualWorld world;
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
    std::shared_ptr<QWManagedObjectContext> context;
};
