#include "FetchedRecordsFixture.h"

#include "store/QWStoreError.h"
#include "testing/QWLogCapture.h"
#include "views/QWTableCell.h"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QPointer>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

// What a person does with a table of records: sorting, searching, editing.

using ModelInUse = FetchedRecordsTest;

// Sorting and requests --------------------------------------------------------------------------------------

TEST_F(ModelInUse, A_click_on_a_header_sorts_by_its_field_and_another_the_other_way_round) {
    insertBook("b", {{"pages", 1}});
    insertBook("a", {{"pages", 3}});
    insertBook("c", {{"pages", 2}});
    save();
    showBooks();
    QTableView view;
    view.setModel(model.get());
    view.sortByColumn(Title, Qt::AscendingOrder);
    view.setSortingEnabled(true);
    view.resize(600, 300);
    view.show();
    const auto click = [&](int column) {
        QHeaderView& header = *view.horizontalHeader();
        QTest::mouseClick(header.viewport(), Qt::LeftButton, {},
                          {header.sectionViewportPosition(column) + 10, header.height() / 2});
    };
    MirrorList mirror(*model);
    click(Pages);
    EXPECT_EQ(titles(), QStringList({"b", "c", "a"}));
    EXPECT_EQ(mirror.told(), QStringList{"layout"});
    EXPECT_EQ(model->sortColumn(), int(Pages));
    click(Pages);
    EXPECT_EQ(titles(), QStringList({"a", "c", "b"}));
    EXPECT_EQ(model->sortOrder(), Qt::DescendingOrder);
    EXPECT_EQ(mirror.texts, titles());
    model->sort(-1);
    EXPECT_EQ(titles(), QStringList({"a", "b", "c"}));
    EXPECT_EQ(model->sortColumn(), -1);
}

TEST_F(ModelInUse, A_column_that_gives_no_order_leaves_the_rows) {
    insertBooks({"b", "a"});
    showBooks();
    model->sort(AuthorColumn);
    model->sort(99);
    EXPECT_EQ(titles(), QStringList({"a", "b"}));
    EXPECT_EQ(model->sortColumn(), -1);
}

TEST(FetchedRecordsModelInUse, A_column_that_the_store_cannot_sort_by_is_reported_and_leaves_the_rows) {
    BookLibrary library;
    const auto book = library.insertBook();
    QWFetchedRecordsModel model(library.context, QWFetchRequest("Book"), *book->fieldDescriptions());
    QSignalSpy failed(&model, &QWFetchedRecordsModel::fetchFailed);
    QWLogCapture log;
    model.sort(model.columnOfKey("imageURL"));
    EXPECT_EQ(failed.size(), 1);
    EXPECT_EQ(model.fetchError().code, int(QWStoreErrorCode::UnknownKey));
    EXPECT_EQ(log.texts("qwlibrary.core").size(), 1);
    EXPECT_EQ(model.rowCount(), 1);
    EXPECT_EQ(model.sortColumn(), -1);
    EXPECT_TRUE(model.refetch());
    EXPECT_EQ(model.fetchError().code, 0);
}

TEST_F(ModelInUse, Another_request_keeps_the_order_of_the_sorted_column_and_the_selection) {
    for (int pages = 0; pages < 6; ++pages)
        insertBook(QString(QChar('a' + pages)), {{"pages", pages}});
    save();
    showBooks();
    model->sort(Title, Qt::DescendingOrder);
    QItemSelectionModel selection(model.get());
    selection.select(model->index(1, 0), QItemSelectionModel::Select);
    QWFetchRequest search("Book", *QWPredicate::parse("pages > 2"));
    EXPECT_TRUE(model->setFetchRequest(search));
    EXPECT_EQ(titles(), QStringList({"f", "e", "d"}));
    ASSERT_EQ(selection.selectedIndexes().size(), 1);
    EXPECT_EQ(selection.selectedIndexes()[0].data().toString(), "e");
    EXPECT_TRUE(model->setFetchRequest(booksByTitle()));
    EXPECT_EQ(titles(), QStringList({"f", "e", "d", "c", "b", "a"}));
    EXPECT_EQ(selection.selectedIndexes()[0].data().toString(), "e");
}

TEST_F(ModelInUse, A_request_that_is_refused_leaves_the_rows) {
    insertBooks({"a"});
    showBooks();
    QWLogCapture log;
    QWError error;
    EXPECT_FALSE(model->setFetchRequest(QWFetchRequest("Tag"), &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::UnknownEntity));
    EXPECT_FALSE(model->setFetchRequest(QWFetchRequest("Book", *QWPredicate::parse("pages == 'x'")), &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::WrongType));
    EXPECT_EQ(titles(), QStringList{"a"});
    insertBook("b");
    settle();
    EXPECT_EQ(titles(), QStringList({"a", "b"}));
}

TEST_F(ModelInUse, A_model_of_an_unknown_entity_is_empty_and_says_why) {
    QWLogCapture log;
    QWFetchedRecordsModel empty(context, QWFetchRequest("Nothing"), bookFields());
    EXPECT_EQ(empty.rowCount(), 0);
    EXPECT_EQ(empty.columnCount(), 0);
    EXPECT_EQ(empty.fetchError().code, int(QWStoreErrorCode::UnknownEntity));
    EXPECT_EQ(empty.rowOfRecord(*insert("Book")), -1);
}

TEST_F(ModelInUse, A_refetch_shows_what_changed_behind_the_contexts_back) {
    insertBooks({"a"});
    showBooks();
    MirrorList mirror(*model);
    merging.stop();
    insertIn(*other, "Book", {{"title", "b"}});
    save(*other);
    EXPECT_EQ(titles(), QStringList{"a"});
    EXPECT_TRUE(model->refetch());
    EXPECT_EQ(titles(), QStringList({"a", "b"}));
    EXPECT_EQ(mirror.texts, titles());
    EXPECT_EQ(mirror.told(), QStringList({"insert 1-1", "change 0-1"}));
}

// Editing ---------------------------------------------------------------------------------------------------

TEST_F(ModelInUse, An_edit_changes_the_record_at_once_and_its_row_with_the_notice) {
    insertBooks({"a", "b"});
    showBooks();
    MirrorList mirror(*model);
    EXPECT_TRUE(model->setData(model->index(0, Title), "c"));
    EXPECT_EQ(mirror.told(), QStringList{"change 0-0"});
    EXPECT_EQ(titles(), QStringList({"c", "b"}));
    EXPECT_TRUE(context->hasChanges());
    settle();
    EXPECT_EQ(titles(), QStringList({"b", "c"}));
}

TEST_F(ModelInUse, A_text_is_read_by_the_columns_formatter) {
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::German));
    insertBooks({"a"});
    showBooks();
    QLocale::setDefault(before);
    EXPECT_TRUE(model->setData(model->index(0, Price), "1.234,5"));
    EXPECT_EQ(model->recordAtRow(0)->valueForKey("price"), 1234.5);
    EXPECT_TRUE(model->setData(model->index(0, Added), "04.05.2013 18:22"));
    EXPECT_EQ(model->recordAtRow(0)->valueForKey("added"),
              QDateTime(QDate(2013, 5, 4), QTime(18, 22), Qt::UTC));
    EXPECT_TRUE(model->setData(model->index(0, Price), ""));
    EXPECT_EQ(model->recordAtRow(0)->valueForKey("price"), QVariant());
}

TEST_F(ModelInUse, What_is_refused_is_reported_with_what_was_typed_and_the_value_stays) {
    insertBook("a", {{"pages", 7}});
    save();
    showBooks();
    QVariantList values;
    QList<QWError> errors;
    QObject::connect(model.get(), &QWFetchedRecordsModel::editRefused, model.get(),
                     [&](const QModelIndex& index, const QVariant& value, const QWError& error) {
                         EXPECT_EQ(index.column(), int(Pages));
                         values << value;
                         errors << error;
                     });
    EXPECT_FALSE(model->setData(model->index(0, Pages), "many"));
    EXPECT_FALSE(model->setData(model->index(0, Pages), QByteArray("7")));
    EXPECT_EQ(values, QVariantList({"many", QByteArray("7")}));
    EXPECT_EQ(errors[0].userInfo["text"], "many");
    EXPECT_EQ(errors[1].code, int(QWStoreErrorCode::WrongType));
    EXPECT_EQ(model->recordAtRow(0)->valueForKey("pages"), 7);
    EXPECT_FALSE(context->hasChanges());
}

TEST_F(ModelInUse, A_check_is_set_by_its_state_or_its_value) {
    insertBooks({"a"});
    showBooks();
    const QModelIndex index = model->index(0, Read);
    EXPECT_TRUE(index.flags().testFlag(Qt::ItemIsUserCheckable));
    EXPECT_TRUE(model->setData(index, Qt::Checked, Qt::CheckStateRole));
    EXPECT_EQ(model->recordAtRow(0)->valueForKey("read"), true);
    EXPECT_TRUE(model->setData(index, false));
    EXPECT_EQ(model->recordAtRow(0)->valueForKey("read"), false);
    EXPECT_FALSE(model->setData(model->index(0, Title), Qt::Checked, Qt::CheckStateRole));
}

TEST_F(ModelInUse, Read_only_columns_cannot_be_edited) {
    insertBooks({"a"});
    showBooks();
    EXPECT_TRUE(model->index(0, Title).flags().testFlag(Qt::ItemIsEditable));
    EXPECT_FALSE(model->index(0, AuthorColumn).flags().testFlag(Qt::ItemIsEditable));
    model->setColumnEditable(Title, false);
    model->setColumnEditable(AuthorColumn, true);
    for (const int column : {Title, AuthorColumn}) {
        EXPECT_FALSE(model->index(0, column).flags().testFlag(Qt::ItemIsEditable));
        EXPECT_FALSE(model->setData(model->index(0, column), "b"));
    }
    model->setColumnEditable(Title, true);
    EXPECT_TRUE(model->setData(model->index(0, Title), "b"));
}

// A view of the books with an open editor.
class ModelInEditor : public FetchedRecordsTest {
protected:
    void TearDown() override {
        view.reset();
        FetchedRecordsTest::TearDown();
    }
    void edit(int row, int column) {
        showBooks();
        view = std::make_unique<QTableView>();
        view->setModel(model.get());
        cells = model->applyCellsTo(*view);
        view->show();
        view->setCurrentIndex(model->index(row, column));
        view->edit(model->index(row, column));
        editor = view->viewport()->findChild<QLineEdit*>();
        ASSERT_TRUE(editor);
    }
    void type(const QString& text) {
        QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(editor, text);
    }
    void endEditing() {
        QTest::keyClick(editor, Qt::Key_Return);
        QCoreApplication::sendPostedEvents(); // Qt commits after the editor has had the key
    }

    std::unique_ptr<QTableView> view;
    std::vector<std::shared_ptr<QWTableCell>> cells;
    QPointer<QLineEdit> editor;
};

TEST_F(ModelInEditor, A_person_edits_a_cell_in_a_view) {
    insertBook("a", {{"price", 1.5}});
    save();
    edit(0, Price);
    type(QLocale().toString(2.25));
    endEditing();
    EXPECT_EQ(model->recordAtRow(0)->valueForKey("price"), 2.25);
}

TEST_F(ModelInEditor, A_text_that_is_left_alone_changes_nothing_of_the_record) {
    const QDateTime added(QDate(2013, 5, 4), QTime(18, 22, 33), Qt::UTC);
    insertBook("a", {{"added", added}});
    save();
    edit(0, Added);
    endEditing();
    EXPECT_FALSE(context->hasChanges());
    EXPECT_EQ(model->recordAtRow(0)->valueForKey("added"), added);
}

TEST_F(ModelInEditor, What_is_typed_outlives_changes_that_arrive_and_goes_to_its_record_wherever_that_is) {
    insertBooks({"b", "d"});
    const auto id = fetch("Book", "title == 'b'")[0]->objectID();
    edit(0, Title);
    type("typed");
    const Ref elsewhere = other->objectWithID(id);
    elsewhere->setValueForKey("title", "x");
    elsewhere->setValueForKey("pages", 7);
    for (int i = 0; i < 150; ++i)
        insertIn(*other, "Book", {{"title", "a" + QString::number(i)}});
    save(*other);
    settle();
    ASSERT_EQ(model->rowOfRecord(id), 151);
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->text(), "typed");
    endEditing();
    const Ref record = context->objectWithID(id);
    EXPECT_EQ(record->valueForKey("title"), "typed");
    EXPECT_EQ(record->valueForKey("pages"), 7);
    EXPECT_EQ(context->updatedObjects().size(), 1U);
}

TEST_F(ModelInEditor, An_editor_that_holds_no_text_of_the_user_follows_the_record) {
    insertBooks({"b"});
    edit(0, Title);
    other->objectWithID(model->recordAtRow(0)->objectID())->setValueForKey("title", "x");
    save(*other);
    EXPECT_EQ(editor->text(), "x");
}

TEST_F(ModelInEditor, The_editor_of_a_record_that_is_deleted_goes_with_it_and_writes_to_no_other) {
    for (const int many : {0, 150}) {
        insertBooks({"b", "d"});
        for (int i = 0; i < many; ++i)
            insertBook("c" + QString::number(i));
        save();
        edit(0, Title);
        type("typed");
        for (const auto& book : fetchIn(*other, "Book", "title != 'd'"))
            other->deleteObject(*book);
        save(*other);
        settle();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_FALSE(editor);
        EXPECT_FALSE(context->hasChanges());
        EXPECT_EQ(fetch("Book", "title == 'typed'").size(), 0U);
        view.reset();
    }
}
