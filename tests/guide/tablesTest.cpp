#include "core/QWSortDescriptorCreatorForManagedObjectFields.h"
#include "core/cells/QWFetchedRecordsModel.h"
#include "support/BookLibrary.h"
#include "views/QWTableCell.h"

#include <QTableView>

namespace {

TEST(TablesGuide, Shows_finds_sorts_and_edits_records) {
    BookLibrary library;
    const auto context = library.context;
    for (const auto* title : {"b", "a", "é"})
        library.insertBook({{"title", title}, {"sortTitle", title}, {"pages", 100}});
    library.save();
    const auto other = std::make_shared<QWManagedObjectContext>(library.coordinator);
    const auto fields = *library.insertBook()->fieldDescriptions();
    const auto field = fields[0];
    const QString typed = "E";
    QString status;
    QTableView table;

    QWFetchRequest request("Book");
    request.predicate = *QWPredicate::parse("pages > 0");
    QWFetchedRecordsModel model(context, request, fields);
    table.setModel(&model);
    const auto cells = model.applyCellsTo(table); // the view does not own them: keep them as long as it lives
    table.sortByColumn(0, Qt::AscendingOrder);    // Qt would begin with descending
    table.setSortingEnabled(true);
    EXPECT_EQ(model.index(0, 0).data(), "a");

    const QWObservation merging = other->observeDidSave(
        [&](const QWDidSaveNotice& notice) { context->mergeChangesFromContextDidSave(notice); });
    other->insertObject("Book")->setValueForKey("pages", 5);
    ASSERT_TRUE(other->save());
    EXPECT_EQ(model.rowCount(), 4);

    table.setCurrentIndex(model.index(1, 0));
    const QWRef<QWManagedObject> book = model.recordAtIndex(table.currentIndex());
    table.selectRow(model.rowOfRecord(*book));
    EXPECT_EQ(table.selectionModel()->selectedRows(), QModelIndexList{model.index(1, 0)});

    request.predicate =
        QWPredicate::comparison("title", QWPredicate::Operator::Contains, typed,
                                QWPredicate::CaseInsensitive | QWPredicate::DiacriticInsensitive);
    model.setFetchRequest(request);
    EXPECT_EQ(model.rowCount(), 1);

    QWSortDescriptorCreatorForManagedObjectFields creator;
    creator.setAscending(false);
    field->performAcceptVisitor(creator, *book);
    if (creator.sortDescriptor())
        request.sortDescriptors = {*creator.sortDescriptor()};
    EXPECT_EQ(request.sortDescriptors[0].key, "sortTitle");

    QObject::connect(&model, &QWFetchedRecordsModel::editRefused, &table,
                     [&](const QModelIndex&, const QVariant& value, const QWError& error) {
                         status = QStringLiteral("%1: %2").arg(value.toString(), error.message);
                     });
    EXPECT_FALSE(model.setData(model.index(0, model.columnOfKey("pages")), "many"));
    EXPECT_EQ(status, "many: Pages cannot be \"many\"");
}

} // namespace
