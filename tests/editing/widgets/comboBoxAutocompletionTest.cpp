#include "editing/CompletionFixture.h"
#include "editing/widgets/QWComboBoxAutocompletion.h"
#include "ui_bindings.h"

#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

namespace {

class ComboBox : public CompletionTest {
protected:
    ComboBox() {
        save("kind", {"apple", "Banana", "bandage", "Éclair"});
        box.setProperty("observedKeyPath", "selection.kind");
        new QWComboBoxAutocompletion(box, source);
        other.setParent(&window);
        box.setParent(&window);
        window.show();
        QApplication::setActiveWindow(&window);
        box.setFocus();
    }
    ~ComboBox() override {
        other.setParent(nullptr);
        box.setParent(nullptr);
    }
    QStringList items(const QComboBox& of) {
        QStringList texts;
        for (int i = 0; i < of.count(); ++i)
            texts << of.itemText(i);
        return texts;
    }
    void press(Qt::Key key) { QTest::keyClick(box.lineEdit(), key); }

    std::shared_ptr<QWComboBoxAutocompleteDatasource> source =
        QWComboBoxAutocompleteDatasource::create(context, "Note");
    QWidget window;
    QComboBox box;
    QLineEdit other;
};

TEST_F(ComboBox, Lists_what_the_store_has) {
    EXPECT_EQ(items(box), QStringList({"apple", "Banana", "bandage", "Éclair"}));
    EXPECT_EQ(box.currentText(), "");
    EXPECT_TRUE(box.isEditable());
}

TEST_F(ComboBox, Puts_the_rest_of_the_first_match_behind_the_typed_letters) {
    QTest::keyClicks(box.lineEdit(), "BA");
    EXPECT_EQ(box.currentText(), "BAnana");
    EXPECT_EQ(box.lineEdit()->selectedText(), "nana");
    QTest::keyClicks(box.lineEdit(), "nd");
    EXPECT_EQ(box.currentText(), "BAndage");
    QTest::keyClicks(box.lineEdit(), "x");
    EXPECT_EQ(box.currentText(), "BAndx") << "nothing begins with it";
}

TEST_F(ComboBox, Return_and_leaving_the_box_take_the_item_in_its_own_letters) {
    QSignalSpy chosen(&box, &QComboBox::textActivated);
    QTest::keyClicks(box.lineEdit(), "ec");
    press(Qt::Key_Return);
    EXPECT_EQ(box.currentText(), "Éclair");
    EXPECT_EQ(box.currentIndex(), 3);
    EXPECT_EQ(chosen.size(), 1);
    box.lineEdit()->selectAll();
    QTest::keyClicks(box.lineEdit(), "BA");
    other.setFocus();
    EXPECT_EQ(box.currentText(), "Banana");
    EXPECT_EQ(box.currentIndex(), 1);
}

TEST_F(ComboBox, Escape_and_backspace_keep_to_what_is_typed) {
    QTest::keyClicks(box.lineEdit(), "ba");
    press(Qt::Key_Escape);
    EXPECT_EQ(box.currentText(), "ba");
    press(Qt::Key_Return);
    EXPECT_EQ(box.currentText(), "ba");
    box.clearEditText();
    QTest::keyClicks(box.lineEdit(), "ba");
    press(Qt::Key_Backspace);
    EXPECT_EQ(box.currentText(), "ba");
}

TEST_F(ComboBox, An_item_that_is_chosen_by_arrow_stays_that_item) {
    save("kind", {"Apple"});
    source->updateCacheForComboBoxWithKey("kind");
    other.setFocus();
    box.setFocus();
    QTest::keyClicks(box.lineEdit(), "ap");
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    EXPECT_EQ(box.currentText(), "apple");
    other.setFocus();
    EXPECT_EQ(box.currentText(), "apple") << "and not the proposed Apple";
}

TEST_F(ComboBox, The_text_stays_when_the_list_comes) {
    QComboBox late;
    late.setEditable(true);
    late.setEditText("bandage");
    late.setObjectName("kind");
    new QWComboBoxAutocompletion(late, source);
    EXPECT_EQ(late.currentText(), "bandage");
    late.setParent(&window);
    late.show();
    late.setFocus();
    EXPECT_EQ(late.currentText(), "bandage");
    EXPECT_EQ(late.currentIndex(), 2);
}

TEST_F(ComboBox, Boxes_of_different_attributes_share_a_data_source_and_keep_their_lists) {
    save("tags", {"red"});
    QComboBox tags(&window);
    tags.setProperty("identifier", "tags");
    new QWComboBoxAutocompletion(tags, source);
    tags.show();
    tags.setFocus();
    EXPECT_EQ(items(tags), QStringList({"red"}));
    EXPECT_EQ(items(box).size(), 4);
    save("kind", {"cherry"});
    box.setFocus();
    EXPECT_TRUE(items(box).contains("cherry")) << "the list was read anew";
    save("kind", {"date"});
    other.setFocus();
    box.setFocus();
    EXPECT_FALSE(items(box).contains("date")) << "the list is kept while no other is asked for";
    tags.setParent(nullptr);
}

TEST_F(ComboBox, A_form_of_the_designer_names_the_attributes) {
    QWidget form;
    Ui::BindingsForm widgets;
    widgets.setupUi(&form);
    EXPECT_EQ(widgets.tagField->fieldKey(), "tags");
    EXPECT_EQ(widgets.tagField->separator(), ";");
    new QWComboBoxAutocompletion(*widgets.kindBox, source);
    form.show();
    QApplication::setActiveWindow(&form);
    widgets.kindBox->setFocus();
    EXPECT_EQ(items(*widgets.kindBox).size(), 4);
}

} // namespace
