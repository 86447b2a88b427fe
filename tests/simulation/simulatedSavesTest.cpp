#include "SimulatedVFS.h"
#include "support/BookModel.h"
#include "testing/QWVirtualWorld.h"

#include <gtest/gtest.h>

// A process dies, or its machine loses its power, at each step of a save: all of the save is on the disk, or nothing.

namespace {

class DyingSave : public testing::Test {
protected:
    static constexpr const char* diskName = "saves";

    DyingSave() { SimulatedVFS::addDisk(diskName, disk_); }
    ~DyingSave() override {
        close();
        SimulatedVFS::removeDisk(diskName);
    }

    void open(QWSynchronous synchronous, const QString& file) {
        const auto coordinator =
            std::make_shared<QWPersistentStoreCoordinator>(desktop::model(), world_.environment());
        QWError error;
        ASSERT_TRUE(coordinator->addStore(QStringLiteral("/simulated/%1/%2").arg(diskName, file),
                                          {synchronous, true, 0}, &error))
            << error.message.toStdString();
        context_ = std::make_shared<QWManagedObjectContext>(coordinator);
    }
    void close() { context_.reset(); }

    QWManagedObjectSet books() { return context_->fetch(QWFetchRequest("Book")).value(); }
    QStringList titles() {
        QStringList titles;
        for (const auto& book : books())
            titles.append(book->valueForKey("title").toString());
        titles.sort();
        return titles;
    }
    void add(const QString& title) { context_->insertObject("Book")->setValueForKey("title", title); }
    // An edit, a deletion, and more than a page of insertions.
    void change() {
        const auto old = books();
        old[0]->setValueForKey("title", "edited");
        context_->deleteObject(*old[1]);
        for (int number = 0; number < 30; ++number)
            add(QStringLiteral("%1").arg(number, 500, 10, QLatin1Char('0')));
    }

    // True when nothing died: the save has fewer steps than that.
    bool outlives(int steps, QWSynchronous synchronous, SimulatedDisk::Death death, unsigned seed) {
        const QString file = QStringLiteral("%1.sqlite").arg(++files_);
        open(synchronous, file);
        for (const char* title : {"A", "B", "C"})
            add(title);
        EXPECT_TRUE(context_->save());
        const QStringList before = titles();
        change();
        const QStringList after = titles();
        disk_.dieAfter(steps, death, seed);
        const bool isSaved = context_->save();
        close();
        const bool isDead = disk_.isDead();
        disk_.dieAfter(-1, death, seed);
        disk_.restart();
        open(synchronous, file);
        const QStringList left = titles();
        EXPECT_TRUE(left == after || (!isSaved && left == before))
            << "death at step " << steps << ", seed " << seed << ", saved " << isSaved << ": "
            << left.join(' ').left(100).toStdString();
        close();
        deaths_ += isDead;
        return !isDead;
    }

    int deaths_ = 0;

private:
    SimulatedVFS vfs_;
    QWVirtualWorld world_;
    SimulatedDisk disk_{world_.clock};
    std::shared_ptr<QWManagedObjectContext> context_;
    int files_ = 0;
};

} // namespace

TEST_F(DyingSave, Is_there_whole_or_not_at_all_when_the_process_is_killed) {
    for (const auto synchronous : {QWSynchronous::Full, QWSynchronous::Normal})
        for (int steps = 0; !outlives(steps, synchronous, SimulatedDisk::Death::Kill, 1);)
            ++steps;
    EXPECT_GT(deaths_, 20);
}

TEST_F(DyingSave, Is_there_whole_or_not_at_all_when_the_power_is_lost) {
    for (unsigned seed = 1; seed <= 4; ++seed)
        for (int steps = 0; !outlives(steps, QWSynchronous::Full, SimulatedDisk::Death::LossOfPower, seed);)
            ++steps;
    EXPECT_GT(deaths_, 40);
}
