#include "supervisor/OneDesktop.h"

#include <QJsonDocument>
#include <QJsonObject>

// Versions of a record that meet: of one second, behind, as copies of a conflict.

namespace {

using namespace std::chrono_literals;

const QString edited = QStringLiteral("2026-05-05 10:00:00 +0000");

struct VersionsMeetAlone : TwoDesktops {};
struct VersionsMeet : TwoDesktops {
    VersionsMeet() : TwoDesktops(Desktop::Supervised) {}
};

// A book that both hold. The next second has begun, and dates within it are cut when they travel.
QString commonBook(TwoDesktops& test) {
    const QString uuid = test.a.add("Book", {{"title", "Old"}})->uuid();
    test.sync();
    const auto now = test.cloud.world.runLoop->now();
    test.cloud.world.runLoop->advance(6300ms - now % 1s);
    return uuid;
}

QString title(Desktop& desktop, const QString& uuid) {
    return desktop.find(uuid)->valueForKey("title").toString();
}

// Both edit within one second.
void editInOneSecond(TwoDesktops& test, const QString& uuid, const QString& left, const QString& right) {
    test.a.find(uuid)->setValueForKey("title", left);
    test.b.find(uuid)->setValueForKey("title", right);
}

} // namespace

// In one second ---------------------------------------------------------------------------------------------

TEST_F(VersionsMeetAlone, Two_edits_within_one_second_stay_apart) {
    const QString uuid = commonBook(*this);
    editInOneSecond(*this, uuid, "One", "Two");
    b.save();
    sync();
    sync();
    EXPECT_FALSE(areInStep());
}

TEST_F(VersionsMeet, Of_two_edits_within_one_second_both_keep_the_same_whoever_made_it_and_syncs_first) {
    QSet<QString> winners;
    for (const bool isOneOnTheLeft : {true, false}) {
        for (const bool isLeftFirst : {true, false}) {
            const QString uuid = commonBook(*this);
            editInOneSecond(*this, uuid, isOneOnTheLeft ? "One" : "Two", isOneOnTheLeft ? "Two" : "One");
            a.save();
            b.save();
            Desktop& first = isLeftFirst ? a : b;
            Desktop& second = isLeftFirst ? b : a;
            for (int round = 0; round < 3; ++round) {
                first.sync();
                second.sync();
            }
            EXPECT_TRUE(areInStep());
            EXPECT_NE(title(a, uuid), "Old");
            EXPECT_EQ(a.rows("ObjectWaitingSync") + b.rows("ObjectWaitingSync"), 0);
        }
    }
    EXPECT_EQ(cloud.fileNames().filter("conflicted").size(), 0);
}

TEST_F(VersionsMeet, An_unsaved_edit_within_the_same_second_meets_the_received_one_alike) {
    for (const auto& [left, right] : {std::pair("One", "Two"), std::pair("Two", "One")}) {
        const QString uuid = commonBook(*this);
        editInOneSecond(*this, uuid, left, right);
        a.save();
        b.context->processPendingChanges();
        ASSERT_EQ(a.find(uuid)->dateModified().toSecsSinceEpoch(),
                  b.find(uuid)->dateModified().toSecsSinceEpoch());
        a.advance(1s);
        b.supervisor->syncNow();
        a.advance(5s);
        for (int round = 0; round < 3; ++round)
            sync();
        EXPECT_TRUE(areInStep()) << left;
        EXPECT_NE(title(a, uuid), "Old");
    }
}

// One desktop and versions from elsewhere -------------------------------------------------------------------

namespace {

// A book stands here and in the cloud, dated `edited`.
struct OneVersion : OneDesktop {
    explicit OneVersion(Desktop::Supervision supervision) : OneDesktop(supervision) {
        begin();
        cloud.putRecord("Book!!!X.data", OneDesktop::book("M", edited));
        receive();
        desktop.client->forgetRequests();
    }

    void receive() {
        desktop.askForChanges();
        pass(30);
    }
    // And forgets the requests of that.
    void editAndSend(const QString& title) {
        desktop.find("X")->setValueForKey("title", title);
        desktop.save();
        pass(5);
        desktop.client->forgetRequests();
    }
    QString title() { return desktop.find("X")->valueForKey("title").toString(); }
    QString titleInCloud() {
        return QJsonDocument::fromJson(cloud.bytes("Book!!!X.data")).object()["title"].toString();
    }
    int uploads() { return count(QWRestRequest::Upload); }

    const QString copy = "Book!!!X (Bob's conflicted copy).data";
};

struct VersionsAlone : OneVersion {
    VersionsAlone() : OneVersion(Desktop::Alone) {}
};
struct Versions : OneVersion {
    Versions() : OneVersion(Desktop::Supervised) {}
};

} // namespace

TEST_F(VersionsAlone, A_received_version_that_is_behind_stays_in_the_cloud) {
    cloud.putRecord("Book!!!X.data", book("Earlier", "2026-05-05 09:00:00 +0000"));
    receive();
    EXPECT_EQ(title(), "M");
    EXPECT_EQ(titleInCloud(), "Earlier");
}

TEST_F(Versions, A_received_version_that_is_behind_makes_the_record_here_be_sent) {
    cloud.putRecord("Book!!!X.data", book("Earlier", "2026-05-05 09:00:00 +0000"));
    receive();
    EXPECT_EQ(title(), "M");
    EXPECT_EQ(titleInCloud(), "M");
    EXPECT_EQ(uploads(), 1);
    EXPECT_EQ(desktop.find("X")->dateModified(), QDateTime(QDate(2026, 5, 5), QTime(10, 0), Qt::UTC));
}

TEST_F(Versions, A_received_version_that_is_ahead_is_taken_and_not_sent_back) {
    cloud.putRecord("Book!!!X.data", book("Later", "2026-05-05 10:00:01 +0000"));
    receive();
    EXPECT_EQ(title(), "Later");
    EXPECT_EQ(uploads(), 0);
}

TEST_F(VersionsAlone, Any_received_version_of_the_same_second_is_declined) {
    for (const bool isGreater : {true, false}) {
        const auto version = versionInSameSecond(isGreater);
        cloud.putRecord("Book!!!X.data", version);
        receive();
        EXPECT_EQ(title(), "M");
        EXPECT_EQ(titleInCloud(), version["title"].toString());
    }
}

TEST_F(Versions, A_greater_received_version_of_the_same_second_is_taken_and_not_sent_back) {
    const auto version = versionInSameSecond(true);
    cloud.putRecord("Book!!!X.data", version);
    receive();
    EXPECT_EQ(title(), version["title"].toString());
    EXPECT_EQ(uploads(), 0);
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(Versions, A_lesser_received_version_of_the_same_second_makes_the_record_here_be_sent) {
    cloud.putRecord("Book!!!X.data", versionInSameSecond(false));
    receive();
    EXPECT_EQ(title(), "M");
    EXPECT_EQ(titleInCloud(), "M");
    EXPECT_EQ(uploads(), 1);
}

TEST_F(Versions, A_form_that_is_equal_is_the_same_version_whatever_its_bytes) {
    QString reason;
    QObject::connect(&supervisor(), &QWSyncSupervisor::fileDeclined, &engine(),
                     [&](const QString&, const QString& why) { reason = why; });
    editAndSend("Own");
    const QByteArray sent = cloud.bytes("Book!!!X.data");
    const QByteArray spaced = QJsonDocument::fromJson(sent).toJson(QJsonDocument::Indented);
    ASSERT_NE(sent, spaced);
    cloud.put("Book!!!X.data", spaced);
    receive();
    EXPECT_EQ(reason, "the record here is the same");
    EXPECT_EQ(uploads(), 0);
    EXPECT_EQ(cloud.bytes("Book!!!X.data"), spaced);
}

TEST_F(Versions, A_version_without_a_date_is_behind_any_that_has_one) {
    cloud.putRecord("Book!!!Z.data", book("M", "1960-01-01 00:00:00 +0000"));
    for (const QString file : {"Book!!!X.data", "Book!!!Z.data"}) {
        receive();
        cloud.putRecord(file, {{"title", "Undated"}});
        receive();
        EXPECT_TRUE(cloud.bytes(file).contains("\"M\"")) << file.toStdString();
    }
    EXPECT_EQ(title(), "M");
}

// The record is in flight when only its date changes.
namespace {

void dateInFlight(OneVersion& test) {
    test.desktop.client->on(QWRestRequest::Upload).first(1).delaysAnswer(5s);
    test.desktop.find("X")->setValueForKey("title", "N");
    test.desktop.save();
    test.pass(2);
    test.desktop.find("X")->setDateModified(QDateTime(QDate(2027, 1, 1), QTime(0, 0), Qt::UTC));
    test.desktop.save();
    test.pass(60);
}

} // namespace

TEST_F(VersionsAlone, A_date_that_is_set_while_its_record_is_in_flight_is_not_sent) {
    dateInFlight(*this);
    EXPECT_FALSE(cloud.bytes("Book!!!X.data").contains("2027-01-01"));
}

TEST_F(Versions, A_date_that_is_set_while_its_record_is_in_flight_is_sent) {
    dateInFlight(*this);
    EXPECT_TRUE(cloud.bytes("Book!!!X.data").contains("2027-01-01"));
    EXPECT_EQ(uploads(), 2);
    EXPECT_TRUE(desktop.isIdle());
}

// The deletion is sent before the host has saved it; then the record comes back as it was.
namespace {

void bringBackUnsavedDeletion(OneVersion& test) {
    const QByteArray bytes = test.cloud.bytes("Book!!!X.data");
    test.desktop.context->deleteObject(*test.desktop.find("X"));
    test.pass(5);
    EXPECT_EQ(test.cloud.fileNames(), QStringList());
    test.cloud.put("Book!!!X.data", bytes);
    test.receive();
    test.desktop.save();
    test.receive();
    EXPECT_FALSE(test.desktop.find("X"));
}

} // namespace

TEST_F(VersionsAlone, A_record_that_comes_back_while_its_deletion_is_sent_and_unsaved_stays_in_the_cloud) {
    bringBackUnsavedDeletion(*this);
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
}

TEST_F(Versions, A_record_that_comes_back_while_its_deletion_is_sent_and_unsaved_is_deleted_again) {
    bringBackUnsavedDeletion(*this);
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

// Copies of a conflict --------------------------------------------------------------------------------------

TEST_F(Versions, Somebody_elses_copy_that_is_declined_queues_nothing_and_is_deleted) {
    for (const auto& version : {book("Earlier", "2026-05-05 09:00:00 +0000"), versionInSameSecond(false)}) {
        cloud.putRecord(copy, version);
        receive();
        EXPECT_EQ(title(), "M");
        EXPECT_EQ(uploads(), 0);
        EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
    }
}

TEST_F(VersionsAlone, A_copy_of_its_own_upload_that_is_declined_is_lost_to_the_cloud) {
    cloud.putRecord(copy, book("M", edited));
    DBMetadata known;
    known.path = "/SyncCache.dbSync/" + copy;
    known.rev = "1";
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(known);
    receive();
    EXPECT_EQ(uploads(), 0);
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
}

TEST_F(Versions, A_copy_of_its_own_upload_that_is_declined_queues_the_record_here) {
    for (const auto& version :
         {book("M", edited), book("Earlier", "2026-05-05 09:00:00 +0000"), versionInSameSecond(false)}) {
        cloud.putRecord(copy, version);
        DBMetadata known;
        known.path = "/SyncCache.dbSync/" + copy;
        known.rev = "1";
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(known);
        receive();
        EXPECT_EQ(title(), "M");
        EXPECT_EQ(uploads(), 1);
        EXPECT_EQ(titleInCloud(), "M");
        EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
        EXPECT_FALSE(desktop.fileMetadata(copy));
        desktop.client->forgetRequests();
    }
}

TEST_F(VersionsAlone, A_greater_copy_of_the_same_second_is_declined) {
    cloud.putRecord(copy, versionInSameSecond(true));
    receive();
    EXPECT_EQ(title(), "M");
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
}

TEST_F(Versions, A_greater_copy_of_the_same_second_is_taken_and_sent_as_the_record) {
    const auto version = versionInSameSecond(true);
    cloud.putRecord(copy, version);
    receive();
    EXPECT_EQ(title(), version["title"].toString());
    EXPECT_EQ(titleInCloud(), version["title"].toString());
    EXPECT_EQ(uploads(), 1);
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
}

// The record is sent first where another machine's file of it stands; the copy is merged into that, which is
// deleted.
namespace {

QString recordWhoseMergedFileIsDeleted(OneVersion& test) {
    const auto book = test.desktop.add("Book", {{"title", "Own"}});
    const QString file = OneDesktop::fileName(*book, "data");
    test.cloud.putRecord(file, OneDesktop::book("Other"));
    test.desktop.save();
    test.pass(5);
    for (const QString& name : test.cloud.fileNames().filter(book->uuid()))
        test.cloud.remove(name);
    test.receive();
    return book->uuid();
}

} // namespace

TEST_F(VersionsAlone, A_record_that_reached_the_cloud_as_a_copy_alone_outlives_its_deletion_here) {
    EXPECT_TRUE(desktop.find(recordWhoseMergedFileIsDeleted(*this)));
}

TEST_F(Versions, A_record_that_reached_the_cloud_as_a_copy_alone_is_deleted_with_its_file) {
    EXPECT_FALSE(desktop.find(recordWhoseMergedFileIsDeleted(*this)));
    EXPECT_TRUE(desktop.isIdle());
}

// A later edit that became a copy ---------------------------------------------------------------------------

namespace {

// The edit that is earlier reaches the cloud first; the later one is sent without having seen it.
QString conflict(TwoDesktops& test) {
    const QString uuid = commonBook(test);
    test.b.find(uuid)->setValueForKey("title", "Earlier");
    test.b.save();
    test.b.advance(2s);
    test.a.find(uuid)->setValueForKey("title", "Later");
    test.a.save();
    test.a.advance(2s);
    EXPECT_EQ(test.cloud.fileNames().filter("conflicted copy").size(), 1);
    return uuid;
}

} // namespace

TEST_F(VersionsMeetAlone,
       A_later_edit_that_became_a_copy_leaves_them_apart_when_its_own_desktop_syncs_first) {
    const QString uuid = conflict(*this);
    sync();
    sync();
    EXPECT_EQ(title(a, uuid), "Later");
    EXPECT_EQ(title(b, uuid), "Earlier");
}

TEST_F(VersionsMeet, A_later_edit_that_became_a_copy_wins_on_both_whichever_side_syncs_first) {
    for (const bool isLeftFirst : {true, false}) {
        const QString uuid = conflict(*this);
        Desktop& first = isLeftFirst ? a : b;
        Desktop& second = isLeftFirst ? b : a;
        for (int round = 0; round < 3; ++round) {
            first.sync();
            second.sync();
        }
        EXPECT_EQ(title(a, uuid), "Later");
        EXPECT_EQ(title(b, uuid), "Later");
        EXPECT_EQ(cloud.fileNames().filter("conflicted copy").size(), 0);
        EXPECT_TRUE(areInStep());
    }
}
