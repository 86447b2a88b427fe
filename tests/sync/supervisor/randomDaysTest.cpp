#include "support/Desktop.h"

#include <QHash>
#include <random>

// Three desktops of one user live through days of edits, deletions, new images, failing requests, lost
// acknowledgements, changed preferences, restarts and crashes. Once the network is well again all hold the
// same.

namespace {

using namespace std::chrono_literals;

class RandomDay {
public:
    explicit RandomDay(unsigned seed) : random_(seed) {
        for (quint64 number = 1; number <= 3; ++number)
            desktops_.push_back(std::make_unique<Desktop>(cloud_, 100 * seed + number, Desktop::Supervised));
        for (const auto& desktop : desktops_)
            share(*desktop);
    }

    void live(int events) {
        for (int event = 0; event < events; ++event) {
            happen(*desktops_[chance(3)]);
            cloud_.world.runLoop->advance(std::chrono::milliseconds(chance(4000)));
        }
    }

    // True when all have come to hold the same.
    testing::AssertionResult heals() {
        for (const auto& desktop : desktops_)
            desktop->client->removeFaults();
        for (int round = 0; round < 10; ++round) {
            for (const auto& desktop : desktops_)
                synchronise(*desktop);
            if (round > 0 && areEqual())
                return testing::AssertionSuccess();
        }
        auto failure = testing::AssertionFailure();
        for (const auto& desktop : desktops_)
            failure << "\n"
                    << desktop->contents().join('\n').toStdString() << "\n"
                    << preferences(*desktop).join(' ').toStdString();
        return failure;
    }

private:
    int chance(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }

    void happen(Desktop& desktop) {
        const int event = chance(22);
        if (event < 4)
            add(desktop);
        else if (event < 8)
            edit(desktop);
        else if (event < 10)
            giveImage(desktop);
        else if (event < 12)
            remove(desktop);
        else if (event < 15)
            save(desktop);
        else if (event < 17)
            toggle(desktop);
        else if (event < 18)
            disturb(desktop);
        else if (event < 19)
            desktop.client->removeFaults();
        else if (event < 21)
            setPreference(desktop);
        else
            crash(desktop);
    }

    void add(Desktop& desktop) {
        const auto book = desktop.add("Book", {{"title", text()}});
        uuids_.append(book->uuid());
    }

    static void share(Desktop& desktop) { desktop.engine->syncPreferenceWithKeys({"theme", "unit", "home"}); }

    void setPreference(Desktop& desktop) {
        static const char* const keys[] = {"theme", "unit", "home"};
        const char* key = keys[chance(3)];
        if (chance(4) == 0)
            desktop.world.userDefaults->remove(key);
        else
            desktop.world.userDefaults->setObject(key, chance(10));
    }

    static QStringList preferences(Desktop& desktop) {
        QStringList values;
        for (const char* key : {"theme", "unit", "home"})
            values.append(QString::number(desktop.world.userDefaults->object(key).toInt(-1)));
        return values;
    }

    desktop::Record any(Desktop& desktop) {
        return uuids_.isEmpty() ? desktop::Record() : desktop.find(uuids_[chance(int(uuids_.size()))]);
    }

    void edit(Desktop& desktop) {
        if (const auto book = any(desktop))
            book->setValueForKey("title", text());
    }

    void giveImage(Desktop& desktop) {
        if (const auto book = any(desktop))
            desktop.setImage(*book, text().toUtf8());
    }

    void remove(Desktop& desktop) {
        const auto book = any(desktop);
        if (!book)
            return;
        imagesToRemove_[&desktop].append({book->uuid(), book->imageURL().toLocalFile()});
        desktop.context->deleteObject(*book);
    }

    // A host removes the image of a record when the deletion is saved, if nobody has brought the record back.
    void save(Desktop& desktop) {
        desktop.save();
        for (const auto& [uuid, image] : imagesToRemove_.take(&desktop))
            if (!desktop.find(uuid))
                desktop.world.files->remove(image);
    }

    void toggle(Desktop& desktop) {
        if (desktop.engine->status() >= QWDropboxSyncStatusDisabled)
            desktop.activate();
        else if (chance(3) == 0)
            desktop.engine->deactivateSync();
        else
            desktop.supervisor->syncNow();
    }

    void disturb(Desktop& desktop) {
        auto& fault = desktop.client->onAny().first(1 + chance(4));
        switch (chance(3)) {
        case 0:
            fault.answersWith(500);
            break;
        case 1:
            fault.losesAcknowledgement();
            break;
        default:
            fault.delaysAnswer(std::chrono::seconds(chance(30)));
        }
    }

    void crash(Desktop& desktop) {
        desktop.crash();
        imagesToRemove_.remove(&desktop);
        desktop.start();
        share(desktop);
    }

    void synchronise(Desktop& desktop) {
        save(desktop);
        if (desktop.engine->status() >= QWDropboxSyncStatusDisabled)
            desktop.activate();
        else
            desktop.supervisor->syncNow();
        EXPECT_TRUE(cloud_.world.runLoop->runUntil([&] { return desktop.isIdle(); }, 1h));
    }

    bool areEqual() {
        for (const auto& desktop : desktops_)
            if (desktop->contents() != desktops_.front()->contents()
                || preferences(*desktop) != preferences(*desktops_.front()))
                return false;
        return true;
    }

    QString text() { return QString::number(random_() % 100000); }

    std::mt19937 random_;
    Cloud cloud_;
    std::vector<std::unique_ptr<Desktop>> desktops_;
    QStringList uuids_;
    QHash<Desktop*, QList<std::pair<QString, QString>>> imagesToRemove_; // of deleted records
};

} // namespace

TEST(RandomDays, Whatever_happens_all_desktops_end_with_the_same_records_images_and_preferences) {
    const int first = qEnvironmentVariableIntValue("QW_FIRST_SEED");
    const int last =
        qEnvironmentVariableIsSet("QW_LAST_SEED") ? qEnvironmentVariableIntValue("QW_LAST_SEED") : first + 29;
    for (int seed = first; seed <= last; ++seed) {
        RandomDay day(static_cast<unsigned>(seed));
        day.live(80);
        EXPECT_TRUE(day.heals()) << "seed " << seed;
    }
}
