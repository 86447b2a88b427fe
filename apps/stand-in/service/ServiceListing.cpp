#include "service/ServiceRoutes.h"

#include "dropbox/DBPath.h"

#include <QJsonArray>
#include <algorithm>
#include <chrono>
#include <utility>

namespace standin {

namespace {

using namespace std::chrono_literals;

// How often long polls look for what other processes have written into the folder.
constexpr auto checkInterval = 500ms;

const QString pathTag = QStringLiteral("path");

} // namespace

Listing Service::takeListing(Arguments& arguments) {
    Listing listing;
    listing.lowercasePath = lowercaseDropboxPath(arguments.path("path", PathForm::Listed));
    listing.isRecursive = arguments.flag("recursive", false);
    listing.limit = int(arguments.integer("limit", Listing::mostEntries, 1, Listing::mostEntries));
    arguments.flag("include_deleted", false); // a listing holds no old deletions here
    arguments.ignore({"include_media_info", "include_has_explicit_shared_members", "include_mounted_folders",
                      "include_property_groups", "include_non_downloadable_files",
                      "include_restorable_info"});
    arguments.finish();
    checkListed(listing);
    return listing;
}

void Service::checkListed(const Listing& listing) {
    if (listing.lowercasePath.isEmpty())
        return;
    QWError error;
    const auto folder = folder_->metadata(listing.lowercasePath, &error);
    if (!folder)
        throw EndpointError{QStringList(pathTag) + tagsOf(error)};
    if (!folder->isDirectory)
        throw EndpointError{{pathTag, QStringLiteral("not_folder")}};
}

Reply Service::listFolder(Arguments& arguments, const Request&) {
    return page(takeListing(arguments));
}

Reply Service::continueListing(Arguments& arguments, const Request&) {
    const Listing listing = Listing::fromText(arguments.text("cursor"));
    arguments.finish();
    checkListed(listing);
    return page(listing);
}

Reply Service::latestCursor(Arguments& arguments, const Request&) {
    Listing listing = takeListing(arguments);
    QWError error;
    const auto cursor = folder_->latestCursor(&error);
    if (!cursor)
        throw Breakdown{error.message};
    listing.cursor = *cursor;
    return jsonReply({{QStringLiteral("cursor"), listing.toText()}});
}

namespace {

QWAppFolder::Page changes(QWAppFolder& folder, const QString& cursor, int limit) {
    QWError error;
    const auto page = folder.changes(cursor, limit, &error);
    if (page)
        return *page;
    if (QWAppFolderErrorCode(error.code) == QWAppFolderErrorCode::CursorLost)
        throw EndpointError{{QStringLiteral("reset")}};
    throw Breakdown{error.message};
}

} // namespace

// Of what the app folder's page holds, the listing passes on what lies in its own folder; a page may be
// empty.
Reply Service::page(Listing listing) {
    const QWAppFolder::Page page =
        changes(*folder_, listing.cursor, std::min(listing.limit, options_.pageSize));
    QJsonArray entries;
    for (const DBDeltaEntryRef& entry : page.entries) {
        if (listing.holds(entry->lowercasePath))
            entries.append(entry->metadata ? metadataObject(*entry->metadata, Tagged::Yes)
                                           : deletedObject(entry->lowercasePath));
    }
    listing.cursor = page.cursor;
    return jsonReply({{QStringLiteral("entries"), entries},
                      {QStringLiteral("cursor"), listing.toText()},
                      {QStringLiteral("has_more"), page.hasMore}});
}

void Service::startLongPoll(Arguments& arguments, const Answer& answer) {
    const Listing listing = Listing::fromText(arguments.text("cursor"));
    const std::chrono::seconds timeout(arguments.integer("timeout", 30, 30, 480));
    arguments.finish();
    hasChanged(listing); // a lost cursor is refused at once
    longPolls_.push_back({listing, answer, environment_->runLoop().now() + timeout});
}

bool Service::hasChanged(const Listing& listing) {
    const QWAppFolder::Page page = changes(*folder_, listing.cursor, Listing::mostEntries);
    return page.hasMore
           || std::any_of(page.entries.begin(), page.entries.end(),
                          [&](const DBDeltaEntryRef& entry) { return listing.holds(entry->lowercasePath); });
}

// Answers the long polls whose folder has changed or whose time is over.
void Service::checkLongPolls() {
    if (longPolls_.empty())
        return;
    for (LongPoll& poll : std::exchange(longPolls_, {})) {
        try {
            const bool changed = hasChanged(poll.listing);
            if (changed || environment_->runLoop().now() >= poll.deadline)
                poll.answer(jsonReply({{QStringLiteral("changes"), changed}}));
            else
                longPolls_.push_back(std::move(poll));
        } catch (const EndpointError& error) {
            poll.answer(errorReply(409, error.tags, errorObject({}, error)));
        } catch (const Breakdown& breakdown) {
            poll.answer(Reply::text(500, breakdown.problem));
        }
    }
    nextCheck_.cancel();
    if (!longPolls_.empty())
        nextCheck_ = environment_->runLoop().after(checkInterval, [this] { checkLongPolls(); });
}

} // namespace standin
