// What the cloud says has changed, with the files that it gives: any names, paths, revisions, dates and
// contents, to an engine alone or supervised. Nothing of the host's is lost, no file lies where none belongs,
// and the engine comes to rest.
//
// The input is a script, a step in each line, its parts parted by tabs:
//     s                          supervised (the first line)
//     f PATH REV SECONDS BYTES   the query announces this file
//     o PATH                     … this folder
//     x PATH                     … that this is deleted
//     p                          … the rest on another page
//     r                          … and is a listing from scratch
//     q                          the query is answered; what follows is for the next one
//     e STATUS                   the query fails
//     l STATUS COUNT             downloads of the last file fail so often
//     m PATH                     the download of the last file is said to be that of another path
//     n PATH                     … and its entry stands under that path
//     u PATH                     the next upload is said to have gone there
//     w UUID TEXT                the host writes a book
//     d UUID                     the host deletes it
//     k                          the host saves
//     g SECONDS                  time passes
//     a                          the host deactivates the engine, and activates it
//     z                          the process dies, and another starts
#include "ScriptedCloud.h"

#include <QRegularExpression>

namespace {

class Script {
public:
    explicit Script(const QByteArray& input)
        : lines_(input.split('\n').mid(0, mostLines)),
          isSupervised_(!lines_.isEmpty() && lines_.front() == "s"),
          world_(isSupervised_ ? Desktop::Supervised : Desktop::Alone) {}

    void run() {
        desktop().activate();
        world_.pass(std::chrono::seconds(1));
        for (const QByteArray& line : lines_)
            step(line);
        ask();
        const bool isSettled = world_.settles();
        require(isSettled || mayHold(), "the engine comes to rest");
        world_.checkNothingIsLost(isRecordNamed_);
        booksWereSaved();
        checkBooks();
    }

private:
    static constexpr int mostLines = 60;

    Desktop& desktop() { return world_.desktop; }

    // What an engine alone does not get over, and says so: docs/guarantees.md.
    bool mayHold() const { return isLying_ || (!isSupervised_ && hasFailed_); }

    void step(const QByteArray& line) {
        const QList<QByteArray> parts = line.split('\t');
        const auto text = [&](int index) { return QString::fromUtf8(parts.value(index)); };
        const auto number = [&](int index, int limit) {
            return std::clamp(parts.value(index).toInt(), 0, limit);
        };
        isRecordNamed_ |= line.contains(FuzzedDesktop::ownUUID.toUtf8());
        const char kind = parts[0].isEmpty() ? '\0' : parts[0][0];
        if (kind != 'w')
            otherLines_ += QString::fromUtf8(line).toCaseFolded() + '\n';
        switch (kind) {
        case 'f':
            return announce(text(1), text(2), number(3, 100'000'000), parts.mid(4).join('\t'));
        case 'o':
            return announceFolder(text(1));
        case 'x':
            return add(DBMakeDeltaEntry(text(1).toLower()));
        case 'p':
            return query_.pages.emplace_back().clear();
        case 'r':
            query_.isReset = true;
            return;
        case 'q':
            return ask();
        case 'e':
            query_.status = failure(number(1, 999));
            return;
        case 'l':
            if (last_) {
                last_->status = failure(number(1, 999));
                last_->refusals = number(2, 3);
                hasFailed_ = true;
            }
            return;
        case 'm':
            if (last_) {
                last_->metadata.path = text(1);
                isLying_ = true;
            }
            return;
        case 'n':
            if (lastEntry_) {
                lastEntry_->lowercasePath = text(1);
                isLying_ = true;
            }
            return;
        case 'u':
            isLying_ = true;
            return world_.cloud.renamed.push_back(text(1));
        case 'w':
            return write(text(1), text(2));
        case 'd':
            if (const auto book = isSaneUUID(text(1)) ? desktop().find(text(1)) : desktop::Record())
                desktop().context->deleteObject(*book);
            return;
        case 'k':
            desktop().save();
            return booksWereSaved();
        case 'g':
            return world_.pass(std::chrono::seconds(number(1, 3600)));
        case 'a':
            desktop().engine->deactivateSync();
            world_.pass(std::chrono::seconds(1));
            return desktop().activate();
        case 'z':
            return restart();
        default:
            return;
        }
    }

    // A refused token is no matter of these scripts: everything ends with it.
    int failure(int status) {
        hasFailed_ = true;
        return status == 200 || status == 401 ? 500 : status;
    }
    // As records get them; what else comes, comes from the cloud.
    static bool isSaneUUID(const QString& uuid) {
        static const QRegularExpression form("\\A[0-9A-Z-]{1,36}\\z");
        return form.match(uuid).hasMatch() && uuid != FuzzedDesktop::ownUUID;
    }

    void add(const DBDeltaEntryRef& entry) { query_.pages.back().append(entry); }

    void announce(const QString& path, const QString& rev, int seconds, const QByteArray& bytes) {
        DBMetadata metadata;
        metadata.path = path;
        metadata.rev = rev;
        metadata.lastModifiedDate = QDateTime::fromSecsSinceEpoch(1767225600 + seconds, Qt::UTC);
        metadata.totalBytes = bytes.size();
        last_ = &(world_.cloud.files[path.toLower()] = {metadata, bytes});
        lastEntry_ = DBMakeDeltaEntry(path.toLower(), metadata);
        add(lastEntry_);
    }
    void announceFolder(const QString& path) {
        DBMetadata metadata;
        metadata.path = path;
        metadata.isDirectory = true;
        add(DBMakeDeltaEntry(path.toLower(), metadata));
    }

    void ask() {
        world_.cloud.queries.push_back(std::exchange(query_, {}));
        last_ = nullptr;
        lastEntry_ = nullptr;
        desktop().askForChanges();
        world_.pass(std::chrono::seconds(1));
    }

    void write(const QString& uuid, const QString& title) {
        if (!isSaneUUID(uuid))
            return;
        auto book = desktop().find(uuid);
        if (!book) {
            book = desktop().add("Book");
            book->setUuid(uuid);
        }
        book->setValueForKey("title", title);
        unsaved_[uuid] = title;
        world_.pass(std::chrono::milliseconds(1));
    }

    void booksWereSaved() {
        for (const auto& [uuid, title] : unsaved_)
            saved_[uuid] = title;
        unsaved_.clear();
    }
    // Of books that neither the cloud nor a deletion means, in any line.
    void checkBooks() {
        QWManagedObjectContext fresh(desktop().coordinator);
        for (const auto& [uuid, title] : saved_) {
            if (otherLines_.contains(uuid.toCaseFolded()))
                continue;
            const auto book = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Book", fresh);
            require(book && (!title || book->valueForKey("title") == *title),
                    "the host's books are as it saved them");
        }
    }

    void restart() {
        for (const auto& [uuid, title] : std::exchange(unsaved_, {}))
            if (saved_.contains(uuid))
                saved_[uuid].reset();
        desktop().crash();
        desktop().start();
        desktop().activate();
        world_.pass(std::chrono::seconds(1));
    }

    const QList<QByteArray> lines_;
    const bool isSupervised_;
    FuzzedDesktop world_;
    ScriptedCloud::Query query_;
    ScriptedCloud::File* last_ = nullptr;
    DBDeltaEntryRef lastEntry_;
    std::map<QString, QString> unsaved_;              // what books were given as titles, by uuid
    std::map<QString, std::optional<QString>> saved_; // nothing where a death has left open which it is
    QString otherLines_;                              // of the script, but those that write books
    bool isRecordNamed_ = false, hasFailed_ = false, isLying_ = false;
};

} // namespace

void runInput(const QByteArray& input) {
    Script(input).run();
}
