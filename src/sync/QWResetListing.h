#pragma once

#include "dropbox/DBDeltaEntry.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <optional>

// Finds out what was deleted while a lost cursor hid it: a listing from scratch tells what the app folder
// holds, never what it held. Follows the queries of the engine, of which several may be out at once; a
// listing that a failure interrupts goes on with the next query, and one whose cursor is lost begins anew.
// Letter case of names does not count.
class QWResetListing {
public:
    void queryBegan();
    void queryFailed();
    int unansweredQueries() const { return unansweredQueries_; }
    // This client has uploaded or imported the file: a listing that was asked for before does not know it.
    void fileWritten(const QString& fileName);
    // True when this page completes a listing.
    bool pageArrived(const QList<DBDeltaEntryRef>& entries, bool reset, bool hasMore);

    // Whether the listing holds a file: one of the sync folder, or that of the preferences.
    bool holds(const QString& fileName) const;
    // Whether the complete listing lacks a known file, which was not written since it was asked for.
    bool lacks(const QString& fileName) const;
    // The deletions that the complete listing tells of, in no order: one for each known file that it lacks
    // and that was not written since it was asked for; when it lacks the sync folder, that of the folder in
    // place of its files.
    QList<DBDeltaEntryRef> deletions(const QStringList& knownFileNames) const;
    // The listing is of no more use.
    void end();

private:
    int unansweredQueries_ = 0;
    QSet<QString> written_; // while queries are out or a listing is under way
    struct Listing {
        QSet<QString> fileNames;
        bool holdsSyncFolder;
    };
    std::optional<Listing> listing_;
};
