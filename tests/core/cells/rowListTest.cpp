#include "core/cells/QWRowList_p.h"

#include <gtest/gtest.h>
#include <random>

// The list beside a plain vector.

namespace {

struct RowList : testing::Test {
    void expectSame() {
        ASSERT_EQ(list.count(), int(plain.size()));
        for (int row = 0; row < list.count(); ++row) {
            ASSERT_EQ(list.at(row), plain[size_t(row)]) << row;
            ASSERT_EQ(list.rowOf(plain[size_t(row)]), row);
        }
    }
    void insert(size_t row, qint64 key) {
        list.insert(int(row), {nullptr, key});
        plain.insert(plain.begin() + qptrdiff(row), {nullptr, key});
    }
    void remove(size_t row) {
        const QWManagedObjectID id = plain[row];
        list.remove(int(row));
        plain.erase(plain.begin() + qptrdiff(row));
        EXPECT_FALSE(list.contains(id));
        EXPECT_EQ(list.rowOf(id), -1);
    }

    QWRowList list;
    std::vector<QWManagedObjectID> plain;
};

} // namespace

TEST_F(RowList, Equals_a_vector_after_any_insertions_and_removals) {
    std::mt19937 random(5);
    qint64 nextKey = 1;
    for (int round = 0; round < 6; ++round) {
        for (int i = 0; i < 1500; ++i) // several blocks, at random places
            insert(random() % (plain.size() + 1), nextKey++);
        expectSame();
        for (int i = 0; i < 1200; ++i)
            remove(random() % plain.size());
        expectSame();
    }
    while (!plain.empty())
        remove(plain.size() / 2);
    expectSame();
    insert(0, 7);
    expectSame();
}

TEST_F(RowList, Is_right_after_insertions_from_the_last_row_to_the_first_and_back) {
    for (qint64 key = 1; key <= 3000; ++key)
        plain.push_back({nullptr, key});
    list.assign(plain);
    for (size_t row = 3000; row > 0; row -= 3)
        insert(row, 10'000 + qint64(row));
    expectSame();
    for (size_t row = 0; row < plain.size(); row += 2)
        remove(row);
    expectSame();
}

TEST_F(RowList, Takes_keys_of_all_kinds) {
    for (const qint64 key :
         {qint64(-1), qint64(-5000), qint64(0), qint64(1023), qint64(1024), qint64(3'000'000)})
        insert(0, key);
    expectSame();
    EXPECT_FALSE(list.contains({nullptr, -2}));
    EXPECT_FALSE(list.contains({nullptr, 9'000'000}));
    list.assign({});
    EXPECT_EQ(list.count(), 0);
    EXPECT_FALSE(list.contains({nullptr, -1}));
}
