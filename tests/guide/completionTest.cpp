#include "editing/QWTokenFieldSubstringCompletion.h"
#include "editing/widgets/QWComboBoxAutocompletion.h"
#include "editing/widgets/QWTokenFieldWidget.h"
#include "testing/QWVirtualWorld.h"

#include <QApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

class CompletionGuide : public testing::Test {
protected:
    CompletionGuide() {
        auto model = std::make_shared<QWManagedObjectModel>();
        auto& entity = model->addEntity("Visit");
        entity.addAttribute("tags", QWAttributeType::String).setIndexed();
        entity.addAttribute("city", QWAttributeType::String).setIndexed();
        const auto coordinator = std::make_shared<QWPersistentStoreCoordinator>(model, world.environment());
        EXPECT_TRUE(coordinator->addStore(folder.filePath("visits.sqlite")));
        context = std::make_shared<QWManagedObjectContext>(coordinator);
        visit = context->insertObject("Visit");
        visit->setValueForKey("tags", "red, dark blue");
        visit->setValueForKey("city", "Rome");
        EXPECT_TRUE(context->save());
    }

    QTemporaryDir folder;
    QWVirtualWorld world;
    std::shared_ptr<QWManagedObjectContext> context;
    QWRef<QWManagedObject> visit;
};

TEST_F(CompletionGuide, Completes_tokens) {
    QWTokenFieldSubstringCompletion completion(context, "Visit", ",");
    QWTokenFieldWidget field;
    field.setObservedKeyPath("selection.tags"); // edits the attribute "tags"
    field.setDelegate(&completion);
    EXPECT_EQ(completion.tokenFieldCompletionsForSubstring(field, "DÁ", 0, nullptr),
              QStringList({"dark blue"}));

    field.setValue(visit->valueForKey("tags").toString());
    QObject::connect(&field, &QWTokenFieldWidget::tokensChanged, &field,
                     [&] { visit->setValueForKey("tags", field.value()); });
    EXPECT_EQ(field.tokens(), QStringList({"red", "dark blue"}));
    field.setTokens({"red", "green"});
    EXPECT_EQ(visit->valueForKey("tags"), "red, green");
}

TEST_F(CompletionGuide, Completes_values) {
    const std::shared_ptr source = QWComboBoxAutocompleteDatasource::create(context, "Visit");
    QComboBox box;
    box.setProperty("observedKeyPath", "selection.city");
    new QWComboBoxAutocompletion(box, source); // becomes a child of the box
    box.show();
    QApplication::setActiveWindow(&box);
    box.setFocus();
    ASSERT_EQ(box.count(), 1);
    EXPECT_EQ(box.itemText(0), "Rome");
}

TEST_F(CompletionGuide, Keeps_values_in_memory) {
    const auto kept = context->keepDistinctValues("Visit", "tags"); // for as long as `kept` lives
    EXPECT_TRUE(kept);
}

} // namespace
