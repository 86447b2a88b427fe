#include "editing/QWManagedObjectContextAutosaver.h"
#include "editing/QWValueTransformer.h"
#include "support/BookLibrary.h"

namespace {

TEST(EditingGuide, Saves_what_an_editor_holds) {
    BookLibrary library;
    const auto context = library.context;
    const auto book = library.insertBook();
    const struct { QString text = "typed"; } field;
    const QWManagedObjectContextAutosaver autosaver(
        context); // saves every ten seconds, until it is destroyed
    const QWObservation editor =
        context->registerEditor([&] { return book->setValueForKey("title", field.text); });
    library.world.runLoop->advance(std::chrono::seconds(10));
    EXPECT_FALSE(context->hasChanges());
    EXPECT_EQ(book->valueForKey("title"), "typed");
}

TEST(EditingGuide, Finds_transformers_by_name) {
    BookLibrary library;
    const auto book = library.insertBook();
    const auto tokens = QWValueTransformer::valueTransformerForName("QWNSStringNSArrayTransformer");
    book->setValueForKey("tags",
                         tokens->reverseTransformedValue(QStringList{"red", "round"})); // "red; round"
    EXPECT_EQ(book->valueForKey("tags"), "red; round");
}

} // namespace
