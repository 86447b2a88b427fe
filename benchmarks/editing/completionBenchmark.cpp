#include "editing/QWComboBoxAutocompleteDatasource.h"
#include "editing/QWTokenFieldSubstringCompletion.h"
#include "support/BareSQLite.h"
#include "support/Harness.h"
#include "testing/QWVirtualWorld.h"

#include <QCoreApplication>
#include <QSet>
#include <QTemporaryDir>
#include <algorithm>
#include <random>

// What a user waits for who types into a field over 1,000,000 records with 50,000 different values, beside
// the SQL query that a program without completion of its own would send for each keystroke. That one knows
// neither accents nor capitals beyond ASCII, takes no values apart and sorts nothing.

namespace {

constexpr int recordCount = 1'000'000, valueCount = 50'000, typedWords = 100;
constexpr double wholeKeystroke = 16, wholeFocus = 300; // milliseconds

// Words of a few syllables, some with accents, some with a capital.
QString word(std::mt19937& random) {
    static const QStringList syllables{
        "ba", "be", "bo", "cha", "co", "da", "de", "du", "é",  "fa", "fi",  "ga", "go", "ha", "i",  "ja",
        "ka", "la", "le", "lo",  "ma", "me", "mi", "mü", "na", "ne", "no",  "ø",  "pa", "pe", "re", "ré",
        "ri", "ro", "sa", "se",  "si", "so", "ß",  "ta", "te", "to", "tra", "u",  "va", "vi", "we", "zo"};
    QString made;
    for (auto count = 2 + random() % 3; count > 0; --count)
        made += syllables[int(random() % size_t(syllables.size()))];
    return random() % 4 == 0 ? made.left(1).toUpper() + made.mid(1) : made;
}

struct Store {
    Store() {
        std::mt19937 random(4);
        for (int i = 0; i < 20'000; ++i)
            words << word(random);
        QSet<QString> made;
        while (made.size() < valueCount) {
            QStringList tokens;
            for (auto count = 1 + random() % 3; count > 0; --count)
                tokens << words[int(random() % size_t(words.size()))];
            made.insert(tokens.join(", "));
        }
        QStringList values(made.begin(), made.end());
        std::sort(values.begin(), values.end());
        std::shuffle(values.begin(), values.end(), random);

        auto model = std::make_shared<QWManagedObjectModel>();
        auto& note = model->addEntity("Note");
        note.addAttribute("indexed", QWAttributeType::String).setIndexed();
        note.addAttribute("plain", QWAttributeType::String);
        note.addAttribute("title", QWAttributeType::String);
        coordinator = std::make_shared<QWPersistentStoreCoordinator>(model, world.environment());
        QWError error;
        if (!coordinator->addStore(path, {}, &error))
            throw std::runtime_error(error.message.toStdString());
        context = std::make_shared<QWManagedObjectContext>(coordinator);
        for (int i = 0; i < recordCount; ++i) {
            const auto record = context->insertObject("Note");
            record->setValueForKey("indexed", values[i % valueCount]);
            record->setValueForKey("plain", values[i % valueCount]);
            record->setValueForKey("title", QStringLiteral("Note number %1").arg(i));
            if (i % 50'000 == 49'999)
                save();
        }
    }
    void save() {
        QWError error;
        if (!context->save(&error))
            throw std::runtime_error(error.message.toStdString());
    }

    QStringList words;
    QTemporaryDir folder;
    QString path = folder.filePath("notes.sqlite");
    QWVirtualWorld world;
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
    std::shared_ptr<QWManagedObjectContext> context;
};

struct Field : QWTokenField {
    explicit Field(QString key) : name(std::move(key)) {}
    QString observedKeyPath() const override { return {}; }
    QString identifier() const override { return name; }
    QStringList objectValue() const override { return {}; }
    QString name;
};

// Something that the compiler cannot leave out.
qint64 sink = 0;

double milliseconds(const std::function<void()>& work) {
    return 1e3 * bench::seconds(work);
}
double percentile(std::vector<double> values, double part) {
    std::sort(values.begin(), values.end());
    return values[size_t(part * double(values.size() - 1))];
}

// What is in the field after each keystroke of somebody who types some of the words.
QStringList typing(const Store& store) {
    std::mt19937 random(5);
    QStringList typed;
    for (int i = 0; i < typedWords; ++i) {
        const QString& whole = store.words[int(random() % size_t(store.words.size()))];
        for (int length = 1; length <= std::min(5, int(whole.size())); ++length)
            typed << whole.left(length);
    }
    return typed;
}

bench::Row row(const QString& name, double target, std::vector<double> subject,
               std::vector<double> peer = {}) {
    bench::Row made;
    made.name = name;
    made.target = target;
    made.subject = std::move(subject);
    made.peer = std::move(peer);
    made.unit = QStringLiteral("ms");
    return made;
}
bench::Row timeRow(const QString& name, double target, double value, std::vector<double> subject) {
    bench::Row made = row(name, target, std::move(subject));
    made.ratio = value;
    return made;
}
bench::Row ratioRow(const QString& name, std::vector<double> subject, std::vector<double> peer) {
    bench::Row made = row(name, 1, std::move(subject), std::move(peer));
    made.ratio = bench::median(made.subject) / bench::median(made.peer);
    return made;
}
bench::Row figure(const QString& name, std::vector<double> values) {
    bench::Row made = row(name, 0, std::move(values));
    made.ratio = bench::median(made.subject);
    made.goal = bench::Goal::Figure;
    return made;
}

// The plain query, read into texts.
std::vector<double> plainQueries(Store& store, const QString& key, const QStringList& typed) {
    BareSQLite database(store.path);
    sqlite3_stmt* query = database.prepare(
        QStringLiteral("SELECT DISTINCT %1 FROM Note WHERE %1 LIKE '%' || ? || '%'").arg(key));
    std::vector<double> times;
    for (const QString& text : typed) {
        times.push_back(milliseconds([&] {
            const QByteArray bytes = text.toUtf8();
            sqlite3_bind_text(query, 1, bytes.constData(), int(bytes.size()), SQLITE_STATIC);
            while (sqlite3_step(query) == SQLITE_ROW)
                sink += QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(query, 0)),
                                          sqlite3_column_bytes(query, 0))
                            .size();
            sqlite3_reset(query);
        }));
    }
    return times;
}

// The very request of a completion, answered by the file.
std::vector<double> requestsToTheFile(Store& store, const QString& key, const QStringList& typed) {
    const QWTokenFieldSubstringCompletion completion(store.context, "Note", ",");
    std::vector<double> times;
    for (const QString& text : typed) {
        times.push_back(milliseconds([&] {
            const auto request = completion.fetchRequestToSuggestTokenFieldWithKey(key, text);
            sink += store.context->distinctValues(request, key)->size();
        }));
    }
    return times;
}

std::vector<bench::Row> tokenRows(Store& store, const QString& key, bool isIndexed) {
    std::vector<bench::Row> rows;
    const QStringList typed = typing(store);
    const Field field(key);
    const QString kind = isIndexed ? "indexed" : "no index";
    // The first list: from the focus on, then what is kept is dropped with the focus.
    std::vector<double> first;
    for (int round = 0; round < 7; ++round) {
        QWTokenFieldSubstringCompletion completion(store.context, "Note", ",");
        first.push_back(milliseconds([&] {
            completion.tokenFieldDidBeginEditing(field);
            sink += completion.tokenFieldCompletionsForSubstring(field, typed[round * 5], 0, nullptr).size();
        }));
    }
    const std::vector<double> fromFile = requestsToTheFile(store, key, typed.mid(0, 10));
    std::vector<double> strokes, afterSaves;
    QWTokenFieldSubstringCompletion completion(store.context, "Note", ",");
    completion.tokenFieldDidBeginEditing(field);
    const auto stroke = [&](const QString& text) {
        return milliseconds(
            [&] { sink += completion.tokenFieldCompletionsForSubstring(field, text, 0, nullptr).size(); });
    };
    for (const QString& text : typed)
        strokes.push_back(stroke(text));
    for (int i = 0; i < 20; ++i) {
        store.context->insertObject("Note")->setValueForKey(key, QStringLiteral("new %1").arg(i));
        store.save();
        afterSaves.push_back(stroke(typed[i]));
    }
    QStringList someTyped;
    for (int i = 0; i < typed.size(); i += 25)
        someTyped << typed[i] << typed[i + 1];
    const std::vector<double> plain = plainQueries(store, key, someTyped);

    if (isIndexed) {
        rows.push_back(timeRow("token field, indexed: list for a keystroke, 95th percentile [ms]",
                               wholeKeystroke, percentile(strokes, 0.95), strokes));
        rows.push_back(timeRow("token field, indexed: first list after the focus [ms]", wholeFocus,
                               bench::median(first), first));
        rows.push_back(timeRow("token field, indexed: list for the first keystroke after a save [ms]",
                               wholeKeystroke, bench::median(afterSaves), afterSaves));
    }
    rows.push_back(
        ratioRow("token field, " + kind + ": list for a keystroke / plain SQL query", strokes, plain));
    rows.push_back(ratioRow("token field, " + kind + ": first list after the focus / its request to the file",
                            first, fromFile));
    rows.push_back(
        ratioRow("token field, " + kind + ": first list after the focus / plain SQL query", first, plain));
    rows.back().goal = bench::Goal::Figure; // reads every value once, for all lists that follow
    rows.push_back(figure("token field, " + kind + ": list for a keystroke, median [ms]", strokes));
    rows.push_back(figure("token field, " + kind + ": plain SQL query, median [ms]", plain));
    return rows;
}

std::vector<bench::Row> comboRows(Store& store) {
    std::vector<bench::Row> rows;
    const Field field("indexed");
    const auto source = QWComboBoxAutocompleteDatasource::create(store.context, "Note");
    std::vector<double> lists, strokes;
    for (int round = 0; round < 7; ++round)
        lists.push_back(milliseconds([&] { source->updateCacheForComboBoxWithKey("indexed"); }));
    for (const QString& text : typing(store))
        strokes.push_back(milliseconds([&] { sink += source->comboBoxCompletedString(field, text).size(); }));
    rows.push_back(
        timeRow("combo box, indexed: list after the focus [ms]", wholeFocus, bench::median(lists), lists));
    rows.push_back(timeRow("combo box, indexed: completion of a keystroke, 95th percentile [ms]",
                           wholeKeystroke, percentile(strokes, 0.95), strokes));
    return rows;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    Store store;
    const std::vector<bench::Measurement> measurements{
        {"indexed", [&] { return tokenRows(store, "indexed", true); }},
        {"plain", [&] { return tokenRows(store, "plain", false); }},
        {"combo", [&] { return comboRows(store); }},
    };
    return bench::report(bench::rowsOf(measurements, arguments), arguments);
}
