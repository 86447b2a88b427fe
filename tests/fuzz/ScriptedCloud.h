#pragma once

#include "Fuzzing.h"
#include "sync/support/Desktop.h"

#include <deque>
#include <functional>
#include <map>

// A cloud that says what a script has it say, to one desktop. It is a liar only where the script makes it one:
// what the desktop sends is acknowledged, and stands in later listings from scratch.
class ScriptedCloud final : public Cloud {
public:
    struct File {
        DBMetadata metadata; // with its download
        QByteArray bytes;
        int refusals = 0; // downloads that fail first, with
        int status = 0;
    };
    struct Query {
        std::vector<QList<DBDeltaEntryRef>> pages{1};
        bool isReset = false;
        int status = 200;
    };

    std::map<QString, File> files; // by lower-case path
    std::deque<Query> queries;     // to come; an empty page after them
    std::deque<QString> renamed;   // where the next uploads are said to have gone
    QString localFolder;           // in which downloads and what is sent lie, and nowhere else
    QString imagesFolder;          // or here, what is sent
    int requests = 0;

    std::unique_ptr<DBRestClient> makeClient(const std::shared_ptr<QWEnvironment>& environment) override;

private:
    class Client;
    DBMetadata uploaded(const QString& path, const QByteArray& bytes);
    std::map<QString, DBMetadata> sent_; // by lower-case path
    int revisions_ = 0;
};

// A desktop of that cloud, with a record of its own that no script means.
struct FuzzedDesktop {
    explicit FuzzedDesktop(Desktop::Supervision supervision);

    // Lets what is due run for so long.
    void pass(std::chrono::milliseconds time);
    // Whether the engine comes to rest.
    bool settles();
    // That the record is there, saved, that the store can be saved, and that no file lies where none belongs.
    void checkNothingIsLost(bool isRecordNamed = false);

    static const QString ownUUID;

    ScriptedCloud cloud;
    Desktop desktop;
};
