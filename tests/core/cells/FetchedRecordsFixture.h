#pragma once

#include "core/cells/QWFetchedRecordsModel.h"
#include "store/StoreFixture.h"
#include "support/BookLibrary.h"

#include <QAbstractItemModelTester>

// The books of a library in a table of title, pages, price, a check, a date, the author and the tags, with a
// second context whose saves the first one merges.
class FetchedRecordsTest : public StoreTest {
protected:
    enum Column { Title, Pages, Price, Read, Added, AuthorColumn, Tags };

    void SetUp() override {
        StoreTest::SetUp();
        other = makeContext();
        merging = other->observeDidSave(
            [this](const QWDidSaveNotice& notice) { context->mergeChangesFromContextDidSave(notice); });
        answering = context->observeDidSave(
            [this](const QWDidSaveNotice& notice) { other->mergeChangesFromContextDidSave(notice); });
    }

    static QWFieldDescriptions bookFields() {
        return fieldList(
            {new QWManagedObjectFieldDescriptionString("title", "*C* title"),
             new QWManagedObjectFieldDescriptionNumber("pages", "Pages"),
             new QWManagedObjectFieldDescriptionNumber("price", true, "Price"),
             new QWManagedObjectFieldDescriptionBool("read", "Read"), dateField("added"),
             new QWManagedObjectFieldDescriptionRelationship("author", "Author", "Author", false),
             new QWManagedObjectFieldDescriptionRelationship("tags", "Tags", "Tag", true)});
    }
    static QWFetchRequest booksByTitle() {
        QWFetchRequest request("Book");
        request.sortDescriptors = {{"title", true, QWSortDescriptor::Comparison::LocalizedCaseInsensitive}};
        return request;
    }
    void showBooks(const QWFetchRequest& request = booksByTitle()) {
        model = std::make_unique<QWFetchedRecordsModel>(context, request, bookFields());
        tester = std::make_unique<QAbstractItemModelTester>(
            model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    }
    Ref insertBook(const QString& title, const QVariantMap& values = {}) {
        QVariantMap all = values;
        all.insert("title", title);
        return insert("Book", all);
    }
    void insertBooks(const QStringList& titles) {
        for (const QString& title : titles)
            insertBook(title);
        save();
    }
    QStringList column(int column, int role = Qt::DisplayRole) const {
        QStringList values;
        for (int row = 0; row < model->rowCount(); ++row)
            values << model->index(row, column).data(role).toString();
        return values;
    }
    QStringList titles() const { return column(Title); }
    // Reports what has changed and lets what is done in slices end.
    void settle() {
        context->processPendingChanges();
        world.runLoop->runUntilIdle();
    }

    std::shared_ptr<QWManagedObjectContext> other;
    QWObservation merging, answering;
    std::unique_ptr<QWFetchedRecordsModel> model;
    std::unique_ptr<QAbstractItemModelTester> tester;
};

// What a view that only listens knows of the first column.
class MirrorList : public QObject {
public:
    explicit MirrorList(QAbstractItemModel& model) : model_(model) {
        for (int row = 0; row < model.rowCount(); ++row)
            texts << textOf(row);
        connect(&model, &QAbstractItemModel::rowsInserted, this, [this](const auto&, int first, int last) {
            log << QStringLiteral("insert %1-%2").arg(first).arg(last);
            for (int row = first; row <= last; ++row)
                texts.insert(row, textOf(row));
        });
        connect(&model, &QAbstractItemModel::rowsRemoved, this, [this](const auto&, int first, int last) {
            log << QStringLiteral("remove %1-%2").arg(first).arg(last);
            texts.remove(first, last - first + 1);
        });
        connect(&model, &QAbstractItemModel::rowsMoved, this,
                [this](const auto&, int first, int last, const auto&, int destination) {
                    log << QStringLiteral("move %1 before %2").arg(first).arg(destination);
                    EXPECT_EQ(first, last);
                    texts.move(first, destination > first ? destination - 1 : destination);
                });
        connect(&model, &QAbstractItemModel::dataChanged, this,
                [this](const QModelIndex& first, const QModelIndex& last) {
                    log << QStringLiteral("change %1-%2").arg(first.row()).arg(last.row());
                    for (int row = first.row(); row <= last.row(); ++row)
                        texts[row] = textOf(row);
                });
        connect(&model, &QAbstractItemModel::layoutAboutToBeChanged, this, [this] {
            persistent_.clear();
            for (int row = 0; row < texts.size(); ++row)
                persistent_ << QPersistentModelIndex(model_.index(row, 0));
        });
        connect(&model, &QAbstractItemModel::layoutChanged, this, [this] {
            log << "layout";
            const QStringList before = texts;
            for (int row = 0; row < before.size(); ++row)
                texts[persistent_[row].row()] = before[row];
            persistent_.clear();
        });
        connect(&model, &QAbstractItemModel::modelReset, this, [this] { log << "reset"; });
    }

    // What was told since the last call.
    QStringList told() { return std::exchange(log, {}); }

    QStringList texts, log;

private:
    QString textOf(int row) const { return model_.index(row, 0).data().toString(); }
    QAbstractItemModel& model_;
    QList<QPersistentModelIndex> persistent_;
};
