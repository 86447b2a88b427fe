#include "core/cells/QWFetchedRows_p.h"

#include <QSet>
#include <algorithm>

// From verdicts to changes of the rows. Wherever records are placed, it is from the last to the first, so
// that what a record is to stand before stands where it belongs already.

namespace {

using ID = QWManagedObjectID;

constexpr size_t placedOneByOne = 32; // more are placed by one re-sort
constexpr size_t mostRanges = 32;     // of rows that are removed or announced one by one

// Consecutive rows, first and last, in their order.
using Ranges = std::vector<std::pair<int, int>>;

Ranges rangesOf(const QWRowList& rows, const std::vector<ID>& ids) {
    std::vector<int> sorted;
    for (const ID& id : ids)
        if (const int row = rows.rowOf(id); row >= 0)
            sorted.push_back(row);
    std::sort(sorted.begin(), sorted.end());
    Ranges ranges;
    for (const int row : sorted) {
        if (!ranges.empty() && ranges.back().second + 1 == row)
            ranges.back().second = row;
        else
            ranges.emplace_back(row, row);
    }
    return ranges;
}

} // namespace

// What the verdicts come to: the included touched records in their order.
void QWFetchedRows::arrange() {
    for (const ID& id : order_) {
        const Verdict& verdict = touched_[id];
        if (!verdict.isIncluded)
            continue;
        const int next = firstSteady(rowBefore(verdict.next));
        placed_.push_back({verdict.place, id, next < rows_.count() ? rows_.at(next) : ID()});
    }
    std::sort(placed_.begin(), placed_.end(),
              [](const Placed& left, const Placed& right) { return left.place < right.place; });
    for (size_t i = 0; i + 1 < placed_.size(); ++i)
        if (placed_[i].next == placed_[i + 1].next)
            placed_[i].next = placed_[i + 1].id;
    isArranged_ = true;
}

void QWFetchedRows::apply() {
    isApplying_ = true;
    const std::vector<Placed> placed = std::exchange(placed_, {});
    std::vector<ID> gone, changed;
    for (const ID& id : order_)
        if (rows_.contains(id))
            (touched_[id].isIncluded ? changed : gone).push_back(id);
    forgetTouched();

    // Each removal costs a view of a million rows some milliseconds.
    if (placed.size() <= placedOneByOne && rangesOf(rows_, gone).size() <= mostRanges)
        applyOneByOne(placed, gone);
    else
        applyAtOnce(placed, gone);
    announceChanged(changed);
    isApplying_ = false;
    settle(); // what an audience has changed meanwhile
}

void QWFetchedRows::applyOneByOne(const std::vector<Placed>& placed, const std::vector<ID>& gone) {
    removeAll(gone);
    QSet<ID> unplaced; // rows that may have to move
    for (const Placed& each : placed)
        if (rows_.contains(each.id))
            unplaced.insert(each.id);
    for (size_t end = placed.size(); end > 0;) {
        size_t first = end - 1;
        const Placed& last = placed[first];
        const int destination = rowBefore(last.next);
        const int row = rows_.rowOf(last.id);
        if (row < 0) {
            const auto joins = [&](const Placed& each) {
                return each.next == placed[first].id && !rows_.contains(each.id);
            };
            while (first > 0 && joins(placed[first - 1]))
                --first;
            audience_.insertRows(destination, destination + int(end - first) - 1, [&] {
                for (size_t i = end; i > first; --i)
                    rows_.insert(destination, placed[i - 1].id);
            });
        } else {
            unplaced.remove(last.id);
            int behind = row + 1;
            while (behind < rows_.count() && unplaced.contains(rows_.at(behind)))
                ++behind;
            if (behind != destination)
                audience_.moveRow(row, destination, [&] {
                    rows_.remove(row);
                    rows_.insert(destination > row ? destination - 1 : destination, last.id);
                });
        }
        end = first;
    }
}

void QWFetchedRows::applyAtOnce(const std::vector<Placed>& placed, const std::vector<ID>& gone) {
    std::vector<ID> added;
    for (const Placed& each : placed)
        if (!rows_.contains(each.id))
            added.push_back(each.id);
    if (!added.empty())
        audience_.insertRows(rows_.count(), rows_.count() + int(added.size()) - 1, [&] {
            for (const ID& id : added)
                rows_.append(id);
        });

    const QSet<ID> leaving(gone.begin(), gone.end());
    const auto standsInPlace = [&](const Placed& each) {
        int behind = rows_.rowOf(each.id) + 1;
        while (behind < rows_.count() && leaving.contains(rows_.at(behind)))
            ++behind;
        return behind == rowBefore(each.next);
    };
    if (rangesOf(rows_, gone).size() > mostRanges
        || !std::all_of(placed.begin(), placed.end(), standsInPlace))
        audience_.reorderRows([&] {
            for (auto each = placed.rbegin(); each != placed.rend(); ++each) // new ones from the end
                rows_.remove(rows_.rowOf(each->id));
            for (const ID& id : gone)
                rows_.remove(rows_.rowOf(id));
            for (auto each = placed.rbegin(); each != placed.rend(); ++each)
                rows_.insert(rowBefore(each->next), each->id);
            for (const ID& id : gone)
                rows_.append(id);
        });
    removeAll(gone);
}

void QWFetchedRows::removeAll(const std::vector<ID>& ids) {
    const Ranges ranges = rangesOf(rows_, ids);
    for (auto range = ranges.rbegin(); range != ranges.rend(); ++range)
        audience_.removeRows(range->first, range->second, [&] {
            for (int row = range->second; row >= range->first; --row)
                rows_.remove(row);
        });
}

void QWFetchedRows::announceChanged(const std::vector<ID>& ids) {
    const Ranges ranges = rangesOf(rows_, ids);
    if (ranges.size() > mostRanges)
        return audience_.rowsChanged(ranges.front().first, ranges.back().second);
    for (const auto& [first, last] : ranges)
        audience_.rowsChanged(first, last);
}
