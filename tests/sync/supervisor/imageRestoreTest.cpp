#include "support/Desktop.h"
#include "sync/supervisor/QWVersionArchive.h"

#include <QDir>

// How an image comes back from the archive.

namespace {

using namespace std::chrono_literals;

struct ImageRestore : TwoDesktops {
    ImageRestore() : TwoDesktops(Desktop::Supervised) {}

    // A book that both hold, and whose image A has as "first" in its archive since B has set another.
    QString bookThatLostItsImage() {
        const auto book = a.add("Book", {{"title", "T"}});
        a.setImage(*book, "first");
        sync();
        pass();
        b.setImage(*b.find(book->uuid()), "second");
        sync();
        pass();
        EXPECT_EQ(image(a, book->uuid()), "second");
        return book->uuid();
    }
    void pass() { a.advance(5s); }
    static QByteArray image(Desktop& desktop, const QString& uuid) {
        const auto book = desktop.find(uuid);
        return book ? desktop.image(*book) : QByteArray();
    }
    QWVersionArchive& archive() { return a.supervisor->versionArchive(); }
    QWArchivedVersion lostImage(const QString& uuid) {
        for (const auto& version : archive().versions(uuid))
            if (version.isImage())
                return version;
        ADD_FAILURE() << "no image";
        return {};
    }
    QString refusal(const QWArchivedVersion& version) {
        QWError error;
        EXPECT_FALSE(archive().restore(version, &error));
        return error.message;
    }
};

} // namespace

TEST_F(ImageRestore, A_restored_image_is_an_edit_that_reaches_all_desktops) {
    const QString uuid = bookThatLostItsImage();
    const QDateTime before = a.now();
    EXPECT_EQ(archive().restore(lostImage(uuid)), a.find(uuid));
    EXPECT_GE(a.find(uuid)->dateModified().toSecsSinceEpoch(), before.toSecsSinceEpoch());
    EXPECT_EQ(image(a, uuid), "first");
    sync();
    EXPECT_EQ(image(b, uuid), "first");
    EXPECT_TRUE(areInStep());
}

TEST_F(ImageRestore, What_a_restored_image_replaces_can_be_restored_as_well) {
    const QString uuid = bookThatLostItsImage();
    archive().restore(lostImage(uuid));
    a.save();
    const auto replaced = lostImage(uuid);
    EXPECT_EQ(replaced.reason, QWArchivedVersion::Reason::Restoration);
    EXPECT_EQ(replaced.origin, QWArchivedVersion::Origin::Here);
    archive().restore(replaced);
    EXPECT_EQ(image(a, uuid), "second");
    EXPECT_EQ(lostImage(uuid).number, replaced.number + 1);
}

TEST_F(ImageRestore, The_image_of_a_deleted_record_comes_back_after_the_record) {
    const QString uuid = bookThatLostItsImage();
    b.context->deleteObject(*b.find(uuid));
    sync();
    ASSERT_FALSE(a.find(uuid));
    const auto image = lostImage(uuid);
    EXPECT_EQ(image.reason, QWArchivedVersion::Reason::Deletion);
    EXPECT_TRUE(refusal(image).contains("bring it back first"));
    EXPECT_FALSE(a.context->hasChanges());
    const auto versions = archive().versions(uuid);
    archive().restore(*std::find_if(versions.begin(), versions.end(),
                                    [](const auto& version) { return !version.isImage(); }));
    ASSERT_TRUE(archive().restore(image));
    sync();
    EXPECT_EQ(this->image(a, uuid), "second");
    EXPECT_EQ(this->image(b, uuid), "second");
    EXPECT_TRUE(areInStep());
}

TEST_F(ImageRestore, A_restored_image_wins_over_a_present_one_that_is_dated_in_the_future) {
    const QString uuid = bookThatLostItsImage();
    b.world.files->setModificationDate(b.find(uuid)->imageURL().toLocalFile(), b.now().addDays(1));
    b.setImage(*b.find(uuid), "third");
    sync();
    ASSERT_EQ(image(a, uuid), "third");
    a.world.clock->setOffset(-24h);
    ASSERT_TRUE(archive().restore(archive().versions(uuid).back()));
    sync();
    EXPECT_EQ(image(b, uuid), "first");
    EXPECT_TRUE(areInStep());
}

TEST_F(ImageRestore, What_cannot_be_restored_is_refused_with_the_reason_and_changes_nothing) {
    const QString uuid = bookThatLostItsImage();
    QWArchivedVersion version = lostImage(uuid);
    ASSERT_TRUE(a.world.files->remove(version.imagePath));
    EXPECT_TRUE(refusal(version).contains(version.imagePath));
    EXPECT_EQ(image(a, uuid), "second");
    const auto author = a.add("Author");
    a.save();
    version.entityName = "Author";
    version.uuid = author->uuid();
    EXPECT_TRUE(refusal(version).contains("has no image"));
    EXPECT_FALSE(a.context->hasChanges());
}

TEST_F(ImageRestore, A_new_cache_store_takes_over_the_images_of_the_old_one) {
    const QString uuid = bookThatLostItsImage();
    const auto before = lostImage(uuid);
    a.crash();
    ASSERT_TRUE(QDir().rename(a.path("cache"), a.path("aside")));
    a.start();
    ASSERT_EQ(archive().count(), 0);
    EXPECT_TRUE(archive().takeOver(a.path("aside/DropboxCache.sqlite")));
    const auto after = lostImage(uuid);
    EXPECT_EQ(a.world.files->read(after.imagePath), "first");
    EXPECT_EQ(after.imagePath, before.imagePath);
    EXPECT_EQ(after.imageSize, before.imageSize);
    EXPECT_EQ(after.dateModified, before.dateModified);
}
