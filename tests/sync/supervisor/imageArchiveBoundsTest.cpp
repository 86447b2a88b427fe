#include "supervisor/ImageArchive.h"
#include "support/StatementCount.h"

// What the archive keeps of images, and what they cost.

namespace {

struct ImageArchiveBounds : ImageArchive {
    void receiveImages(const QList<QByteArray>& images, const QString& uuid = "X") {
        for (const QByteArray& bytes : images) {
            receiveImage(bytes, uuid);
            pass(2);
        }
    }
    void receiveAnotherBook(const QString& uuid) {
        cloud.putRecord("Book!!!" + uuid + ".data", book(uuid, hourText(9)));
        receive();
    }
    QWVersionArchive& archive() { return supervisor().versionArchive(); }
};

} // namespace

TEST_F(ImageArchiveBounds, Of_one_record_the_latest_images_are_kept_and_its_versions_beside_them) {
    archive().setBounds({.versionsOfRecord = 2});
    receiveBook("Later", 11);
    receiveImages({"1", "2", "3", "4", "5"});
    EXPECT_EQ(images(), QList<QByteArray>({"4", "3"}));
    EXPECT_EQ(files().size(), 2);
    EXPECT_EQ(versions().back().record["title"], "M");
}

TEST_F(ImageArchiveBounds, Of_all_versions_the_latest_losses_are_kept) {
    archive().setBounds({.versions = 2});
    receiveImages({"1", "2", "3"});
    receiveBook("Later", 11);
    EXPECT_EQ(images(), QList<QByteArray>({"2"}));
    EXPECT_EQ(files().size(), 1);
}

TEST_F(ImageArchiveBounds, What_lost_too_long_ago_goes_when_something_else_loses) {
    archive().setBounds({.age = std::chrono::hours(24)});
    receiveImages({"1", "2"});
    pass(25 * 3600);
    receiveBook("Later", 11);
    EXPECT_EQ(images(), QList<QByteArray>());
    EXPECT_EQ(files().size(), 0);
}

TEST_F(ImageArchiveBounds, Of_all_images_the_latest_bytes_are_kept) {
    archive().setBounds({.imageBytes = 10});
    receiveAnotherBook("Y");
    receiveImages({"xxxx1", "xxxx2"});
    receiveImages({"yyyy1", "yyyy2", "yyyy3"}, "Y");
    EXPECT_EQ(images(), QList<QByteArray>());
    EXPECT_EQ(images("Y"), QList<QByteArray>({"yyyy2", "yyyy1"}));
    EXPECT_EQ(files().size(), 2);
}

TEST_F(ImageArchiveBounds, Images_that_lose_in_one_batch_are_bounded_while_it_runs) {
    archive().setBounds({.imageBytes = 10});
    for (int number = 0; number < 6; ++number) {
        receiveAnotherBook(QString::number(number));
        receiveImage(QByteArray("image") + QByteArray::number(number), QString::number(number));
    }
    int most = 0;
    desktop.client->on(QWRestRequest::LoadFile).where([&](const QWRestRequest&) {
        most = std::max(most, int(files().size()));
        return false;
    });
    for (int number = 0; number < 6; ++number)
        cloud.put(nameOf(QString::number(number)), "another");
    receive();
    EXPECT_EQ(files().size(), 1);
    EXPECT_LE(most, 2);
}

TEST_F(ImageArchiveBounds, An_image_that_two_records_have_had_stays_while_one_of_them_has_it) {
    archive().setBounds({.versionsOfRecord = 1});
    receiveAnotherBook("Y");
    receiveImages({"same", "other"});
    receiveImages({"same", "other"}, "Y");
    EXPECT_EQ(files().size(), 1);
    receiveImages({"third"});
    EXPECT_EQ(images(), QList<QByteArray>({"other"}));
    EXPECT_EQ(images("Y"), QList<QByteArray>({"same"}));
    receiveImages({"third"}, "Y");
    EXPECT_EQ(files().size(), 1);
}

TEST_F(ImageArchiveBounds, Images_that_replace_none_ask_the_archive_nothing) {
    StatementCount statements;
    desktop.crash();
    desktop.start(); // counted from here on
    begin();
    statements.forget();
    receiveImages({"first"});
    EXPECT_EQ(statements.count({}, "ArchivedVersion"), 0);
    receiveImages({"second"});
    EXPECT_GT(statements.count({}, "ArchivedVersion"), 0);
}
