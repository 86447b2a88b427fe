#pragma once

#include "store/QWManagedObject.h"

#include <QHash>

// The ids of a to-many relationship's members, in order. Adding, removing and testing are constant on
// average, because one owner may have a hundred thousand members.
class QWMemberList {
public:
    bool contains(const QWManagedObjectID& id) const { return places_.contains(id); }
    qsizetype count() const { return places_.size(); }
    bool isEmpty() const { return places_.isEmpty(); }

    // Both answer whether they changed anything.
    bool add(const QWManagedObjectID& id) {
        if (places_.contains(id))
            return false;
        places_.insert(id, ids_.size());
        ids_.push_back(id);
        return true;
    }
    bool remove(const QWManagedObjectID& id) {
        const auto place = places_.constFind(id);
        if (place == places_.cend())
            return false;
        ids_[*place] = {};
        places_.erase(place);
        if (ids_.size() > 32 && ids_.size() > 2 * size_t(places_.size()))
            assign(ids());
        return true;
    }
    void assign(const std::vector<QWManagedObjectID>& ids) {
        clear();
        for (const auto& id : ids)
            add(id);
    }
    void clear() {
        ids_.clear();
        places_.clear();
    }
    // Members that `order` has come first, in its order; the others follow in theirs.
    void arrange(const QWMemberList& order) {
        std::vector<QWManagedObjectID> arranged = order.ids();
        std::erase_if(arranged, [this](const QWManagedObjectID& id) { return !contains(id); });
        for (const QWManagedObjectID& id : ids())
            if (!order.contains(id))
                arranged.push_back(id);
        assign(arranged);
    }
    std::vector<QWManagedObjectID> ids() const {
        std::vector<QWManagedObjectID> result;
        result.reserve(places_.size());
        for (const auto& id : ids_)
            if (!id.isNull())
                result.push_back(id);
        return result;
    }

private:
    std::vector<QWManagedObjectID> ids_; // a null id where a member was removed
    QHash<QWManagedObjectID, size_t> places_;
};

// Members that came and went; one that did both is in neither.
struct QWMemberDelta {
    QWMemberList added, removed;
    bool reordered = false;

    void noteAdded(const QWManagedObjectID& id) {
        if (!removed.remove(id))
            added.add(id);
    }
    void noteRemoved(const QWManagedObjectID& id) {
        if (!added.remove(id))
            removed.add(id);
    }
    bool isEmpty() const { return added.isEmpty() && removed.isEmpty() && !reordered; }
    void clear() { *this = {}; }
};

struct QWManagedObject::Members {
    bool loaded = false; // `list` is complete; otherwise it is what is saved, changed by `sinceSave`
    QWMemberList list;
    QWMemberDelta sinceSave, sinceEvent;

    // Whether members had been added since the last save when the present event began.
    bool hadAdded() const {
        return sinceSave.added.count() + sinceEvent.removed.count() > sinceEvent.added.count();
    }
};

struct QWManagedObject::Changes {
    struct Before {
        int index;
        QVariant value;
    };
    std::vector<Before> sinceSave;  // slots changed since the last save, with the saved value
    std::vector<Before> sinceEvent; // slots changed since the last notice, with the value they had then
    std::vector<Before> baseline;   // of an insertion: slots set by primitives in awakeFromInsert
    std::vector<int> reported;      // keys of the notice that is being delivered

    static const QVariant* find(const std::vector<Before>& list, int index) {
        for (const Before& before : list)
            if (before.index == index)
                return &before.value;
        return nullptr;
    }
    static void note(std::vector<Before>& list, int index, const QVariant& value) {
        if (!find(list, index))
            list.push_back({index, value});
    }
    static void set(std::vector<Before>& list, int index, const QVariant& value) {
        std::erase_if(list, [index](const Before& before) { return before.index == index; });
        list.push_back({index, value});
    }
};
