#include "StoreSeed.h"

#include "ScriptedCloud.h"

#include <sqlite3.h>

namespace {

// One file, without a journal beside it.
QByteArray whole(const QString& path) {
    sqlite3* database = nullptr;
    sqlite3_open(path.toUtf8().constData(), &database);
    sqlite3_exec(database, "PRAGMA journal_mode = DELETE", nullptr, nullptr, nullptr);
    sqlite3_close(database);
    return QWSystemFileManager().read(path).value_or(QByteArray());
}

} // namespace

QByteArray storeSeed::cacheFile() {
    FuzzedDesktop world(Desktop::Alone);
    world.desktop.engine->syncPreferenceWithKeys({"theme"});
    world.desktop.activate();
    world.pass(std::chrono::seconds(20));
    const auto book = world.desktop.add("Book", {{"title", "Sent unsaved"}});
    world.pass(std::chrono::seconds(1)); // sent, and in the journal
    world.desktop.engine->deactivateSync();
    world.desktop.add("Book", {{"title", "Waits"}});
    world.pass(std::chrono::seconds(1));
    world.desktop.engine->saveCacheContext();
    world.desktop.crash();
    return whole(world.desktop.path("cache/DropboxCache.sqlite"));
}

QByteArray storeSeed::libraryFile() {
    FuzzedDesktop world(Desktop::Alone);
    const auto author = world.desktop.find(FuzzedDesktop::ownUUID, "Author");
    const auto book = world.desktop.add("Book", {{"title", "A"}, {"pages", 12}, {"notes", "n"}});
    book->setRelatedObject("author", author.data());
    for (const char* heading : {"One", "Two"})
        world.desktop.add("Chapter", {{"heading", heading}})->setRelatedObject("book", book.data());
    world.desktop.save();
    world.desktop.crash();
    return whole(world.desktop.path("library.sqlite"));
}
