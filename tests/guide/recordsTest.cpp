// The code of docs/guide/records.md.

#include "core/QWManagedObjectWithSyncSupport.h"
#include "store/QWManagedObjectContext.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

class Author final : public QWManagedObjectWithSyncSupport {
    inline static const QWFieldDescriptions fields = {
        std::make_shared<QWManagedObjectFieldDescriptionString>("name", "Name"),
        std::make_shared<QWManagedObjectFieldDescriptionDate>("dateModified", "Modified",
                                                              dateModifiedFormatter())};
    const QWFieldDescriptions* fieldDescriptions() const override { return &fields; }
};

class Book final : public QWManagedObjectWithSyncSupport {
    inline static const QWFieldDescriptions fields = {
        std::make_shared<QWManagedObjectFieldDescriptionString>("title", "Title"),
        std::make_shared<QWManagedObjectFieldDescriptionNumber>("pages", "Pages"),
        std::make_shared<QWManagedObjectFieldDescriptionRelationship>("author", "Author", "Author", false),
        std::make_shared<QWManagedObjectFieldDescriptionDate>("dateModified", "Modified",
                                                              dateModifiedFormatter())};
    const QWFieldDescriptions* fieldDescriptions() const override { return &fields; }
};

TEST(RecordsGuide, Declares_saves_finds_and_follows_records) {
    const QTemporaryDir directory;
    const QString folder = directory.path();

    const auto model = std::make_shared<QWManagedObjectModel>();
    auto& author = model->addEntity<Author>("Author");
    addSyncAttributes(author);
    author.addAttribute("name", QWAttributeType::String).setIndexed();
    author.addToMany("books", "Book").setInverse("author");
    auto& book = model->addEntity<Book>("Book");
    addSyncAttributes(book);
    book.addAttribute("title", QWAttributeType::String);
    book.addAttribute("pages", QWAttributeType::Integer);
    book.addToOne("author", "Author").setInverse("books");

    QWError error;
    const auto coordinator = std::make_shared<QWPersistentStoreCoordinator>(model);
    if (!coordinator->addStore(folder + "/books.sqlite", {}, &error))
        qFatal("%s", qPrintable(error.message));
    const auto context = std::make_shared<QWManagedObjectContext>(coordinator);

    size_t shown = 0;
    const auto showAgain = [&](const auto&... sets) { shown += (sets.size() + ...); };
    const QWObservation observation =
        context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
            showAgain(notice.inserted, notice.updated, notice.refreshed, notice.deleted);
        });

    const auto ada = context->insertObject("Author");
    ada->setValueForKey("name", "Ada Field");
    const auto road = context->insertObject("Book");
    road->setValueForKey("title", "The Long Road");
    road->setValueForKey("pages", 320);
    road->setRelatedObject("author", ada.data()); // and Ada's books have it
    if (!context->save(&error))
        context->environment().errorPresenter().presentError(error);
    EXPECT_FALSE(context->hasChanges());
    EXPECT_EQ(shown, 2u);
    EXPECT_EQ(ada->relatedObjects("books").size(), 1);

    QWFetchRequest request("Book", *QWPredicate::parse("title CONTAINS[cd] %@ AND pages > 100", {"long"}));
    request.sortDescriptors = {{"title", true, QWSortDescriptor::Comparison::LocalizedCaseInsensitive}};
    QStringList titles;
    for (const auto& found : context->fetch(request).value_or(QWManagedObjectSet()))
        titles.append(found->valueForKey("title").toString());
    EXPECT_EQ(titles, QStringList{"The Long Road"});
}

} // namespace
