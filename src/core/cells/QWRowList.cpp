#include "core/cells/QWRowList_p.h"

#include <algorithm>

// Negative keys are those of records that were inserted before there was a store.
size_t QWRowList::pageOf(qint64 key) {
    const qint64 page = key >> 10;
    return page >= 0 ? 2 * size_t(page) : 2 * size_t(~page) + 1;
}

QWRowList::Block* QWRowList::blockOf(const QWManagedObjectID& id) const {
    const size_t page = pageOf(id.key);
    return page < pages_.size() && pages_[page] ? (*pages_[page])[size_t(id.key) % pageSize] : nullptr;
}

QWRowList::Block*& QWRowList::entry(const QWManagedObjectID& id) {
    const size_t page = pageOf(id.key);
    if (page >= pages_.size())
        pages_.resize(std::max(page + 1, pages_.size() * 3 / 2));
    if (!pages_[page])
        pages_[page] = std::make_unique<Page>(Page{});
    return (*pages_[page])[size_t(id.key) % pageSize];
}

// What an insertion moves is reckoned again as far as somebody asks: insertions from the last row to the
// first ask for nothing of it.
int QWRowList::endOfKnown() const {
    return knownStarts_ == 0 ? 0 : starts_[knownStarts_ - 1] + int(blocks_[knownStarts_ - 1]->ids.size());
}

int QWRowList::startOf(size_t position) const {
    starts_.resize(blocks_.size());
    for (; knownStarts_ <= position; ++knownStarts_)
        starts_[knownStarts_] = endOfKnown();
    return starts_[position];
}

size_t QWRowList::positionOfRow(int row) const {
    while (endOfKnown() <= row)
        startOf(knownStarts_);
    const auto known = starts_.begin() + qptrdiff(knownStarts_);
    return size_t(std::upper_bound(starts_.begin(), known, row) - starts_.begin()) - 1;
}

const QWManagedObjectID& QWRowList::at(int row) const {
    const size_t position = positionOfRow(row);
    return blocks_[position]->ids[size_t(row - starts_[position])];
}

int QWRowList::rowOf(const QWManagedObjectID& id) const {
    const Block* block = blockOf(id);
    if (!block)
        return -1;
    const auto found = std::find_if(block->ids.begin(), block->ids.end(),
                                    [&](const QWManagedObjectID& each) { return each.key == id.key; });
    return startOf(block->position) + int(found - block->ids.begin());
}

void QWRowList::assign(const std::vector<QWManagedObjectID>& ids) {
    *this = {};
    for (size_t start = 0; start < ids.size(); start += newBlock) {
        const auto first = ids.begin() + qptrdiff(start);
        const auto last = first + qptrdiff(std::min(newBlock, ids.size() - start));
        blocks_.push_back(std::make_unique<Block>(Block{blocks_.size(), {first, last}}));
        for (auto id = first; id != last; ++id)
            entry(*id) = blocks_.back().get();
    }
    count_ = int(ids.size());
}

void QWRowList::insert(int row, const QWManagedObjectID& id) {
    if (blocks_.empty())
        blocks_.push_back(std::make_unique<Block>(Block{0, {}}));
    size_t position = row == count_ ? blocks_.size() - 1 : positionOfRow(row);
    if (blocks_[position]->ids.size() == fullBlock) {
        split(*blocks_[position]);
        position = row == count_ ? blocks_.size() - 1 : positionOfRow(row);
    }
    Block& block = *blocks_[position];
    const size_t place = row == count_ ? block.ids.size() : size_t(row - starts_[position]);
    block.ids.insert(block.ids.begin() + qptrdiff(place), id);
    entry(id) = &block;
    knownStarts_ = std::min(knownStarts_, position + 1);
    ++count_;
}

void QWRowList::remove(int row) {
    const size_t position = positionOfRow(row);
    Block& block = *blocks_[position];
    const auto place = block.ids.begin() + (row - starts_[position]);
    entry(*place) = nullptr;
    block.ids.erase(place);
    knownStarts_ = std::min(knownStarts_, position + 1);
    --count_;
    if (block.ids.empty()) {
        blocks_.erase(blocks_.begin() + qptrdiff(position));
        renumber(position);
    }
}

void QWRowList::split(Block& block) {
    const auto middle = block.ids.begin() + qptrdiff(block.ids.size() / 2);
    auto second = std::make_unique<Block>(Block{block.position + 1, {middle, block.ids.end()}});
    block.ids.erase(middle, block.ids.end());
    for (const QWManagedObjectID& id : second->ids)
        entry(id) = second.get();
    const size_t position = second->position;
    blocks_.insert(blocks_.begin() + qptrdiff(position), std::move(second));
    renumber(position);
}

void QWRowList::renumber(size_t from) {
    for (size_t position = from; position < blocks_.size(); ++position)
        blocks_[position]->position = position;
    knownStarts_ = std::min(knownStarts_, from);
}
