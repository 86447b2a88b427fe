#pragma once

#include "core/cells/QWRowList_p.h"
#include "store/QWFetchCriteria.h"
#include "store/QWManagedObjectContext.h"

#include <QHash>
#include <functional>

// The rows of QWFetchedRecordsModel, without Qt's models: the identities of what a request fetches, kept in
// step with the context.
//
// Whatever a notice, a merge or a discard names is touched: its row may be gone, elsewhere, or new. Touched
// records are judged (does the request include it, and before which row does it stand), one by one, by binary
// search among the other rows, and then all changes are applied. A few are judged within the notice. Many are
// judged in slices, one for each turn of the run loop, during which the rows stay as they are, and applied by
// three changes at most, in a turn of their own: new rows at the end, one re-sort, removal of rows from the
// end.
class QWFetchedRows {
public:
    // Whoever shows the rows: runs `step`, in which they change, between its own announcements.
    class Audience {
    public:
        using Step = std::function<void()>;
        virtual ~Audience() = default;
        virtual void insertRows(int first, int last, const Step& step) = 0;
        virtual void removeRows(int first, int last, const Step& step) = 0;
        virtual void moveRow(int row, int destination, const Step& step) = 0; // before that row
        virtual void reorderRows(const Step& step) = 0;
        virtual void rowsChanged(int first, int last) = 0; // their values
        // After a fetch that the rows made by themselves; with an error they stay as they were.
        virtual void fetched(const QWError& error) = 0;
    };

    // Empty until `fetch`. The audience outlives the rows.
    QWFetchedRows(std::shared_ptr<QWManagedObjectContext> context, Audience& audience);
    ~QWFetchedRows();

    const QWFetchRequest& request() const { return request_; }
    // Fetches anew. False, with the error, when the request is refused; then all stays. Asked by the audience
    // while rows change, it fetches when they have changed.
    bool fetch(const QWFetchRequest& request, QWError* error);

    int count() const { return rows_.count(); }
    const QWManagedObjectID& idAt(int row) const { return rows_.at(row); }
    int rowOf(const QWManagedObjectID& id) const { return rows_.rowOf(id); }
    // Faults are read together with their neighbours.
    QWRef<QWManagedObject> recordAt(int row) const;
    // Nothing is waiting to be applied.
    bool isSettled() const { return order_.empty() && !mustRefetch_; }

private:
    using ID = QWManagedObjectID;
    struct Verdict {
        bool isWaiting = true; // for being judged
        bool isIncluded = false;
        QByteArray place;
        ID next; // the row that it stands before; null: the end
    };
    // An included touched record, and what it is to stand before; null: the end.
    struct Placed {
        QByteArray place;
        ID id, next;
    };

    void touch(const ID& id);
    void touch(const QWManagedObjectSet& records);
    void touch(const QWDidSaveNotice& saved);
    void settle();
    bool mostRowsAreTouched() const;
    void performSlice();
    void judgeSome();
    bool judge(const QWManagedObject& record, Verdict& verdict); // false when something cannot be read
    std::optional<ID> rowBehind(const QByteArray& place);
    bool isLoose(const ID& id) const;
    int firstSteady(int row);
    const QByteArray& placeOfRow(int row);

    void arrange();
    void apply();
    void applyOneByOne(const std::vector<Placed>& placed, const std::vector<ID>& gone);
    void applyAtOnce(const std::vector<Placed>& placed, const std::vector<ID>& gone);
    int rowBefore(const ID& next) const { return next.isNull() ? rows_.count() : rows_.rowOf(next); }
    void removeAll(const std::vector<ID>& ids);
    void announceChanged(const std::vector<ID>& ids);
    void adopt(const std::vector<ID>& ids);
    void refetch();
    void forgetTouched();

    std::shared_ptr<QWManagedObjectContext> context_;
    Audience& audience_;
    QWFetchRequest request_;
    std::optional<QWFetchCriteria> criteria_;
    QWRowList rows_;

    QHash<ID, Verdict> touched_;
    std::vector<ID> order_;         // of `touched_`, by first touch
    std::vector<ID> waiting_;       // of those, to be judged
    QHash<int, QByteArray> probed_; // places of rows that judging has read; rows stay while there are any
    QHash<int, int> steadyBehind_;  // the first row that stands where it belongs, behind rows that may not
    std::vector<Placed> placed_;    // of many: their order, until it is applied or something is touched again
    bool isArranged_ = false;
    bool mustRefetch_ = false; // something could not be read, or was asked for while rows changed
    bool isMerging_ = false;   // what a merge touches is settled together
    bool isApplying_ = false;
    QWRunLoop::Handle slice_;

    // Keep the records alive that were asked for last: two generations, of which the older one goes when the
    // younger is full.
    mutable QWManagedObjectSet recent_, former_;
    std::vector<QWObservation> observations_;
};
