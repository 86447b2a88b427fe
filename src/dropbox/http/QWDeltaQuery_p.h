#pragma once

#include "dropbox/DBDeltaEntry.h"
#include "dropbox/http/QWServiceAnswers_p.h"

#include <map>

// One query for changes over all its pages: what they say of each path in the end.
//
// The entries of a page apply one after the other. A deletion, and a file, take away everything below their
// path; what had been said of it before is then a deletion too.
class QWDeltaQuery {
public:
    explicit QWDeltaQuery(const QString& cursor) : start_(cursor), cursor_(cursor) {}

    const QString& start() const { return start_; }   // the cursor that was asked for
    const QString& cursor() const { return cursor_; } // of the next page, empty for the first of a listing
    bool isReset() const { return isReset_; }

    // False once a thousand pages in a row have named no further path, and after each thousand more: the
    // service may go on like that for ever.
    bool add(const qw::http::Page& page);
    // The cursor is lost: everything is listed from scratch.
    void restart();
    // By path, so that a folder comes before what is in it.
    QList<DBDeltaEntryRef> entries() const;

private:
    QString start_;
    QString cursor_;
    bool isReset_ = false;
    int idlePages_ = 0; // in a row
    std::map<QString, std::optional<DBMetadata>> states_;
};
