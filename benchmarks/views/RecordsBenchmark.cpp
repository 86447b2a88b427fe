#include "views/RecordsBenchmark.h"

#include "core/cells/QWFetchedRecordsModel.h"
#include "support/BareSQLite.h"
#include "views/QWTableCell.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QHeaderView>
#include <QImage>
#include <QPainter>
#include <QScrollBar>
#include <QTableView>
#include <QTemporaryDir>
#include <random>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

constexpr int recordCount = 1'000'000, batchCount = 20'000, frameCount = 500;
constexpr double wholeFrame = 16, wholeHold = 50; // milliseconds

struct Visit {
    QString title, city;
    QDateTime start;
    int minutes = 0, rating = 0;
    double cost = 0;
    bool favourite = false;
};

// Titles of two or three words of a vocabulary, as people give them: many share their beginnings.
Visit visit(std::mt19937& random) {
    static const QStringList words{"Walk",   "Museum", "Élysée", "harbour", "Old town", "Río",  "Castle",
                                   "garden", "Über",   "night",  "Café",    "station",  "hill", "Market"};
    const auto word = [&random] { return words[int(random() % size_t(words.size()))]; };
    Visit made;
    made.title = word() + u' ' + word() + u' ' + QString::number(random() % 100'000);
    made.city = word();
    made.start = QDateTime::fromMSecsSinceEpoch(1'600'000'000'000 + qint64(random()) * 100, Qt::UTC);
    made.minutes = int(random() % 600);
    made.rating = int(random() % 6);
    made.cost = double(random() % 100'000) / 100;
    made.favourite = random() % 2;
    return made;
}

void fill(QWManagedObject& record, const Visit& visit) {
    record.setValueForKey("title", visit.title);
    record.setValueForKey("city", visit.city);
    record.setValueForKey("start", visit.start);
    record.setValueForKey("minutes", visit.minutes);
    record.setValueForKey("rating", visit.rating);
    record.setValueForKey("cost", visit.cost);
    record.setValueForKey("favourite", visit.favourite);
}

QWFieldDescriptions fields() {
    const auto dates = std::make_shared<QWPatternDateFormatter>("dd.MM.yyyy HH:mm");
    return {std::make_shared<QWManagedObjectFieldDescriptionString>("title", "Title"),
            std::make_shared<QWManagedObjectFieldDescriptionString>("city", "City"),
            std::make_shared<QWManagedObjectFieldDescriptionDate>("start", "Start", dates),
            std::make_shared<QWManagedObjectFieldDescriptionNumber>("minutes", "Minutes"),
            std::make_shared<QWManagedObjectFieldDescriptionNumber>("cost", true, "Cost"),
            std::make_shared<QWManagedObjectFieldDescriptionLevel>("rating", "Rating", true, 5),
            std::make_shared<QWManagedObjectFieldDescriptionBool>("favourite", "Favourite")};
}

double milliseconds(const std::function<void()>& work) {
    return bench::seconds(work) * 1000;
}

double percentile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values[size_t(double(values.size() - 1) * share)];
}

bench::Row row(const QString& name, double value, double target, std::vector<double> measured) {
    bench::Row made;
    made.name = name;
    made.ratio = value;
    made.target = target;
    made.goal = target > 0 ? bench::Goal::AtMost : bench::Goal::Figure;
    made.unit = QStringLiteral("ms");
    made.subject = std::move(measured);
    return made;
}

// The records, in the context that the window shows, and the context that a synchronisation saves.
struct Library {
    Library() {
        auto model = std::make_shared<QWManagedObjectModel>();
        auto& entity = model->addEntity("Visit");
        entity.addAttribute("title", QWAttributeType::String);
        entity.addAttribute("city", QWAttributeType::String);
        entity.addAttribute("start", QWAttributeType::Date);
        entity.addAttribute("minutes", QWAttributeType::Integer);
        entity.addAttribute("rating", QWAttributeType::Integer);
        entity.addAttribute("cost", QWAttributeType::Double);
        entity.addAttribute("favourite", QWAttributeType::Boolean);
        coordinator = std::make_shared<QWPersistentStoreCoordinator>(model, QWEnvironment::standard());
        QWError error;
        if (!coordinator->addStore(path, {}, &error))
            throw std::runtime_error(error.message.toStdString());
        context = std::make_shared<QWManagedObjectContext>(coordinator);
        support = std::make_shared<QWManagedObjectContext>(coordinator, QWConcurrencyType::PrivateQueue);
        for (int made = 0; made < recordCount; made += batchCount) {
            insertBatch();
            save();
        }
        merging = support->observeDidSave(
            [this](const QWDidSaveNotice& notice) { context->mergeChangesFromContextDidSave(notice); });
        request.sortDescriptors = {{"title", true, QWSortDescriptor::Comparison::LocalizedCaseInsensitive}};
    }
    void insertBatch() {
        for (int i = 0; i < batchCount; ++i)
            fill(*support->insertObject("Visit"), visit(random));
    }
    void save() {
        QWError error;
        if (!support->save(&error))
            throw std::runtime_error(error.message.toStdString());
    }

    std::mt19937 random{7};
    QTemporaryDir folder;
    QString path = folder.filePath("visits.sqlite");
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
    std::shared_ptr<QWManagedObjectContext> context, support;
    QWObservation merging;
    QWFetchRequest request{"Visit"};
};

Library& library() {
    static Library made;
    return made;
}

double residentAfterTrim() {
#ifdef __GLIBC__
    malloc_trim(0); // what was freed is given back
#endif
    return bench::residentKilobytes();
}

// A window's table of them.
struct Table {
    Table() {
        library().context->fetchIDs(library().request); // what the query itself keeps is no part of the list
        const double memoryBefore = residentAfterTrim();
        fetching = milliseconds([this] {
            model = std::make_unique<QWFetchedRecordsModel>(library().context, library().request, fields());
        });
        memory = residentAfterTrim() - memoryBefore;
        view.setModel(model.get());
        cells = model->applyCellsTo(view);
        view.horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch); // nothing of a frame is empty
        view.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
        view.resize(1280, 800);
        view.show();
        QCoreApplication::processEvents();
    }
    // Lets the loop turn until what was merged is shown: the longest turn, and all of them.
    std::pair<double, double> settle() {
        double longest = 0;
        const double whole = milliseconds([&] {
            while (!model->isUpToDate() || longest == 0)
                longest = std::max(
                    longest, milliseconds([] { QCoreApplication::processEvents(QEventLoop::AllEvents, 0); }));
        });
        return {longest, whole};
    }
    double frame(int value) {
        return milliseconds([&] {
            view.verticalScrollBar()->setValue(value);
            QPainter painter(&image);
            view.render(&painter);
        });
    }

    double memory = 0, fetching = 0;
    std::unique_ptr<QWFetchedRecordsModel> model;
    QTableView view;
    std::vector<std::shared_ptr<QWTableCell>> cells;
    QImage image{1280, 800, QImage::Format_ARGB32_Premultiplied};
};

void addFrames(std::vector<bench::Row>& rows, const QString& how, const std::vector<double>& frames) {
    const QString name = QStringLiteral("1,000,000 records, %1: a frame, ").arg(how);
    rows.push_back(row(name + "95th percentile [ms]", percentile(frames, 0.95), wholeFrame, frames));
    rows.push_back(row(name + "median [ms]", bench::median(frames), 0, {}));
    rows.push_back(row(name + "longest [ms]", percentile(frames, 1), 0, {}));
}

std::vector<bench::Row> scrolling() {
    Table table;
    const int end = table.view.verticalScrollBar()->maximum();
    std::vector<double> wheel, drag;
    table.frame(0);
    for (int i = 1; i <= frameCount; ++i)
        wheel.push_back(table.frame(end / 3 + 3 * i));
    for (int i = 1; i <= frameCount; ++i)
        drag.push_back(table.frame(int(qint64(end) * i / frameCount)));
    std::vector<bench::Row> rows;
    addFrames(rows, "by the wheel", wheel);
    addFrames(rows, "by the scroll bar", drag);
    rows.push_back(row("1,000,000 records: fetched and shown first [ms]", table.fetching, 0, {}));
    rows.push_back(row("1,000,000 records: memory of the list [bytes a record]",
                       table.memory * 1024 / table.model->rowCount(), 0, {}));

    for (const auto& [column, values] : {std::pair("start", "dates"), std::pair("title", "texts")}) {
        const double sorting = milliseconds([&, column = column] {
            table.view.sortByColumn(table.model->columnOfKey(column), Qt::DescendingOrder);
            QCoreApplication::processEvents();
        });
        rows.push_back(
            row(QStringLiteral("1,000,000 records: sorted by %1 [ms]").arg(values), sorting, 0, {}));
    }

    std::vector<double> edits;
    for (int i = 0; i < 20; ++i) {
        const auto record = table.model->recordAtRow(int(library().random() % recordCount));
        record->setValueForKey("title", visit(library().random).title);
        edits.push_back(milliseconds([&] { library().context->processPendingChanges(); }));
    }
    rows.push_back(
        row("1,000,000 records: one of them moves to its new row [ms]", bench::median(edits), 0, edits));
    library().context->rollback();
    library().context->processPendingChanges();
    return rows;
}

// The same rows into a table of the same rows, by the C API.
class BareVisits {
public:
    BareVisits() : database_(copied()) {
        insert_ =
            database_.prepare("INSERT INTO \"Visit\"(_key, _entity, _version, title, city, start, minutes, "
                              "rating, cost, favourite) VALUES(?, 1, 1, ?, ?, ?, ?, ?, ?, ?)");
    }
    double insertBatch() {
        std::vector<std::pair<Visit, std::pair<QByteArray, QByteArray>>> batch;
        for (int i = 0; i < batchCount; ++i) {
            const Visit made = visit(random_);
            batch.push_back({made, {made.title.toUtf8(), made.city.toUtf8()}});
        }
        return bench::seconds([&] {
            database_.execute("BEGIN IMMEDIATE");
            for (const auto& [made, texts] : batch) {
                sqlite3_bind_int64(insert_, 1, ++key_);
                sqlite3_bind_text(insert_, 2, texts.first.constData(), int(texts.first.size()),
                                  SQLITE_STATIC);
                sqlite3_bind_text(insert_, 3, texts.second.constData(), int(texts.second.size()),
                                  SQLITE_STATIC);
                sqlite3_bind_int64(insert_, 4, made.start.toMSecsSinceEpoch());
                sqlite3_bind_int64(insert_, 5, made.minutes);
                sqlite3_bind_int64(insert_, 6, made.rating);
                sqlite3_bind_double(insert_, 7, made.cost);
                sqlite3_bind_int64(insert_, 8, made.favourite);
                database_.run(insert_);
            }
            database_.execute("COMMIT");
        });
    }

private:
    QString copied() {
        BareSQLite(library().path).execute("PRAGMA wal_checkpoint(TRUNCATE)");
        const QString path = folder_.filePath("bare.sqlite");
        QFile::copy(library().path, path);
        return path;
    }

    QTemporaryDir folder_;
    BareSQLite database_;
    sqlite3_stmt* insert_ = nullptr;
    std::mt19937 random_{11};
    qint64 key_ = 100'000'000;
};

std::vector<bench::Row> arrival() {
    Table table;
    BareVisits bare;
    std::vector<double> held, whole;
    const auto arrive = [&] {
        library().insertBatch();
        const double step = bench::seconds([] { library().save(); });
        const auto [longest, rest] = table.settle();
        held.push_back(longest);
        whole.push_back(rest);
        return step;
    };
    bench::Row step = bench::compare("20,000 records arrive in 1,000,000: saved and merged / bare SQLite",
                                     4.0, 7, arrive, [&] { return bare.insertBatch(); });
    held.erase(held.begin());
    whole.erase(whole.begin());
    return {step,
            row("20,000 records arrive: main thread held longest besides [ms]", percentile(held, 1),
                wholeHold, held),
            row("20,000 records arrive: until all are shown [ms]", bench::median(whole), 0, whole)};
}

// Of what a synchronisation brings, the part that stands together: the visits of a month, by date.
std::vector<bench::Row> neighbours() {
    Table table;
    std::vector<double> held, whole;
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < batchCount; ++i) {
            const auto id = table.model->recordAtRow(recordCount / 2 + i)->objectID();
            library().support->objectWithID(id)->setValueForKey("minutes", 1000 + round);
        }
        library().save();
        const auto [longest, rest] = table.settle();
        held.push_back(longest);
        whole.push_back(rest);
    }
    return {row("20,000 neighbours change: main thread held longest besides [ms]", percentile(held, 1),
                wholeHold, held),
            row("20,000 neighbours change: until all are shown [ms]", bench::median(whole), 0, whole)};
}

} // namespace

std::vector<bench::Measurement> recordsMeasurements() {
    return {{"scrolling", scrolling}, {"arrival", arrival}, {"neighbours", neighbours}};
}
