#include "supervisor/ImageArchive.h"

// What becomes of the images of records that delete rules take along.

namespace {

// The book Y is an edition of X, by what this desktop alone knows, and has an image.
struct ImageTakenAlong : ImageArchive {
    ImageTakenAlong() {
        cloud.putRecord("Book!!!Y.data", book("Edition"));
        receiveImage("cover", "Y");
    }
    void makeEdition() {
        desktop.find("Y")->setRelatedObject("original", desktop.find("X").data());
        desktop.save();
        pass(30);
    }
    // Y is an edition of a book that this desktop has made, and not saved, and another one has deleted.
    void deleteUnsavedOriginal() {
        const auto own = desktop.add("Book", {{"title", "Own"}});
        own->setUuid("OWN");
        pass(5);
        desktop.find("Y")->setRelatedObject("original", own.data());
        pass(30);
        cloud.remove("Book!!!OWN.data");
        receive();
        ASSERT_FALSE(desktop.find("Y"));
    }
};

} // namespace

TEST_F(ImageTakenAlong, The_image_of_a_record_that_a_delete_rule_takes_along_is_kept_and_goes_with_it) {
    makeEdition();
    const QString path = this->path("Y");
    cloud.remove(file);
    receive();
    ASSERT_FALSE(desktop.find("Y"));
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(holdsOnlyImage("cover", Origin::Here, Reason::Deletion, "Y"));
    pass(60);
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

TEST_F(ImageTakenAlong, A_batch_that_comes_as_another_one_has_taken_no_image) {
    makeEdition();
    cloud.remove(file);
    cloud.putRecord("Label!!!L.data", {{"dateModified", hourText(10)}}); // the model wants a text
    desktop.askForChanges();
    pass(3);
    ASSERT_TRUE(desktop.find("Y"));
    EXPECT_EQ(image("Y"), "cover");
    EXPECT_TRUE(images("Y").isEmpty());
}

// What has been put back cannot have been dropped meanwhile.
TEST_F(ImageTakenAlong, A_batch_that_has_taken_more_than_the_archive_may_hold_has_taken_no_image) {
    receiveImage(QByteArray(1000, 'x'));
    QWVersionArchive::Bounds bounds;
    bounds.imageBytes = 100;
    supervisor().versionArchive().setBounds(bounds);
    cloud.remove(file);
    cloud.remove("Book!!!Y.data");
    cloud.putRecord("Label!!!L.data", {{"dateModified", hourText(10)}}); // the model wants a text
    desktop.askForChanges();
    pass(3);
    EXPECT_EQ(image("X"), QByteArray(1000, 'x'));
    EXPECT_EQ(image("Y"), "cover");
    pass(60);
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_LT(files().size(), 2) << "within the bounds again";
}

TEST_F(ImageTakenAlong, So_it_is_where_the_record_that_is_deleted_was_not_saved_once_the_host_saves_that) {
    const QString path = this->path("Y");
    deleteUnsavedOriginal();
    EXPECT_TRUE(QFile::exists(path));
    EXPECT_TRUE(images("Y").isEmpty());
    desktop.save();
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(holdsOnlyImage("cover", Origin::Here, Reason::Deletion, "Y"));
    pass(60);
    EXPECT_EQ(cloud.fileNames(), QStringList{file});
}

TEST_F(ImageTakenAlong, What_the_host_makes_again_before_it_saves_keeps_its_image) {
    deleteUnsavedOriginal();
    desktop.add("Book", {{"title", "Again"}})->setUuid("Y");
    desktop.save();
    pass(60);
    ASSERT_TRUE(desktop.find("Y"));
    EXPECT_EQ(image("Y"), "cover");
    EXPECT_EQ(cloud.bytes(nameOf("Y")), "cover");
}

TEST_F(ImageTakenAlong, What_the_host_rolls_back_keeps_its_image) {
    deleteUnsavedOriginal();
    desktop.context->rollback();
    desktop.find("X")->setValueForKey("title", "Another change");
    desktop.save();
    pass(60);
    ASSERT_TRUE(desktop.find("Y"));
    EXPECT_EQ(image("Y"), "cover");
    EXPECT_EQ(cloud.bytes(nameOf("Y")), "cover");
    EXPECT_TRUE(images("Y").isEmpty());
}

TEST_F(ImageTakenAlong, What_a_death_brings_back_before_it_is_deleted_elsewhere_keeps_its_image) {
    desktop.client->on(QWRestRequest::Delete).answersWith(503);
    deleteUnsavedOriginal();
    desktop.crash();
    desktop.start();
    ASSERT_TRUE(desktop.find("Y"));
    EXPECT_EQ(image("Y"), "cover");
    desktop.activate();
    pass(60);
    ASSERT_TRUE(desktop.find("Y"));
    EXPECT_EQ(image("Y"), "cover");
    EXPECT_EQ(cloud.bytes(nameOf("Y")), "cover");
}
