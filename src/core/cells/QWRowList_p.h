#pragma once

#include "store/QWManagedObjectID.h"

#include <array>
#include <memory>
#include <vector>

// The identities of a list's rows in their order, each once and all of one root entity. Made for a million of
// them: 24 bytes a row; a row is found by its identity, inserted and removed in the time that its block of
// the list takes, not the whole list.
class QWRowList {
public:
    int count() const { return count_; }
    const QWManagedObjectID& at(int row) const;
    int rowOf(const QWManagedObjectID& id) const; // -1 for one that is not in the list
    bool contains(const QWManagedObjectID& id) const { return blockOf(id) != nullptr; }

    void assign(const std::vector<QWManagedObjectID>& ids);
    void insert(int row, const QWManagedObjectID& id);
    void append(const QWManagedObjectID& id) { insert(count_, id); }
    void remove(int row);

private:
    struct Block {
        size_t position; // among the blocks
        std::vector<QWManagedObjectID> ids;
    };
    static constexpr size_t fullBlock = 256, newBlock = 128, pageSize = 1024;
    using Page = std::array<Block*, pageSize>; // of neighbouring keys, which were given out in sequence

    int startOf(size_t position) const;
    int endOfKnown() const;
    size_t positionOfRow(int row) const;
    Block* blockOf(const QWManagedObjectID& id) const;
    Block*& entry(const QWManagedObjectID& id);
    static size_t pageOf(qint64 key);
    void split(Block& block);
    void renumber(size_t from);

    std::vector<std::unique_ptr<Block>> blocks_; // none is empty
    std::vector<std::unique_ptr<Page>> pages_;   // null where no row has such a key
    mutable std::vector<int> starts_;            // the first row of each block, as far as `knownStarts_`
    mutable size_t knownStarts_ = 0;
    int count_ = 0;
};
