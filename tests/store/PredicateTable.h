#pragma once

#include "platform/text/QWText.h"
#include "store/QWManagedObjectModel.h"
#include "store/QWPredicate.h"
#include "store/predicate/QWBoundPredicate_p.h"
#include "store/sqlite/QWPredicateSQL.h"

#include <QDateTime>
#include <gtest/gtest.h>
#include <sqlite3.h>

// Books, held twice: as the slots of records and as the rows of an SQLite table, so that a predicate can be
// asked of both.
class PredicateTable {
public:
    PredicateTable() {
        auto& entity = model_.addEntity("Book");
        book_ = &entity;
        entity.addAttribute("title", QWAttributeType::String);
        entity.addAttribute("uuid", QWAttributeType::String).setIndexedFolded();
        entity.addAttribute("code", QWAttributeType::String).setIndexed();
        entity.addAttribute("pages", QWAttributeType::Integer).setIndexed();
        entity.addAttribute("price", QWAttributeType::Double).setIndexed();
        entity.addAttribute("read", QWAttributeType::Boolean);
        entity.addAttribute("added", QWAttributeType::Date).setIndexed();
        entity.addAttribute("cover", QWAttributeType::Data);
        entity.addAttribute("notes", QWAttributeType::Document);
        entity.addToOne("author", "Author").setInverse("books");
        entity.addToMany("readers", "Reader");
        model_.addEntity("Author").addToMany("books", "Book").setInverse("author");
        model_.addEntity("Reader").addAttribute("name", QWAttributeType::String);
        QWError error;
        EXPECT_TRUE(model_.complete(&error)) << error.message.toStdString();

        for (const QWPropertyDescription* property : entity.properties())
            columns_.push_back('"' + property->name().toUtf8() + '"');

        EXPECT_EQ(sqlite3_open(":memory:", &database_), SQLITE_OK);
        EXPECT_TRUE(QWRegisterPredicateFunctions(database_));
        run("CREATE TABLE Book (_key INTEGER PRIMARY KEY, title TEXT, uuid TEXT, uuid_folded TEXT, code "
            "TEXT, "
            "pages INTEGER, price REAL, read INTEGER, added INTEGER, cover BLOB, notes, author INTEGER)");
        for (const char* column : {"uuid_folded", "code", "pages", "price", "added"})
            run("CREATE INDEX by_" + QByteArray(column) + " ON Book (" + column + ")");
        run("BEGIN");
    }
    ~PredicateTable() { sqlite3_close(database_); }
    PredicateTable(const PredicateTable&) = delete;
    PredicateTable& operator=(const PredicateTable&) = delete;

    const QWEntityDescription& book() const { return *book_; }
    QWManagedObjectID bookID(qint64 key) const { return {&book(), key}; }
    QWManagedObjectID authorID(qint64 key) const { return {model_.entity("Author"), key}; }
    QWManagedObjectID readerID(qint64 key) const { return {model_.entity("Reader"), key}; }
    size_t size() const { return rows_.size(); }

    // The new row's key; keys count from 1. The author is given by key.
    qint64 add(const QVariantMap& values) {
        std::vector<QVariant> row(book().properties().size());
        QStringList columns = {"_key"};
        QVariantList bindings = {qint64(rows_.size()) + 1};
        for (auto value = values.begin(); value != values.end(); ++value) {
            const QWPropertyDescription& property = *book().property(value.key());
            const QVariant slot =
                property.isAttribute() ? property.converted(*value).value() : value->toLongLong();
            row[size_t(property.index())] = slot;
            columns.append(value.key());
            bindings.append(stored(slot));
            if (property.isFolded()) {
                columns.append(value.key() + "_folded");
                bindings.append(slot.isValid() ? qw::text::foldCase(slot.toString()) : QVariant());
            }
        }
        rows_.push_back(std::move(row));
        const QString list = columns.join(","), places = QStringList(columns.size(), "?").join(",");
        run("INSERT INTO Book (" + list.toUtf8() + ") VALUES (" + places.toUtf8() + ")", bindings);
        return qint64(rows_.size());
    }

    const QVariant& slot(qint64 key, int property) const { return rows_[size_t(key) - 1][size_t(property)]; }

    // The predicate for the books; the test fails when it does not fit them.
    QWBoundPredicate bound(const QWPredicate& predicate) const {
        QWError error;
        const auto bound = QWBoundPredicate::bind(predicate, book(), &error);
        EXPECT_TRUE(bound) << error.message.toStdString();
        return bound ? *bound : QWBoundPredicate::bind(QWPredicate::disjunction({}), book(), nullptr).value();
    }
    // Keys of the rows that match, in order.
    QList<qint64> matchesInMemory(const QWBoundPredicate& predicate) const {
        QList<qint64> keys;
        for (size_t i = 0; i < rows_.size(); ++i)
            if (predicate.evaluate(rows_[i].data(), bookID(qint64(i) + 1)))
                keys.append(qint64(i) + 1);
        return keys;
    }
    QList<qint64> matchesInSQL(const QWPredicate& predicate) const {
        const QWSQLCondition condition = compiled(predicate);
        QList<qint64> keys;
        for (const QVariant& key :
             run("SELECT _key FROM Book WHERE " + condition.text + " ORDER BY _key", condition.bindings))
            keys.append(key.toLongLong());
        return keys;
    }
    // How SQLite goes about it: "SEARCH Book USING INDEX by_code (code=?)".
    QString plan(const QWPredicate& predicate) const {
        const QWSQLCondition condition = compiled(predicate);
        return run("EXPLAIN QUERY PLAN SELECT _key FROM Book WHERE " + condition.text, condition.bindings, 3)
            .value(0)
            .toString();
    }
    QWSQLCondition compiled(const QWPredicate& predicate) const {
        QWError error;
        const auto condition = QWCompilePredicate(predicate, book(), columns(), &error);
        EXPECT_TRUE(condition) << error.message.toStdString();
        return condition.value_or(QWSQLCondition{"0", {}});
    }

    QWSQLColumns columns() const {
        return [this](const QWPropertyDescription& property, bool folded) -> const QByteArray& {
            return folded ? foldedColumn_ : columns_.at(size_t(property.index()));
        };
    }

    // The values of one column of the result.
    QVariantList run(const QByteArray& sql, const QVariantList& bindings = {}, int column = 0) const {
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(database_, sql.constData(), int(sql.size()), &statement, nullptr),
                  SQLITE_OK)
            << sqlite3_errmsg(database_) << " in " << sql.left(2000).constData();
        for (int i = 0; i < bindings.size(); ++i)
            bind(statement, i + 1, bindings[i]);
        QVariantList result;
        int step = SQLITE_DONE;
        while (statement && (step = sqlite3_step(statement)) == SQLITE_ROW) {
            const auto* value = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
            result.append(QString::fromUtf8(value));
        }
        EXPECT_EQ(step, SQLITE_DONE) << sqlite3_errmsg(database_);
        sqlite3_finalize(statement);
        return result;
    }

private:
    static QVariant stored(const QVariant& value) {
        if (value.typeId() == QMetaType::QDateTime)
            return value.toDateTime().toMSecsSinceEpoch();
        return value;
    }

    static void bind(sqlite3_stmt* statement, int index, const QVariant& value) {
        switch (value.typeId()) {
        case QMetaType::UnknownType:
            sqlite3_bind_null(statement, index);
            break;
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::LongLong:
            sqlite3_bind_int64(statement, index, value.toLongLong());
            break;
        case QMetaType::Double:
            sqlite3_bind_double(statement, index, value.toDouble());
            break;
        case QMetaType::QString: {
            const QByteArray text = value.toString().toUtf8();
            sqlite3_bind_text(statement, index, text.constData(), int(text.size()), SQLITE_TRANSIENT);
            break;
        }
        case QMetaType::QByteArray: {
            const QByteArray data = value.toByteArray();
            sqlite3_bind_blob(statement, index, data.isNull() ? "" : data.constData(), int(data.size()),
                              SQLITE_TRANSIENT);
            break;
        }
        default:
            ADD_FAILURE() << "no binding for " << value.typeName();
        }
    }

    QWManagedObjectModel model_;
    const QWEntityDescription* book_ = nullptr;
    std::vector<QByteArray> columns_; // by index
    const QByteArray foldedColumn_ = "\"uuid_folded\"";
    sqlite3* database_ = nullptr;
    std::vector<std::vector<QVariant>> rows_;
};
