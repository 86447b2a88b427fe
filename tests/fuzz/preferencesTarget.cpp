// The file of the shared preferences, as it comes from the cloud and as it stands on the disk: what can be read
// is taken over as it is, what cannot changes nothing, and no other setting is touched.
#include "ScriptedCloud.h"

#include "sync/QWSyncedPreferences_p.h"

using namespace qw::sync;

namespace {

const QString path = QWDBFileSyncedPreferencesInDropboxFolder;

void checkForm(const QJsonObject& preferences) {
    const QByteArray written = preferencesFileBytes(preferences);
    const auto again = preferencesFromFileBytes(written);
    require(again.has_value(), "what was written can be read");
    require(preferencesFileBytes(*again) == written, "what was read is written as it was");
    for (const QJsonValue& value : *again) {
        const auto travelling = travellingPreference(value);
        require(travelling && *travelling == value, "what has travelled travels as it is");
    }
}

class Host {
public:
    explicit Host(Desktop::Supervision supervision) : world_(supervision) {
        defaults().setObject("theme", "dark");
        defaults().setObject("private", "mine");
        world_.desktop.engine->syncPreferenceWithKeys({"theme", "unit"});
        world_.desktop.activate();
        require(world_.settles(), "the engine comes to rest");
    }

    void receive(const QByteArray& bytes) {
        DBMetadata metadata;
        metadata.path = path;
        metadata.rev = "other";
        metadata.lastModifiedDate = QDateTime(QDate(2026, 2, 1), QTime(0, 0), Qt::UTC);
        metadata.totalBytes = bytes.size();
        world_.cloud.files[path.toLower()] = {metadata, bytes};
        ScriptedCloud::Query query;
        query.pages[0].append(DBMakeDeltaEntry(path.toLower(), metadata));
        world_.cloud.queries.push_back(query);
        world_.desktop.askForChanges();
        settle();
    }
    // The process dies, its local copy is replaced, and another process starts.
    void restartWith(const QByteArray& bytes) {
        world_.desktop.crash();
        require(world_.desktop.world.files->write(world_.desktop.path("cache") + path, bytes),
                "a copy is there");
        world_.desktop.start();
        world_.desktop.activate();
        settle();
    }

    void checkOthers(const QJsonObject& received) {
        require(received.contains("private") || defaults().object("private") == "mine",
                "a setting that is not named is not touched");
        require(received.contains("theme") || defaults().object("theme") == "dark",
                "a shared setting that is not named stays");
        world_.checkNothingIsLost();
    }
    void checkTaken(const QJsonObject& received) {
        for (auto value = received.begin(); value != received.end(); ++value)
            if (value.key() != QWDBNeedToUploadSyncedPreferencesPrefKey
                && value.key() != QWDBLastTimeTokenExpiredPrefKey)
                require(defaults().object(value.key())
                            == (value->isNull() ? QJsonValue(QJsonValue::Undefined) : *value),
                        "what was received is set");
    }

private:
    QWUserDefaults& defaults() { return *world_.desktop.world.userDefaults; }
    // As long as a change may wait to be sent.
    void settle() {
        world_.pass(std::chrono::seconds(20));
        require(world_.settles(), "the engine comes to rest");
    }

    FuzzedDesktop world_;
};

} // namespace

void runInput(const QByteArray& input) {
    // The first byte says whether the engine is supervised; the file follows.
    const bool isSupervised = input.startsWith('s');
    const QByteArray bytes = input.mid(1);
    const auto preferences = preferencesFromFileBytes(bytes);
    if (preferences)
        checkForm(*preferences);
    const QJsonObject received = preferences.value_or(QJsonObject());
    Host host(isSupervised ? Desktop::Supervised : Desktop::Alone);
    host.receive(bytes);
    host.checkTaken(received);
    host.checkOthers(received);
    host.restartWith(bytes);
    host.checkOthers(received);
}
