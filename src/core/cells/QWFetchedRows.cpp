#include "core/cells/QWFetchedRows_p.h"

#include <QSet>
#include <algorithm>

namespace {

constexpr size_t judgedAtOnce = 100;    // more are judged in slices
constexpr size_t judgedInSlice = 64;    // some milliseconds
constexpr qsizetype mostProbed = 16384; // a million rows' upper fourteen levels
constexpr size_t keptAlive = 1024;      // records in a generation
constexpr int readTogether = 64;        // rows

} // namespace

QWFetchedRows::QWFetchedRows(std::shared_ptr<QWManagedObjectContext> context, Audience& audience)
    : context_(std::move(context)), audience_(audience) {
    observations_.push_back(context_->observeObjectsDidChange([this](const QWObjectsDidChangeNotice& notice) {
        for (const auto* set : {&notice.inserted, &notice.updated, &notice.refreshed, &notice.deleted})
            touch(*set);
        settle();
    }));
    observations_.push_back(context_->observeWillMerge([this](const QWDidSaveNotice& saved) {
        isMerging_ = true;
        touch(saved);
    }));
    observations_.push_back(context_->observeDidMerge([this](const QWDidSaveNotice&) {
        isMerging_ = false;
        settle();
    }));
    observations_.push_back(context_->observeDidDiscard([this](const QWManagedObjectSet& records) {
        touch(records);
        settle();
    }));
}

QWFetchedRows::~QWFetchedRows() {
    slice_.cancel();
}

QWRef<QWManagedObject> QWFetchedRows::recordAt(int row) const {
    const ID& id = rows_.at(row);
    const QWRef<QWManagedObject> live = context_->registeredObject(id);
    if (live && !live->isFault())
        return live;
    std::vector<ID> neighbours;
    const int first = row - row % readTogether;
    for (int each = first; each < std::min(first + readTogether, rows_.count()); ++each)
        neighbours.push_back(rows_.at(each));
    if (recent_.size() >= keptAlive)
        former_ = std::exchange(recent_, {});
    const QWManagedObjectSet read = context_->objectsWithIDs(neighbours);
    recent_.insert(recent_.end(), read.begin(), read.end());
    return read[size_t(row - first)];
}

// Fetching --------------------------------------------------------------------------------------------------

bool QWFetchedRows::fetch(const QWFetchRequest& request, QWError* error) {
    QWFetchRequest complete = request;
    complete.includesPendingChanges = true;
    context_->processPendingChanges();
    auto criteria = QWFetchCriteria::create(*context_, complete, error);
    if (!criteria)
        return false;
    if (isApplying_) {
        request_ = std::move(complete);
        criteria_ = std::move(criteria);
        mustRefetch_ = true;
        return true;
    }
    auto ids = context_->fetchIDs(complete, error);
    if (!ids)
        return false;
    // While a notice is delivered: what the next one will report as inserted comes with that, for of what is
    // deleted before no notice will ever tell.
    QSet<ID> unreported;
    for (const auto& record : context_->insertedObjects())
        if (record->hasUnreportedChanges())
            unreported.insert(record->objectID());
    if (!unreported.isEmpty())
        std::erase_if(*ids, [&](const ID& id) { return unreported.contains(id); });
    request_ = std::move(complete);
    criteria_ = std::move(criteria);
    const std::vector<ID> touched = order_;
    forgetTouched();
    adopt(*ids);
    announceChanged(touched);
    return true;
}

void QWFetchedRows::refetch() {
    QWError error;
    fetch(request_, &error);
    audience_.fetched(error);
}

void QWFetchedRows::forgetTouched() {
    slice_.cancel();
    touched_.clear();
    order_.clear();
    waiting_.clear();
    probed_.clear();
    steadyBehind_.clear();
    placed_.clear();
    isArranged_ = false;
    mustRefetch_ = false;
}

// Makes the rows those of `ids`, in that order.
void QWFetchedRows::adopt(const std::vector<ID>& ids) {
    isApplying_ = true;
    if (rows_.count() == 0 && !ids.empty()) {
        audience_.insertRows(0, int(ids.size()) - 1, [&] { rows_.assign(ids); });
        isApplying_ = false;
        return settle();
    }
    QWRowList target;
    target.assign(ids);
    std::vector<ID> added, gone;
    for (const ID& id : ids)
        if (!rows_.contains(id))
            added.push_back(id);
    for (int row = 0; row < rows_.count(); ++row)
        if (!target.contains(rows_.at(row)))
            gone.push_back(rows_.at(row));
    const int before = rows_.count();
    if (!added.empty())
        audience_.insertRows(before, before + int(added.size()) - 1, [&] {
            for (const ID& id : added)
                rows_.append(id);
        });
    for (const ID& id : gone)
        target.append(id);
    bool isInOrder = true;
    for (int row = 0; row < rows_.count() && isInOrder; ++row)
        isInOrder = rows_.at(row) == target.at(row);
    if (!isInOrder)
        audience_.reorderRows([&] { rows_ = std::move(target); });
    removeAll(gone);
    isApplying_ = false;
    settle();
}

// Judging ---------------------------------------------------------------------------------------------------

void QWFetchedRows::touch(const ID& id) {
    if (!criteria_ || !id.entity->isKindOf(criteria_->entity()))
        return;
    const auto known = touched_.find(id);
    if (known != touched_.end() && known->isWaiting)
        return;
    if (known == touched_.end())
        order_.push_back(id);
    touched_[id] = {};
    waiting_.push_back(id);
    placed_.clear();
    isArranged_ = false;
}

void QWFetchedRows::touch(const QWManagedObjectSet& records) {
    for (const auto& record : records)
        touch(record->objectID());
}

void QWFetchedRows::touch(const QWDidSaveNotice& saved) {
    for (const auto* set : {&saved.inserted, &saved.updated, &saved.deleted})
        touch(*set);
}

void QWFetchedRows::settle() {
    if (isMerging_ || isApplying_ || isSettled() || slice_.isPending())
        return;
    const bool isCut = request_.limit > 0 || request_.offset > 0;
    if (isCut || mustRefetch_)
        return refetch(); // in a part of the result one record's change may bring in or push out another
    if (order_.size() > judgedAtOnce) {
        if (mostRowsAreTouched())
            return refetch(); // there is next to nothing left to compare with
        slice_ = context_->environment().runLoop().post([this] { performSlice(); });
        return;
    }
    while (!waiting_.empty() && !mustRefetch_)
        judgeSome();
    if (mustRefetch_)
        return refetch();
    arrange();
    apply();
}

// One turn's work on many records.
void QWFetchedRows::performSlice() {
    if (!waiting_.empty())
        judgeSome();
    else if (!isArranged_)
        arrange();
    else
        return apply();
    settle();
}

bool QWFetchedRows::mostRowsAreTouched() const {
    const auto most = size_t(rows_.count()) / 10 * 9;
    return most > 0 && order_.size() > most
           && size_t(std::count_if(order_.begin(), order_.end(), [this](const ID& id) {
                  return rows_.contains(id);
              })) > most;
}

void QWFetchedRows::judgeSome() {
    const auto count = qptrdiff(std::min(judgedInSlice, waiting_.size()));
    const std::vector<ID> some(waiting_.end() - count, waiting_.end());
    waiting_.erase(waiting_.end() - count, waiting_.end());
    for (const auto& record : context_->objectsWithIDs(some))
        mustRefetch_ = !judge(*record, touched_[record->objectID()]) || mustRefetch_;
}

bool QWFetchedRows::judge(const QWManagedObject& record, Verdict& verdict) {
    verdict.isWaiting = false;
    verdict.isIncluded = criteria_->includes(record);
    if (!verdict.isIncluded)
        return record.isDeleted() || !record.isFault(); // one whose row has gone is none any more
    verdict.place = criteria_->place(record);
    const auto next = rowBehind(verdict.place);
    verdict.next = next.value_or(ID());
    return next.has_value();
}

// Whether the row may stand in the wrong place: it is touched, or will be by the next notice.
bool QWFetchedRows::isLoose(const ID& id) const {
    if (touched_.contains(id))
        return true;
    const auto live = context_->registeredObject(id);
    return live && live->hasUnreportedChanges();
}

// The first row from this one on that stands where it belongs; `count` when there is none. What was passed
// over is passed over at once the next time: where many records are touched, many of them are neighbours.
int QWFetchedRows::firstSteady(int row) {
    int steady = row;
    while (steady < rows_.count() && isLoose(rows_.at(steady)))
        steady = steadyBehind_.value(steady, steady + 1);
    for (int each = row; each < steady;)
        each = std::max(std::exchange(steadyBehind_[each], steady), each + 1); // 0: not yet known
    return steady;
}

const QByteArray& QWFetchedRows::placeOfRow(int row) {
    const auto known = probed_.constFind(row);
    if (known != probed_.cend())
        return *known;
    if (probed_.size() >= mostProbed)
        probed_.clear();
    return *probed_.insert(row, criteria_->place(rows_.at(row)));
}

// The first row behind `place`, by the rows that stand where they belong; null: the end. Nothing when a row
// cannot be read.
std::optional<QWFetchedRows::ID> QWFetchedRows::rowBehind(const QByteArray& place) {
    int low = 0, high = rows_.count();
    while (low < high) {
        const int middle = low + (high - low) / 2;
        const int probe = std::min(firstSteady(middle), high);
        if (probe < high && placeOfRow(probe).isEmpty())
            return std::nullopt;
        if (probe == high || place < placeOfRow(probe))
            high = middle;
        else
            low = probe + 1;
    }
    const int behind = firstSteady(low);
    return behind < rows_.count() ? rows_.at(behind) : ID();
}
