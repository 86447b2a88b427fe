#include "ScriptedCloud.h"

#include "dropbox/DBPath.h"

#include <QDirIterator>
#include <QRegularExpression>
#include <algorithm>

using namespace std::chrono_literals;

namespace {

// Without it, what is sent again at once would be sent for ever at one instant.
constexpr auto latency = 50ms;

const QDateTime today(QDate(2026, 1, 2), QTime(0, 0), Qt::UTC);

bool liesIn(const QString& folder, const QString& path) {
    return !folder.isEmpty() && path.startsWith(folder + '/') && QDir::cleanPath(path) == path
           && !path.mid(folder.size() + 1).contains('/');
}

} // namespace

// The client ------------------------------------------------------------------------------------------------

class ScriptedCloud::Client final : public DBRestClient {
public:
    Client(ScriptedCloud& cloud, std::shared_ptr<QWEnvironment> environment)
        : cloud_(cloud), environment_(std::move(environment)) {}

    void loadDelta(const QString& cursor) override {
        if (page_ == 0) {
            query_ = {};
            if (!cloud_.queries.empty()) {
                query_ = cloud_.queries.front();
                cloud_.queries.pop_front();
            }
            // What the desktop has sent is there.
            if (query_.isReset || cursor.isEmpty())
                for (const auto& [path, metadata] : cloud_.sent_)
                    query_.pages.back().append(DBMakeDeltaEntry(path, metadata));
        }
        if (query_.status != 200)
            return fail(query_.status, {}, &DBRestClientDelegate::restClientLoadDeltaFailedWithError);
        const auto entries = query_.pages[page_];
        page_ = (page_ + 1) % query_.pages.size();
        answer([this, entries, hasMore = page_ != 0](DBRestClientDelegate& to) {
            to.restClientLoadedDeltaEntries(*this, entries, query_.isReset,
                                            "cursor-" + QString::number(++cursors_), hasMore);
        });
    }

    void uploadFile(const QString& filename, const QString& folder, const QString&,
                    const QString& localPath) override {
        require(liesIn(cloud_.localFolder, localPath) || liesIn(cloud_.imagesFolder, localPath),
                "what is sent lies in the folders of the engine and the host");
        const auto bytes = environment_->files().read(localPath);
        const QString path = dropboxPath(folder, filename);
        if (!bytes)
            return fail(0, {{"sourcePath", localPath}, {"destinationPath", path}},
                        &DBRestClientDelegate::restClientUploadFileFailedWithError);
        QString destination = path;
        if (!cloud_.renamed.empty()) {
            destination = cloud_.renamed.front();
            cloud_.renamed.pop_front();
        }
        const DBMetadata metadata = cloud_.uploaded(destination, *bytes);
        answer([this, metadata, localPath](DBRestClientDelegate& to) {
            to.restClientUploadedFile(*this, metadata.path, localPath, metadata);
        });
    }

    void deletePath(const QString& path) override {
        cloud_.sent_.erase(lowercaseDropboxPath(path));
        answer([this, path](DBRestClientDelegate& to) { to.restClientDeletedPath(*this, path); });
    }

    void loadFile(const QString& path, const QString& localPath) override {
        require(liesIn(cloud_.localFolder, localPath), "a download lies in the engine's folder");
        const QVariantMap info{{"path", path}, {"destinationPath", localPath}};
        const auto failed = &DBRestClientDelegate::restClientLoadFileFailedWithError;
        const auto found = cloud_.files.find(path.toLower());
        if (found == cloud_.files.end())
            return fail(404, info, failed);
        File& file = found->second;
        if (file.refusals > 0) {
            --file.refusals;
            return fail(file.status, info, failed);
        }
        if (!environment_->files().write(localPath, file.bytes))
            return fail(0, info, failed);
        answer([this, localPath, metadata = file.metadata](DBRestClientDelegate& to) {
            to.restClientLoadedFile(*this, localPath, {}, metadata);
        });
    }

    void loadMetadata(const QString& path) override {
        DBMetadata folder;
        folder.path = path;
        folder.isDirectory = true;
        answer([this, folder](DBRestClientDelegate& to) { to.restClientLoadedMetadata(*this, folder); });
    }

private:
    using Failed = void (DBRestClientDelegate::*)(DBRestClient&, const QWError&);

    void fail(int status, const QVariantMap& info, Failed failed) {
        answer([this, failed, error = QWError{"dropbox", status, "it failed", info}](
                   DBRestClientDelegate& to) { (to.*failed)(*this, error); });
    }
    void answer(std::function<void(DBRestClientDelegate&)> say) {
        ++cloud_.requests;
        environment_->runLoop().after(latency,
                                      [life = std::weak_ptr<bool>(life_), this, say = std::move(say)] {
                                          if (!life.expired() && delegate())
                                              say(*delegate());
                                      });
    }

    ScriptedCloud& cloud_;
    const std::shared_ptr<QWEnvironment> environment_;
    const std::shared_ptr<bool> life_ = std::make_shared<bool>(true);
    Query query_;
    std::size_t page_ = 0;
    int cursors_ = 0;
};

std::unique_ptr<DBRestClient> ScriptedCloud::makeClient(const std::shared_ptr<QWEnvironment>& environment) {
    return std::make_unique<Client>(*this, environment);
}

DBMetadata ScriptedCloud::uploaded(const QString& path, const QByteArray& bytes) {
    DBMetadata metadata;
    metadata.path = path;
    metadata.rev = "sent" + QString::number(++revisions_);
    metadata.lastModifiedDate = today;
    metadata.totalBytes = bytes.size();
    sent_[path.toLower()] = metadata;
    files[path.toLower()] = {metadata, bytes};
    return metadata;
}

// The desktop -----------------------------------------------------------------------------------------------

const QString FuzzedDesktop::ownUUID = QStringLiteral("20260101-7777");

FuzzedDesktop::FuzzedDesktop(Desktop::Supervision supervision) : desktop(cloud, 1, supervision) {
    cloud.localFolder = desktop.path("cache");
    cloud.imagesFolder = desktop.path("images");
    const auto own = desktop.add("Author", {{"name", "Own"}});
    own->setUuid(ownUUID);
    desktop.save();
    desktop.world.userDefaults->setBoolean(QWDBLastTimeTokenExpiredPrefKey, false);
}

// What is changed while it is sent, an engine alone sends again for as long as it is active: its user starts sync anew.
void FuzzedDesktop::pass(std::chrono::milliseconds time) {
    constexpr std::chrono::milliseconds slice = 1s;
    constexpr int mostInSlice = 15;
    for (; time > 0s; time -= slice) {
        const int before = cloud.requests;
        desktop.advance(std::min(time, slice));
        if (!desktop.supervisor && cloud.requests - before > mostInSlice) {
            desktop.engine->deactivateSync();
            desktop.activate();
        }
        require(cloud.requests < 20'000, "requests are bounded");
    }
}

bool FuzzedDesktop::settles() {
    for (auto time = 0s; time < 2h && !desktop.isIdle(); ++time)
        pass(1s);
    return desktop.isIdle();
}

void FuzzedDesktop::checkNothingIsLost(bool isRecordNamed) {
    QWError error;
    require(desktop.context->save(&error), "the host can save");
    const auto own = desktop.find(ownUUID, "Author");
    require(isRecordNamed || (own && own->valueForKey("name") == "Own"), "the host's record is there");
    QWManagedObjectContext fresh(desktop.coordinator);
    const auto saved = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(ownUUID, "Author", fresh);
    require(isRecordNamed || (saved && saved->valueForKey("name") == "Own"), "the host's record is saved");

    const QString root = desktop.path("");
    for (QDirIterator entries(root, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                              QDirIterator::Subdirectories);
         entries.hasNext();) {
        const QString path = entries.next().mid(QDir(root).path().size() + 1);
        static const QRegularExpression archivedImage("^cache/ArchivedImages/[0-9a-f]{64}$");
        const bool isExpected = path == "cache" || path == "images" || path.startsWith("library.sqlite")
                                || archivedImage.match(path).hasMatch()
                                || (path.startsWith("cache/") && path.count('/') == 1)
                                || (path.startsWith("images/Book-") && path.count('/') == 1);
        require(isExpected, "no file lies where none belongs");
    }
}
