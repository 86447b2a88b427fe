#include "sync/QWDeltaQueue.h"

#include <ctime>
#include <gtest/gtest.h>

namespace {

DBDeltaEntryRef changed(const QString& name) {
    DBMetadata metadata;
    metadata.path = "/SyncCache.dbSync/" + name;
    return DBMakeDeltaEntry(metadata.path.toLower(), metadata);
}

DBDeltaEntryRef deleted(const QString& name) {
    return DBMakeDeltaEntry("/synccache.dbsync/" + name.toLower());
}

struct DeltaQueue : testing::Test {
    QWDeltaQueue queue;
    QWDeltaQueue::InProcess inProcess;

    void begin(const DBDeltaEntryRef& entry) { inProcess.insert(QWDeltaQueue::nameInProcess(*entry), entry); }
    void finish(const DBDeltaEntryRef& entry) {
        inProcess.remove(QWDeltaQueue::nameInProcess(*entry));
        queue.release(QWDeltaQueue::nameInProcess(*entry));
        queue.remove(entry);
    }
};

} // namespace

TEST_F(DeltaQueue, The_next_entry_is_the_first_that_is_not_in_process) {
    const auto a = changed("A.data"), b = changed("B.data"), c = changed("C.data");
    queue.append({a, b, c});
    EXPECT_EQ(queue.next(inProcess), a);
    begin(a);
    EXPECT_EQ(queue.next(inProcess), b);
    begin(b);
    finish(a);
    EXPECT_EQ(queue.next(inProcess), c);
    EXPECT_EQ(queue.count(), 2);
    begin(c);
    EXPECT_EQ(queue.next(inProcess), nullptr);
}

TEST_F(DeltaQueue, An_entry_that_leaves_the_process_unfinished_is_found_again) {
    const auto a = changed("A.data"), b = changed("B.data");
    queue.append({a, b});
    begin(a);
    EXPECT_EQ(queue.next(inProcess), b);
    inProcess.clear();
    queue.release("a.data");
    EXPECT_EQ(queue.next(inProcess), a);
}

TEST_F(DeltaQueue, Entries_of_one_file_come_one_after_the_other) {
    const auto first = changed("A.data"), second = changed("a.data"), gone = deleted("A.data"),
               b = changed("B.data");
    queue.append({first, second, gone, b});
    begin(first);
    EXPECT_EQ(queue.next(inProcess), b);
    begin(b);
    EXPECT_EQ(queue.next(inProcess), nullptr);
    finish(first);
    EXPECT_EQ(queue.next(inProcess), second);
    begin(second);
    EXPECT_EQ(queue.next(inProcess), nullptr);
    finish(second);
    EXPECT_EQ(queue.next(inProcess), gone);
}

TEST_F(DeltaQueue, Sorting_keeps_what_is_in_process_out_and_the_rest_in_order) {
    const auto b = changed("B.data"), c = changed("C.data"), a = changed("A.data");
    queue.append({b, c});
    begin(b);
    queue.remove(c);
    queue.append({a});
    queue.sort({});
    EXPECT_EQ(queue.entries(), QList({a, b}));
    EXPECT_EQ(queue.next(inProcess), a);
    queue.remove(a);
    EXPECT_EQ(queue.next(inProcess), nullptr);
    finish(b);
    EXPECT_TRUE(queue.isEmpty());
}

TEST_F(DeltaQueue, One_of_100_000_entries_costs_no_more_than_one_of_1_000) {
    const auto costOfOne = [&](int count) {
        QList<DBDeltaEntryRef> entries;
        for (int index = 0; index < count; ++index)
            entries.append(changed(QString::number(index % 2 == 0 ? index : index - 1) + ".data"));
        const std::clock_t start = std::clock();
        queue.append(entries);
        std::vector<DBDeltaEntryRef> out;
        while (!queue.isEmpty()) {
            while (out.size() < 5 && queue.next(inProcess)) {
                out.push_back(queue.next(inProcess));
                begin(out.back());
            }
            finish(out.front());
            out.erase(out.begin());
        }
        return double(std::clock() - start) / count;
    };
    costOfOne(1'000); // warms the caches
    const double few = costOfOne(1'000);
    EXPECT_LT(costOfOne(100'000), 20 * few) << "100 times is what a quadratic cost would be";
}

TEST_F(DeltaQueue, Removing_an_entry_that_is_not_there_does_nothing) {
    queue.append({changed("A.data")});
    queue.remove(changed("A.data"));
    EXPECT_EQ(queue.count(), 1);
    queue.clear();
    EXPECT_EQ(queue.count(), 0);
    EXPECT_EQ(queue.next(inProcess), nullptr);
}
