#include "dropbox/folder/QWAppFolder.h"

#include "dropbox/DBContentHash.h"
#include "dropbox/DBPath.h"
#include "dropbox/folder/QWFolderIndex_p.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <algorithm>

namespace {

constexpr qsizetype longestName = 255;
constexpr qsizetype longestPath = 4096;
const QString databaseName = QStringLiteral("app-folder.sqlite");

// Runs an operation that throws what it fails with, and answers that as an error.
template <class Operation>
auto attempt(QWError* error, Operation operation) -> std::optional<decltype(operation())> {
    try {
        return operation();
    } catch (const QWFolderFailure& failure) {
        qw::fail(error, failure.error);
        return std::nullopt;
    }
}

bool isAcceptedName(QStringView name) {
    if (name.isEmpty() || name.size() > longestName || name == u"." || name == u".." || name.back().isSpace())
        return false;
    return std::none_of(name.begin(), name.end(), [](QChar character) {
        return character < QChar(0x20) || character == QChar(0x7f) || character == QLatin1Char('\\');
    });
}

void check(const QString& path) {
    bool accepted = path.startsWith(QLatin1Char('/')) && path.size() <= longestPath && path.isValidUtf16();
    for (const QStringView name : QStringView(path).mid(1).split(QLatin1Char('/')))
        accepted = accepted && isAcceptedName(name);
    if (!accepted)
        throw QWFolderFailure(QWAppFolderErrorCode::MalformedPath,
                              QStringLiteral("\"%1\" is no path of the app folder.").arg(path), path);
}

QWFolderFailure notFound(const QString& path) {
    return {QWAppFolderErrorCode::NotFound, QStringLiteral("Nothing stands at \"%1\".").arg(path), path};
}

QWFolderFailure inTheWay(const DBMetadata& standing, const QString& path) {
    if (standing.isDirectory)
        return {QWAppFolderErrorCode::FolderInTheWay,
                QStringLiteral("A folder stands at \"%1\" already.").arg(path), path};
    return {QWAppFolderErrorCode::FileInTheWay,
            QStringLiteral("Another file stands at \"%1\" already.").arg(path), path};
}

QString parentOf(const QString& path) {
    return path.left(path.lastIndexOf(QLatin1Char('/')));
}

// The `attempt`th name, from 1, under which a file is kept whose own place is taken.
QString renamed(const QString& path, QWWriteMode::Kind kind, int attempt, const QString& accountName) {
    QString suffix;
    if (kind == QWWriteMode::Update)
        suffix = QStringLiteral(" (%1's conflicted copy)").arg(accountName);
    const int number = kind == QWWriteMode::Update ? attempt - 1 : attempt;
    if (number > 0)
        suffix += QStringLiteral(" (%1)").arg(number);

    const qsizetype name = path.lastIndexOf(QLatin1Char('/')) + 1;
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    const qsizetype end = dot > name ? dot : path.size();
    return path.left(end) + suffix + path.mid(end);
}

// Where a page of a query starts.
struct Cursor {
    bool isListing = true;
    qint64 position = 0; // of the last entry given: in a listing its id, otherwise its number in the sequence
    qint64 upTo = 0;     // the change that was the last when the query began; 0: it has not begun

    // Nothing for a text that `toText` did not make with this key.
    static std::optional<Cursor> fromText(const QString& text, const QString& key) {
        const QStringList pieces = text.split(QLatin1Char('-'));
        if (pieces.size() != 4)
            return std::nullopt;
        const Cursor cursor{pieces[1] == QLatin1String("l"), pieces[2].toLongLong(nullptr, 16),
                            pieces[3].toLongLong(nullptr, 16)};
        return cursor.toText(key) == text ? std::optional(cursor) : std::nullopt;
    }
    QString toText(const QString& key) const {
        return QStringLiteral("%1-%2-%3-%4")
            .arg(key, isListing ? QLatin1String("l") : QLatin1String("c"))
            .arg(position, 0, 16)
            .arg(upTo, 0, 16);
    }
};

// Hex digits that no other app folder starts with.
QString newIdentity(QWUUIDSource& uuids) {
    const QByteArray uuid = uuids.next().toLatin1();
    return QString::fromLatin1(QCryptographicHash::hash(uuid, QCryptographicHash::Sha256).toHex().left(16));
}

} // namespace

QWAppFolder::QWAppFolder(std::shared_ptr<QWEnvironment> environment, QWAppFolderOptions options,
                         std::unique_ptr<QWFolderIndex> index, bool isInMemory)
    : environment_(std::move(environment)), options_(std::move(options)), index_(std::move(index)),
      isInMemory_(isInMemory) {}

QWAppFolder::~QWAppFolder() = default;

std::unique_ptr<QWAppFolder> QWAppFolder::inMemory(std::shared_ptr<QWEnvironment> environment,
                                                   QWAppFolderOptions options) {
    auto index =
        std::make_unique<QWFolderIndex>(QString(), newIdentity(environment->uuids()), options.capacity);
    return std::unique_ptr<QWAppFolder>(
        new QWAppFolder(std::move(environment), std::move(options), std::move(index), true));
}

std::unique_ptr<QWAppFolder> QWAppFolder::inDirectory(const QString& directory,
                                                      std::shared_ptr<QWEnvironment> environment,
                                                      QWAppFolderOptions options, QWError* error) {
    if (!environment->files().makeFolder(directory, error))
        return nullptr;
    auto index = attempt(error, [&] {
        return std::make_unique<QWFolderIndex>(directory + QLatin1Char('/') + databaseName,
                                               newIdentity(environment->uuids()), options.capacity);
    });
    if (!index)
        return nullptr;
    return std::unique_ptr<QWAppFolder>(
        new QWAppFolder(std::move(environment), std::move(options), std::move(*index), false));
}

std::optional<DBMetadata> QWAppFolder::metadata(const QString& path, QWError* error) {
    return attempt(error, [&] {
        check(path);
        const auto entry = index_->find(lowercaseDropboxPath(path));
        if (!entry || entry->isDeleted)
            throw notFound(path);
        return entry->metadata;
    });
}

bool QWAppFolder::wasDeleted(const QString& path) {
    const auto answer = attempt(nullptr, [&] {
        const auto entry = index_->find(lowercaseDropboxPath(path));
        return entry && entry->isDeleted;
    });
    return answer.value_or(false);
}

std::optional<QWAppFolder::File> QWAppFolder::read(const QString& path, QWError* error) {
    QBuffer bytes;
    bytes.open(QIODevice::WriteOnly);
    const auto metadata = read(path, bytes, error);
    return metadata ? std::optional(File{*metadata, bytes.data()}) : std::nullopt;
}

std::optional<DBMetadata> QWAppFolder::read(const QString& path, QIODevice& to, QWError* error) {
    return attempt(error, [&] {
        check(path);
        const auto entry = index_->find(lowercaseDropboxPath(path), &to);
        if (!entry || entry->isDeleted)
            throw notFound(path);
        if (entry->metadata.isDirectory)
            throw QWFolderFailure(QWAppFolderErrorCode::NotAFile,
                                  QStringLiteral("\"%1\" is a folder.").arg(path), path);
        return entry->metadata;
    });
}

std::optional<DBMetadata> QWAppFolder::upload(const QString& path, const QByteArray& bytes,
                                              const QWWriteMode& mode, QWError* error) {
    QBuffer content;
    content.setData(bytes);
    content.open(QIODevice::ReadOnly);
    return upload(path, content, mode, error);
}

std::optional<DBMetadata> QWAppFolder::upload(const QString& path, QIODevice& content,
                                              const QWWriteMode& mode, QWError* error) {
    return attempt(error, [&] {
        check(path);
        QWFolderTransaction transaction(index_->database());
        DBMetadata written = write(path, content, mode);
        transaction.commit();
        return written;
    });
}

std::optional<DBMetadata> QWAppFolder::createFolder(const QString& path, QWWriteMode::OnConflict onConflict,
                                                    QWError* error) {
    return attempt(error, [&] {
        check(path);
        QWFolderTransaction transaction(index_->database());
        DBMetadata made = makeFolder(freePlace(path, onConflict));
        transaction.commit();
        return made;
    });
}

std::optional<DBMetadata> QWAppFolder::remove(const QString& path, QWError* error) {
    return attempt(error, [&] {
        check(path);
        QWFolderTransaction transaction(index_->database());
        const auto entry = index_->find(lowercaseDropboxPath(path));
        if (!entry || entry->isDeleted)
            throw notFound(path);
        deleteWithDescendants(entry->id, entry->lowercasePath, entry->metadata.isDirectory);
        transaction.commit();
        return entry->metadata;
    });
}

std::optional<DBMetadata> QWAppFolder::move(const QString& from, const QString& to,
                                            QWWriteMode::OnConflict onConflict, QWError* error) {
    return attempt(error, [&] {
        check(from);
        check(to);
        QWFolderTransaction transaction(index_->database());
        const auto moved = index_->find(lowercaseDropboxPath(from));
        if (!moved || moved->isDeleted)
            throw notFound(from);
        const QString target = lowercaseDropboxPath(to);
        if (target == moved->lowercasePath)
            return moved->metadata;
        if (target.startsWith(moved->lowercasePath + QLatin1Char('/')))
            throw QWFolderFailure(QWAppFolderErrorCode::IntoItself,
                                  QStringLiteral("\"%1\" cannot be moved into itself.").arg(from), to);

        const QString place = freePlace(to, onConflict);
        makeParents(place);
        std::vector<QWFolderIndex::Entry> entries = index_->standingUnder(moved->lowercasePath);
        entries.insert(entries.begin(), *moved);
        for (const QWFolderIndex::Entry& entry : entries) {
            DBMetadata metadata = entry.metadata;
            metadata.path = place + entry.metadata.path.mid(moved->metadata.path.size());
            if (!metadata.isDirectory)
                metadata.rev = newRevision();
            index_->copyContent(entry.id, put(metadata).id);
        }
        const DBMetadata result = index_->find(lowercaseDropboxPath(place))->metadata;
        deleteWithDescendants(moved->id, moved->lowercasePath, moved->metadata.isDirectory);
        transaction.commit();
        return result;
    });
}

void QWAppFolder::deleteWithDescendants(qint64 id, const QString& lowercasePath, bool isDirectory) {
    index_->markDeleted(id);
    if (!isDirectory)
        return;
    const std::vector<qint64> children = index_->coverDescendants(lowercasePath);
    if (options_.reportsChildrenOfDeletedFolders)
        index_->appendChanges(children);
}

DBMetadata QWAppFolder::write(const QString& path, QIODevice& content, const QWWriteMode& mode) {
    const qint64 start = content.pos();
    const QString hash = dropboxContentHash(content);
    const qint64 size = content.pos() - start;
    QString place = path;
    for (int rename = 1;; ++rename) {
        const auto standing = index_->find(lowercaseDropboxPath(place));
        const bool wantsWhatIsGone = mode.isStrict && mode.kind == QWWriteMode::Update && place == path;
        if (!standing || (standing->isDeleted && !wantsWhatIsGone))
            break;
        const DBMetadata& there = standing->metadata;
        if (there.hash == hash && !mode.isStrict)
            return there;
        if (place == path && !standing->isDeleted && !there.isDirectory
            && (mode.kind == QWWriteMode::Overwrite
                || (mode.kind == QWWriteMode::Update && there.rev == mode.rev)))
            break;
        if (mode.onConflict == QWWriteMode::Refuse)
            throw inTheWay(there, path);
        place = renamed(path, mode.kind, rename, options_.accountName);
        check(place);
    }
    makeParents(place);
    const qint64 now = environment_->clock().now().toSecsSinceEpoch();
    const QDateTime date = QDateTime::fromSecsSinceEpoch(now, Qt::UTC);
    const Placed placed = put({place, newRevision(), hash, date, size, false});
    content.seek(start);
    index_->writeContent(placed.id, content);
    return placed.metadata;
}

QString QWAppFolder::freePlace(const QString& path, QWWriteMode::OnConflict onConflict) {
    QString place = path;
    for (int rename = 1;; ++rename) {
        const auto standing = index_->find(lowercaseDropboxPath(place));
        if (!standing || standing->isDeleted)
            return place;
        if (onConflict == QWWriteMode::Refuse)
            throw inTheWay(standing->metadata, path);
        place = renamed(path, QWWriteMode::Add, rename, {});
        check(place);
    }
}

void QWAppFolder::makeParents(const QString& path) {
    const QString parent = parentOf(path);
    if (parent.isEmpty())
        return;
    const auto standing = index_->find(lowercaseDropboxPath(parent));
    if (!standing || standing->isDeleted)
        makeFolder(parent);
    else if (!standing->metadata.isDirectory)
        throw QWFolderFailure(QWAppFolderErrorCode::FileAmongParents,
                              QStringLiteral("\"%1\" is a file, not a folder.").arg(parent), path);
}

DBMetadata QWAppFolder::makeFolder(const QString& path) {
    makeParents(path);
    DBMetadata folder;
    folder.path = path;
    folder.isDirectory = true;
    return put(folder).metadata;
}

QWAppFolder::Placed QWAppFolder::put(DBMetadata metadata) {
    const QString lowercasePath = lowercaseDropboxPath(metadata.path);
    const auto old = index_->find(lowercasePath);
    if (old && !old->isDeleted) {
        metadata.path = old->metadata.path;
    } else if (const QString parent = parentOf(metadata.path); !parent.isEmpty()) {
        metadata.path.replace(0, parent.size(), index_->find(lowercaseDropboxPath(parent))->metadata.path);
    }
    const qint64 id = index_->put(lowercasePath, metadata);
    // The folder's deletion, which covered everything under it, will be reported to nobody any more.
    if (old && old->isDeleted && old->metadata.isDirectory)
        index_->appendChanges(index_->coveredDescendants(lowercasePath));
    return {id, metadata};
}

QString QWAppFolder::newRevision() {
    // A folder made anew in the place of this one must not give the same revisions to other bytes.
    return QString::number(index_->head() + 1, 16) + index_->identity().left(8);
}

std::optional<QWAppFolder::Page> QWAppFolder::changes(const QString& cursor, int limit, QWError* error) {
    return attempt(error, [&] { return page(cursor, limit); });
}

QWAppFolder::Page QWAppFolder::page(const QString& cursorText, int limit) {
    const QString key = index_->cursorKey();
    const qint64 head = index_->head();
    const auto given = cursorText.isEmpty() ? Cursor() : Cursor::fromText(cursorText, key);
    if (!given || given->upTo > head || (!given->isListing && given->position > head))
        throw QWFolderFailure(QWAppFolderErrorCode::CursorLost,
                              QStringLiteral("The cursor is not one of this app folder."));
    Cursor cursor = *given;
    if (cursor.upTo == 0)
        cursor.upTo = head;

    // One more than asked for tells whether there are more.
    std::vector<QWFolderIndex::Entry> entries =
        cursor.isListing ? index_->standing(cursor.position, limit + 1)
                         : index_->changes(cursor.position, cursor.upTo, limit + 1);
    Page page;
    page.hasMore = qsizetype(entries.size()) > limit;
    if (page.hasMore)
        entries.pop_back();
    for (const QWFolderIndex::Entry& entry : entries) {
        page.entries.append(DBMakeDeltaEntry(entry.lowercasePath,
                                             entry.isDeleted ? std::nullopt : std::optional(entry.metadata)));
        cursor.position = cursor.isListing ? entry.id : entry.sequence;
    }
    page.cursor = (page.hasMore ? cursor : Cursor{false, cursor.upTo, 0}).toText(key);
    return page;
}

std::optional<QString> QWAppFolder::latestCursor(QWError* error) {
    return attempt(error, [&] { return Cursor{false, index_->head(), 0}.toText(index_->cursorKey()); });
}

bool QWAppFolder::forgetCursors(QWError* error) {
    return attempt(error,
                   [&] {
                       index_->setCursorKey(newIdentity(environment_->uuids()));
                       return true;
                   })
        .has_value();
}
