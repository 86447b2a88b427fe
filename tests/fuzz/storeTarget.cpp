// The two files of a desktop, from hostile bytes: the engine's own (DropboxCache.sqlite), beside which the
// host's records are as they were whatever becomes of it, and the host's store, which is refused and left as
// it is, or works.
//
// The first byte says which: C or L. Then come either the bytes of the file, or, after a line break, what is
// done to a sound one, a step in each line, its parts parted by tabs:
//     TABLE COLUMN VALUE WHERE   values are replaced; VALUE is an SQL literal, WHERE the row's _key
//     @OFFSET BYTES              bytes of the file are replaced
//     cut LENGTH                 it is cut off
//     sql STATEMENT              something is added to its tables: CREATE TRIGGER, CREATE VIEW, CREATE INDEX
#include "ScriptedCloud.h"
#include "StoreSeed.h"

#include "platform/QWAssert.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <sqlite3.h>

namespace {

// What is a programming error of whoever writes the files, and ends the process in words: two rows, or two
// records, with one identity.
struct SaidWhy {};

class Damage {
public:
    explicit Damage(const QString& path) : path_(path) {}

    void apply(const QByteArray& step) {
        const QList<QByteArray> parts = step.split('\t');
        if (step.startsWith('@'))
            replaceBytes(parts[0].mid(1).toLongLong(), parts.mid(1).join('\t'));
        else if (parts[0] == "cut")
            QFile(path_).resize(std::clamp<qint64>(parts.value(1).toLongLong(), 0, QFile(path_).size()));
        else if (parts[0] == "sql")
            add(parts.mid(1).join('\t'));
        else if (parts.size() >= 4)
            replaceValue(parts);
    }

private:
    void replaceBytes(qint64 offset, const QByteArray& bytes) {
        QFile file(path_);
        if (offset < 0 || offset + bytes.size() > file.size() || !file.open(QIODevice::ReadWrite))
            return;
        file.seek(offset);
        file.write(bytes);
    }

    static bool isName(const QByteArray& text) {
        static const QRegularExpression name("\\A[A-Za-z_][A-Za-z_0-9]*\\z");
        return name.match(QString::fromUtf8(text)).hasMatch();
    }
    static bool isLiteral(const QByteArray& text) {
        static const QRegularExpression literal("\\A(NULL|-?[0-9.e+]{1,30}|[xX]?'[^']*')\\z");
        return literal.match(QString::fromUtf8(text)).hasMatch();
    }
    void replaceValue(const QList<QByteArray>& parts) {
        if (isName(parts[0]) && isName(parts[1]) && isLiteral(parts[2]) && isLiteral(parts[3]))
            execute("UPDATE \"" + parts[0] + "\" SET \"" + parts[1] + "\" = " + parts[2]
                    + " WHERE rowid = " + parts[3]);
    }
    void add(const QByteArray& statement) {
        static const QRegularExpression adding("\\A(CREATE|DROP) ");
        if (adding.match(QString::fromUtf8(statement)).hasMatch())
            execute(statement);
    }
    // What it may do: no other file, and not for long.
    void execute(const QByteArray& sql) {
        sqlite3* database = nullptr;
        sqlite3_open(path_.toUtf8().constData(), &database);
        sqlite3_set_authorizer(
            database,
            [](void*, int action, const char*, const char*, const char*, const char*) {
                return action == SQLITE_ATTACH || action == SQLITE_PRAGMA ? SQLITE_DENY : SQLITE_OK;
            },
            nullptr);
        sqlite3_progress_handler(
            database, 100'000, [](void*) { return 1; }, nullptr);
        sqlite3_exec(database, sql.constData(), nullptr, nullptr, nullptr);
        sqlite3_close(database);
    }

    const QString path_;
};

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size(), "there is a file");
}

// The input as a file at `path`.
void makeFile(const QString& path, const QByteArray& input, const QByteArray& sound) {
    const bool isSteps = input.startsWith('\n');
    write(path, isSteps ? sound : input);
    if (!isSteps)
        return;
    constexpr int mostSteps = 20;
    Damage damage(path);
    for (const QByteArray& step : input.mid(1).split('\n').mid(0, mostSteps))
        damage.apply(step);
}

void checkCache(const QByteArray& input) {
    static const QByteArray sound = storeSeed::cacheFile();
    FuzzedDesktop world(Desktop::Supervised);
    world.desktop.crash();
    for (const char* rest : {"-wal", "-shm"})
        QFile::remove(world.desktop.path("cache/DropboxCache.sqlite") + rest);
    QDir(world.desktop.path("")).mkpath("cache");
    makeFile(world.desktop.path("cache/DropboxCache.sqlite"), input, sound);
    try {
        world.desktop.start();
        world.desktop.activate();
        const auto added = world.desktop.add("Book", {{"title", "New"}});
        world.desktop.save();
        world.pass(std::chrono::minutes(20));
        world.desktop.engine->applicationWillClose();
    } catch (const SaidWhy&) {
    }
    world.desktop.crash();
    QFile::remove(world.desktop.path("cache/DropboxCache.sqlite"));
    world.desktop.start();
    world.checkNothingIsLost();
}

void readEverything(QWManagedObjectContext& context) {
    for (const auto& entity : context.model().entities()) {
        const auto records = context.fetch(QWFetchRequest(entity->name()));
        if (!records)
            continue;
        for (const auto& record : *records)
            for (const QWPropertyDescription* property : entity->properties()) {
                if (property->isAttribute())
                    record->valueForKey(property->name());
                else if (property->isToMany())
                    record->relatedObjects(property->name());
                else
                    record->relatedObject(property->name());
            }
    }
}

// All that lies in a folder, a store's log and journal too, by name.
std::map<QString, QByteArray> contents(const QTemporaryDir& folder) {
    std::map<QString, QByteArray> found;
    for (const QString& name : QDir(folder.path()).entryList(QDir::Files | QDir::Hidden))
        found[name] = QWSystemFileManager().read(folder.filePath(name)).value_or("cannot be read");
    return found;
}

void checkLibrary(const QByteArray& input) {
    static const QByteArray sound = storeSeed::libraryFile();
    const QTemporaryDir folder;
    const QString path = folder.filePath("library.sqlite");
    makeFile(path, input, sound);
    const auto before = contents(folder);
    QWVirtualWorld world;
    QWError error;
    {
        const auto coordinator =
            std::make_shared<QWPersistentStoreCoordinator>(desktop::model(), world.environment());
        if (!coordinator->addStore(path, {QWSynchronous::Normal, true, 10}, &error)) {
            require(!error.message.isEmpty(), "a file that is refused has a reason");
            require(contents(folder) == before, "a file that is refused is left as it is");
            return;
        }
        QWManagedObjectContext context(coordinator);
        readEverything(context);
        const auto book = context.insertObject("Book");
        book->setValueForKey("title", "New");
        const bool isSaved = context.save(&error);
        require(isSaved || !error.message.isEmpty(), "a save that fails has a reason");
        QWManagedObjectContext fresh(coordinator);
        const auto found = fresh.fetch(QWFetchRequest("Book", *QWPredicate::parse("title == \"New\"")));
        require(!isSaved || !found || !found->empty(), "what was saved is there");
    }
}

} // namespace

void runInput(const QByteArray& input) {
    // Once, at the first input.
    [[maybe_unused]] static const QWAssertionHandler before =
        QWSetAssertionHandler([](const QWAssertionFailure& failure) {
            if (failure.expression.endsWith("count] == 1"))
                throw SaidWhy();
            require(false, qPrintable(failure.expression));
        });
    if (input.startsWith('C'))
        checkCache(input.mid(1));
    else if (input.startsWith('L'))
        try {
            checkLibrary(input.mid(1));
        } catch (const SaidWhy&) {
        }
}
