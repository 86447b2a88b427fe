#include "supervisor/OneDesktop.h"

// An image that is sent without its desktop having seen the one that stands becomes a copy of a conflict.

namespace {

using namespace std::chrono_literals;

struct ConflictedImage : TwoDesktops {
    ConflictedImage() : TwoDesktops(Desktop::Supervised) {}

    QString uuid;
    QString image() const { return "Book!!!" + uuid + ".image"; }

    // Both hold a book with an image. The right desktop has sent another one, which the left one, active as well,
    // has not asked for.
    void begin() {
        const auto book = a.add("Book", {{"title", "T"}});
        a.setImage(*book, "first");
        uuid = book->uuid();
        sync();
        a.advance(5s);
        b.setImage(*b.find(uuid), "second");
        b.save();
        b.advance(5s);
        ASSERT_EQ(cloud.bytes(image()), "second");
    }
    // The left one sends its own.
    void send() {
        a.setImage(*a.find(uuid), "third");
        a.save();
        a.advance(5s);
    }
    // What its look-up of the image that stands meets with.
    QWRestFault& onLookUp() {
        return a.client->on(QWRestRequest::LoadMetadata).where([this](const QWRestRequest& request) {
            return request.path.endsWith(image(), Qt::CaseInsensitive);
        });
    }
    QStringList copies() { return cloud.fileNames().filter("conflicted"); }
    void expectThirdEverywhere() {
        for (int round = 0; round < 2; ++round)
            sync();
        EXPECT_EQ(cloud.bytes(image()), "third");
        EXPECT_EQ(a.image(*a.find(uuid)), "third");
        EXPECT_EQ(copies(), QStringList());
        EXPECT_TRUE(areInStep());
    }
};

} // namespace

TEST_F(ConflictedImage, Is_sent_again_as_the_next_version_of_the_one_that_stands) {
    begin();
    const qint64 sentBefore = a.supervisor->counts().sent;
    send();
    // The copy, its record, the image and its record; the copy is deleted.
    EXPECT_EQ(a.supervisor->counts().sent - sentBefore, 5);
    expectThirdEverywhere();
}

TEST_F(ConflictedImage, That_was_made_within_the_second_of_the_one_that_stands_is_sent_again_too) {
    begin();
    cloud.world.runLoop->advance(1000ms - cloud.world.runLoop->now() % 1s);
    b.setImage(*b.find(uuid), "more");
    b.save();
    b.advance(400ms);
    a.setImage(*a.find(uuid), "third");
    a.save();
    a.advance(400ms);
    a.advance(5s);
    expectThirdEverywhere();
}

TEST_F(ConflictedImage, Is_sent_again_when_the_look_up_of_the_one_that_stands_has_failed_twice) {
    begin();
    onLookUp().first(2).answersWith(500);
    send();
    EXPECT_EQ(copies().filter(".image").size(), 1);
    a.advance(30s);
    EXPECT_EQ(copies().filter(".image"), QStringList());
    expectThirdEverywhere();
}

TEST_F(ConflictedImage, Is_sent_as_a_new_file_when_the_one_that_stood_has_been_deleted) {
    begin();
    onLookUp().delaysRequest(10s);
    send();
    cloud.remove(image());
    a.advance(30s);
    EXPECT_EQ(cloud.bytes(image()), "third");
    expectThirdEverywhere();
}

TEST_F(ConflictedImage, Is_found_by_the_process_that_follows_one_that_died_before_it_sent_it_again) {
    begin();
    onLookUp().staysUnanswered();
    send();
    EXPECT_EQ(copies().filter(".image").size(), 1);
    a.crash();
    a.start();
    expectThirdEverywhere();
}
