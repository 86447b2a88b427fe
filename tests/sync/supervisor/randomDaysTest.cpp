#include "supervisor/OneDesktop.h"
#include "sync/supervisor/QWVersionArchive.h"

#include <random>

// Random days of two supervised desktops that share three books. Hosts edit, save and take back, sync is switched off and
// on, answers and requests are late, processes die. In the end both hold the same, and no saved edit has fallen back.

namespace {

using namespace std::chrono_literals;

const QStringList uuids{"X", "Y", "Z"};

class RandomDay : public TwoDesktops {
public:
    explicit RandomDay(int seed) : TwoDesktops(Desktop::Supervised), random_(static_cast<unsigned>(seed)) {
        for (const QString& uuid : uuids)
            a.add("Book", {{"title", "T"}})->setUuid(uuid);
        sync();
    }
    void TestBody() override {}

    void live(int steps);
    void end();
    void expectTheSame();
    void expectRest();
    void expectLatestSaved();
    std::string story() const { return story_.join('\n').toStdString(); }

private:
    struct Edit {
        int step;
        QString title;
    };
    struct Step {
        Desktop& of;
        QString uuid;
        desktop::Record book; // null when it is not there
        QString title;        // that nobody else gives
    };
    struct Operation {
        const char* name;
        int weight;
        void (RandomDay::*run)(const Step& step);
    };
    static const std::vector<Operation> operations;

    int pick(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }
    std::chrono::seconds pickDelay() { return std::chrono::seconds(1 + pick(40)); }
    QWRestFault& pickFault(Desktop& of) {
        return of.client->on(static_cast<QWRestRequest::Kind>(pick(4))).first(1);
    }
    void noteEdit(const Step& step, const QString& title) {
        unsaved_[&step.of][step.uuid] = {step_, title};
        stepsOfTitles_[step.uuid][title] = step_;
    }
    void save(Desktop& of);

    void edit(const Step& step);
    void save(const Step& step) { save(step.of); }
    void rollBack(const Step& step);
    void refresh(const Step& step);
    void deleteBook(const Step& step);
    void addAgain(const Step& step);
    void restore(const Step& step);
    void deactivate(const Step& step) { step.of.engine->deactivateSync(); }
    void activate(const Step& step) { step.of.activate(); }
    void askForChanges(const Step& step) { step.of.askForChanges(); }
    void delayAnswer(const Step& step) { pickFault(step.of).delaysAnswer(pickDelay()); }
    void delayRequest(const Step& step) { pickFault(step.of).delaysRequest(pickDelay()); }
    void setImage(const Step& step);
    void addChapter(const Step& step);
    void loseCursors(const Step&);
    void saveAndDie(const Step& step);

    std::mt19937 random_;
    int step_ = 0;
    QStringList story_;
    QHash<Desktop*, QHash<QString, Edit>> unsaved_;
    QHash<QString, Edit> latestSaved_;
    QHash<QString, QHash<QString, int>> stepsOfTitles_; // by uuid
    QSet<QString> changedOtherwise_;                    // their titles tell nothing
};

const std::vector<RandomDay::Operation> RandomDay::operations{
    {"edits", 3, &RandomDay::edit},
    {"saves", 2, &RandomDay::save},
    {"rolls back", 1, &RandomDay::rollBack},
    {"refreshes", 1, &RandomDay::refresh},
    {"deletes", 1, &RandomDay::deleteBook},
    {"adds again", 1, &RandomDay::addAgain},
    {"restores", 1, &RandomDay::restore},
    {"deactivates", 1, &RandomDay::deactivate},
    {"activates", 1, &RandomDay::activate},
    {"asks for changes", 1, &RandomDay::askForChanges},
    {"waits for an answer", 1, &RandomDay::delayAnswer},
    {"has a slow request", 1, &RandomDay::delayRequest},
    {"sets the image", 1, &RandomDay::setImage},
    {"adds a chapter", 1, &RandomDay::addChapter},
    {"may lose its cursor", 1, &RandomDay::loseCursors},
    {"saves and dies", 1, &RandomDay::saveAndDie},
};

// What a host does ------------------------------------------------------------------------------------------

void RandomDay::edit(const Step& step) {
    if (!step.book)
        return;
    step.book->setValueForKey("title", step.title);
    step.of.context->processPendingChanges();
    noteEdit(step, step.title);
}

void RandomDay::save(Desktop& of) {
    const auto saved = unsaved_.take(&of);
    if (!of.context->save()) {
        story_.append("  the save fails");
        of.context->rollback();
        return;
    }
    for (auto each = saved.begin(); each != saved.end(); ++each)
        if (!latestSaved_.contains(each.key()) || latestSaved_[each.key()].step < each->step)
            latestSaved_[each.key()] = *each;
}

void RandomDay::rollBack(const Step& step) {
    step.of.context->rollback();
    unsaved_.remove(&step.of);
}

void RandomDay::refresh(const Step& step) {
    if (!step.book || step.book->isInserted())
        return;
    step.of.context->refreshObject(*step.book, pick(2) == 0);
    if (!step.book->hasChanges())
        unsaved_[&step.of].remove(step.uuid);
}

void RandomDay::deleteBook(const Step& step) {
    if (!step.book)
        return;
    step.of.context->deleteObject(*step.book);
    changedOtherwise_.insert(step.uuid);
    unsaved_[&step.of].remove(step.uuid);
}

void RandomDay::addAgain(const Step& step) {
    if (step.book)
        return;
    step.of.add("Book", {{"title", step.title}})->setUuid(step.uuid);
    if (pick(2) == 0)
        step.of.context->processPendingChanges();
}

void RandomDay::restore(const Step& step) {
    auto& archive = step.of.supervisor->versionArchive();
    const auto versions = archive.versions(step.uuid);
    if (versions.empty())
        return;
    archive.restore(versions.front());
    changedOtherwise_.insert(step.uuid);
}

void RandomDay::setImage(const Step& step) {
    if (!step.book)
        return;
    step.of.setImage(*step.book, step.title.toUtf8());
    step.of.context->processPendingChanges();
    noteEdit(step, step.book->valueForKey("title").toString());
}

void RandomDay::addChapter(const Step& step) {
    if (step.book)
        step.of.add("Chapter", {{"heading", step.title}})->setRelatedObject("book", step.book.data());
}

void RandomDay::loseCursors(const Step&) {
    if (pick(3) == 0)
        cloud.folder->forgetCursors();
}

void RandomDay::saveAndDie(const Step& step) {
    save(step.of);
    step.of.crash();
    step.of.start();
    step.of.activate();
}

// The day ---------------------------------------------------------------------------------------------------

void RandomDay::live(int steps) {
    int weights = 0;
    for (const auto& operation : operations)
        weights += operation.weight;
    for (step_ = 1; step_ <= steps; ++step_) {
        Desktop& of = pick(2) == 0 ? a : b;
        const QString uuid = uuids[pick(uuids.size())];
        int place = pick(weights);
        auto operation = operations.begin();
        for (; place >= operation->weight; ++operation)
            place -= operation->weight;
        story_.append(QStringLiteral("%1. %2 %3 (%4)")
                          .arg(QString::number(step_), &of == &a ? "a" : "b", operation->name, uuid));
        (this->*operation->run)({of, uuid, of.find(uuid), QStringLiteral("S%1").arg(step_)});
        const bool isLong = pick(3) > 0;
        a.advance(1100ms + std::chrono::milliseconds(isLong ? pick(12000) : 0));
        story_.append("  " + cloud.fileNames().join(' '));
    }
}

void RandomDay::end() {
    a.client->removeFaults();
    b.client->removeFaults();
    a.advance(100s);
    save(a);
    save(b);
    for (int round = 0; round < 3; ++round) {
        sync();
        a.advance(15s);
    }
}

void RandomDay::expectTheSame() {
    const auto dated = [](Desktop& of) {
        return of.contents().filter(QRegularExpression("\"dateModified\":\"")); // what lacks one is empty
    };
    EXPECT_EQ(dated(a), dated(b));
    QStringList filesHere;
    for (const QString& line : dated(a))
        filesHere.append(line.section(' ', 0, 1).replace(' ', "!!!") + ".data");
    EXPECT_EQ(cloud.fileNames().filter(".data"), filesHere);
}

void RandomDay::expectRest() {
    const auto requests = [this] { return a.client->requests().size() + b.client->requests().size(); };
    const auto before = requests();
    a.advance(std::chrono::hours(1));
    EXPECT_LE(requests(), before + 14) << "polls";
}

void RandomDay::expectLatestSaved() {
    for (const QString& uuid : uuids) {
        if (changedOtherwise_.contains(uuid))
            continue;
        const auto book = a.find(uuid);
        ASSERT_TRUE(book) << uuid.toStdString();
        const QString title = book->valueForKey("title").toString();
        if (latestSaved_.contains(uuid)) {
            EXPECT_GE(stepsOfTitles_[uuid].value(title), latestSaved_[uuid].step)
                << uuid.toStdString() << " is " << title.toStdString();
        }
    }
}

struct RandomDays : testing::TestWithParam<int> {};

} // namespace

TEST_P(RandomDays, End_with_the_same_on_both_and_at_rest) {
    RandomDay day(GetParam());
    day.live(20);
    day.end();
    SCOPED_TRACE(day.story());
    day.expectTheSame();
    day.expectRest();
    day.expectLatestSaved();
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomDays, testing::Range(1, 201));
