#include "support/EngineTest.h"

#include "core/QWJSON.h"

#include <QDir>
#include <QDirIterator>
#include <QRegularExpression>

// Names and paths from the cloud that lead elsewhere: whatever comes under them, files lie in the engine's folder
// alone, and images where the host names them after a uuid.

namespace {

// A folder for temporary files that no other process puts any into.
struct OwnTemporaryFolder {
    OwnTemporaryFolder() { qputenv("TMPDIR", folder.path().toUtf8()); }
    ~OwnTemporaryFolder() { qputenv("TMPDIR", before); }

    const QByteArray before = QDir::tempPath().toUtf8();
    const QTemporaryDir folder;
};

struct HostileNames : OwnTemporaryFolder,
                      EngineTest,
                      testing::WithParamInterface<std::tuple<Desktop::Supervision, QString>> {
    HostileNames() : EngineTest(std::get<0>(GetParam())) { activateIdle(); }

    const QString name = std::get<1>(GetParam());
    std::map<QString, DBMetadata> files; // by path

    DBDeltaEntryRef announced(const QString& path) {
        DBMetadata file = metadata("x", "rev of " + path);
        file.path = path;
        files[path] = file;
        return DBMakeDeltaEntry(path.toLower(), file);
    }
    // Where records, images, other files and the folder itself may stand.
    QStringList paths() const {
        return {remote("Book!!!" + name + ".data"), remote("Book!!!" + name + ".image"),
                remote(name + "!!!X.data"),         remote(name),
                "/SyncCache.dbSync" + name,         name};
    }
    void answerAll() {
        for (std::size_t index = 0; index < client->requests.size(); ++index) {
            const QWRestRequest request = client->requests[index];
            if (request.kind == QWRestRequest::LoadFile) {
                EXPECT_EQ(QFileInfo(QDir::cleanPath(request.localPath)).path(), desktop.path("cache"));
                desktop.world.files->write(request.localPath, "{}");
                delegate().restClientLoadedFile(*client, request.localPath, {}, files[request.path]);
            } else if (request.kind == QWRestRequest::Upload) {
                uploaded(request);
            } else if (request.kind == QWRestRequest::Delete) {
                delegate().restClientDeletedPath(*client, request.path);
            } else if (request.kind == QWRestRequest::LoadDelta) {
                page({}, "cursor-3");
            }
        }
        client->forget();
    }
    QStringList foreignFiles() const {
        const QString root = QDir(desktop.path("")).path();
        QStringList found;
        for (QDirIterator each(root, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                               QDirIterator::Subdirectories);
             each.hasNext();) {
            const QString path = each.next().mid(root.size() + 1);
            static const QRegularExpression archivedImage("^cache/ArchivedImages/[0-9a-f]{64}$");
            const bool isOurs = path.startsWith("library.sqlite") || path == "cache" || path == "images"
                                || archivedImage.match(path).hasMatch()
                                || (path.startsWith("cache/") && path.count('/') == 1)
                                || (path.startsWith("images/Book-") && path.count('/') == 1);
            if (!isOurs)
                found.append(path);
        }
        return found;
    }
};

TEST_P(HostileNames, Lead_nowhere) {
    const auto own = desktop.add("Author");
    own->setUuid("OWN");
    saveAndTurn();
    answerAll();

    QList<DBDeltaEntryRef> arrivals, deletions;
    for (const QString& path : paths()) {
        arrivals.append(announced(path));
        deletions.append(DBMakeDeltaEntry(path.toLower()));
    }
    receive(arrivals);
    answerAll();
    pass(20);
    answerAll();
    EXPECT_EQ(foreignFiles(), QStringList());
    receive(deletions, "cursor-2");
    for (int repetition = 0; repetition < 5; ++repetition) {
        answerAll();
        pass(20);
    }
    EXPECT_EQ(foreignFiles(), QStringList());
    EXPECT_TRUE(desktop.find("OWN", "Author"));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_TRUE(engine().deltaEntriesToImport().isEmpty());
}

TEST_P(HostileNames, Make_no_record_when_a_reference_has_them_and_lead_elsewhere) {
    const bool leadsElsewhere =
        name == "." || name == ".." || name.contains('/') || name.contains('\\') || name.contains(QChar(0));
    receive({announced(remote("Book!!!X.data"))});
    ASSERT_EQ(client->count(QWRestRequest::LoadFile), 1);
    const auto request = client->requests[0];
    const auto bytes = qw::json::write(
        QVariantMap{{"title", "T"}, {"author", QVariantMap{{"uuid", name}, {"entityName", "Author"}}}});
    desktop.world.files->write(request.localPath, *bytes);
    delegate().restClientLoadedFile(*client, request.localPath, {}, files[request.path]);
    ASSERT_TRUE(desktop.find("X"));
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "T");
    EXPECT_EQ(desktop.find("X")->relatedObject("author") == nullptr, leadsElsewhere);
    EXPECT_EQ(desktop.context->count(QWFetchRequest("Author")), leadsElsewhere ? 0 : 1);
}

TEST_P(HostileNames, Are_staged_nowhere_else) {
    const auto author = desktop.add("Author");
    author->setUuid(name);
    saveAndTurn();
    pass(1);
    for (const auto& request : client->requests)
        if (request.kind == QWRestRequest::Upload) {
            EXPECT_EQ(QFileInfo(QDir::cleanPath(request.localPath)).path(), desktop.path("cache"));
        }
    EXPECT_EQ(foreignFiles(), QStringList());
}

INSTANTIATE_TEST_SUITE_P(
    Table, HostileNames,
    testing::Combine(testing::Values(Desktop::Alone, Desktop::Supervised),
                     testing::Values(".", "..", "../../x", "..\\..\\x", "/etc/passwd", "x/../../../y",
                                     "C:\\x", "C:x", "\\\\host\\share", QString(QChar(0)),
                                     QString("x") + QChar(0) + "/../y", QString(250, 'X'),
                                     QString(5000, QChar(0x3042)),
                                     "\uFF0E\uFF0E\uFF0F\uFF0E\uFF0E\uFF0Fx", // full-width
                                     "\u2025\u2215\u2024\u2024\u29F5x",       // dot leaders, other slashes
                                     "\u202Etxt", "CON", "~", "-rf", "..%2f..%2fx", "a\nb")),
    [](const auto& row) {
        return (std::get<0>(row.param) == Desktop::Alone ? "Alone_" : "Supervised_")
               + std::to_string(row.index);
    });

} // namespace
