#include "dropbox/folder/FolderClientFixture.h"

using namespace std::chrono_literals;

using FolderRestClient = FolderClientTest;

TEST_F(FolderRestClient, An_answer_of_a_folder_in_memory_takes_50_ms) {
    add("/a");
    client->loadMetadata("/a");
    world.runLoop->advance(49ms);
    EXPECT_TRUE(delegate.lines.isEmpty());
    world.runLoop->advance(1ms);
    EXPECT_EQ(delegate.lines, QStringList("metadata of /a"));
}

TEST_F(FolderRestClient, An_answer_of_a_folder_in_a_directory_comes_on_a_later_turn) {
    const auto other = QWFolderRestClient::open("folder:" + directory.filePath("cloud"), environment);
    ASSERT_TRUE(other);
    other->setDelegate(&delegate, &delegate);
    other->loadMetadata("/a");
    EXPECT_TRUE(delegate.lines.isEmpty());
    world.runLoop->runDue();
    EXPECT_EQ(delegate.lines, QStringList("metadata 404 /a"));
}

TEST_F(FolderRestClient, The_latency_can_be_chosen) {
    client = std::make_unique<QWFolderRestClient>(folder, environment,
                                                  QWFolderRestClientOptions{.latency = 2s, .pageSize = 10});
    client->setDelegate(&delegate, &delegate);
    client->loadMetadata("/a");
    world.runLoop->advance(1999ms);
    EXPECT_TRUE(delegate.lines.isEmpty());
    EXPECT_EQ(answers(), QStringList("metadata 404 /a"));
}

TEST_F(FolderRestClient, Every_request_is_answered_once_in_the_order_of_the_requests) {
    add("/old");
    client->uploadFile("new", "/", {}, localFile("new", "n"));
    client->loadDelta({});
    client->deletePath("/old");
    client->loadFile("/old", directory.filePath("download"));
    client->loadMetadata("/new");
    EXPECT_EQ(answers(), QStringList({"uploaded /new", "delta of 2", "deleted /old", "load 404 /old",
                                      "metadata of /new"}));
}

TEST_F(FolderRestClient, An_upload_without_parent_revision_to_a_free_place_makes_the_file) {
    client->uploadFile("Book!!!X.data", "/SyncCache.dbSync", {}, localFile("staged", "record"));
    EXPECT_EQ(answers(), QStringList("uploaded /SyncCache.dbSync/Book!!!X.data"));
    EXPECT_EQ(folder->read("/SyncCache.dbSync/Book!!!X.data")->bytes, "record");
    EXPECT_EQ(delegate.metadata[0], folder->metadata("/SyncCache.dbSync/Book!!!X.data"));
}

TEST_F(FolderRestClient, An_upload_with_the_current_parent_revision_replaces_the_file) {
    const QString rev = add("/folder/a.data", "one").rev;
    client->uploadFile("a.data", "/folder", rev, localFile("staged", "two"));
    EXPECT_EQ(answers(), QStringList("uploaded /folder/a.data"));
    EXPECT_EQ(folder->read("/folder/a.data")->bytes, "two");
}

TEST_F(FolderRestClient, An_upload_to_an_occupied_place_becomes_a_conflicted_copy_and_never_a_numbered_one) {
    const QString stale = add("/folder/a.data", "one").rev;
    folder->upload("/folder/a.data", "two", QWWriteMode::update(stale));

    client->uploadFile("a.data", "/folder", stale, localFile("staged", "three"));
    EXPECT_EQ(answers(), QStringList("uploaded /folder/a (Owner's conflicted copy).data"));
    EXPECT_EQ(delegate.metadata[0].filename(), "a (Owner's conflicted copy).data");

    client->uploadFile("a.data", "/folder", {}, localFile("staged", "four"));
    EXPECT_EQ(answers(), QStringList("uploaded /folder/a (Owner's conflicted copy) (1).data"));
    EXPECT_EQ(folder->read("/folder/a.data")->bytes, "two");
}

TEST_F(FolderRestClient, An_upload_of_the_bytes_that_stand_there_is_no_conflict) {
    const DBMetadata standing = add("/a.data", "same");
    client->uploadFile("a.data", "/", {}, localFile("staged", "same"));
    EXPECT_EQ(answers(), QStringList("uploaded /a.data"));
    EXPECT_EQ(delegate.metadata[0], standing);
}

TEST_F(FolderRestClient, The_local_file_is_read_when_the_request_is_carried_out) {
    const QString staged = localFile("staged", "before");
    client->uploadFile("a", "/", {}, staged);
    world.runLoop->advance(10ms);
    localFile("staged", "after");
    answers();
    EXPECT_EQ(folder->read("/a")->bytes, "after");
}

TEST_F(FolderRestClient, A_missing_local_file_fails_with_code_0) {
    const QString missing = directory.filePath("missing");
    client->uploadFile("a", "/Folder", {}, missing);
    EXPECT_EQ(answers(), QStringList("upload 0 /Folder/a"));
    EXPECT_EQ(delegate.errors[0].userInfo,
              QVariantMap({{"sourcePath", missing}, {"destinationPath", "/Folder/a"}}));
    EXPECT_TRUE(delegate.errors[0].message.contains("missing"));
    EXPECT_FALSE(folder->metadata("/Folder"));
}

TEST_F(FolderRestClient, A_loaded_file_replaces_the_local_one_whole) {
    const DBMetadata standing = add("/a", "new bytes");
    const QString local = localFile("download", "something that is much longer");
    client->loadFile("/A", local);
    EXPECT_EQ(answers(), QStringList("loaded /a"));
    EXPECT_EQ(world.files->read(local), "new bytes");
    EXPECT_EQ(delegate.metadata[0], standing);
}

TEST_F(FolderRestClient, A_load_that_fails_leaves_the_local_file_alone) {
    const QString local = localFile("download", "old");
    client->loadFile("/missing", local);
    EXPECT_EQ(answers(), QStringList("load 404 /missing"));
    EXPECT_EQ(delegate.errors[0].userInfo, QVariantMap({{"path", "/missing"}, {"destinationPath", local}}));
    EXPECT_EQ(world.files->read(local), "old");
}

TEST_F(FolderRestClient, A_load_to_a_place_that_cannot_be_written_fails_with_code_0) {
    add("/a");
    client->loadFile("/a", directory.filePath("no/such/folder/download"));
    EXPECT_EQ(answers(), QStringList("load 0 /a"));
}

TEST_F(FolderRestClient, Refusals_become_the_statuses_of_the_service) {
    add("/file");
    add("/folder/child");
    client->deletePath("/missing");
    client->deletePath("malformed");
    client->loadMetadata("/missing");
    client->loadFile("/folder", directory.filePath("download"));
    client->uploadFile("a", "/file", {}, localFile("staged", "x"));
    client->uploadFile("a/", "/", {}, localFile("staged", "x"));
    EXPECT_EQ(answers(), QStringList({"delete 404 /missing", "delete 400 malformed", "metadata 404 /missing",
                                      "load 409 /folder", "upload 409 /file/a", "upload 400 /a/"}));
    EXPECT_EQ(delegate.errors[0].userInfo, QVariantMap({{"path", "/missing"}}));
}

TEST_F(FolderRestClient, A_full_folder_answers_507) {
    folder = QWAppFolder::inMemory(environment, {.capacity = 100'000});
    client = std::make_unique<QWFolderRestClient>(folder, environment);
    client->setDelegate(&delegate, &delegate);
    client->uploadFile("a", "/", {}, localFile("staged", QByteArray(100'000, 'x')));
    EXPECT_EQ(answers(), QStringList("upload 507 /a"));
}

TEST_F(FolderRestClient, A_folder_that_cannot_be_read_any_more_answers_503) {
    const QString cloud = directory.filePath("cloud");
    QWAppFolder::inDirectory(cloud, environment)->upload("/a", "x", QWWriteMode::add());
    const auto other = QWFolderRestClient::open("folder:" + cloud, environment);
    ASSERT_TRUE(other);
    other->setDelegate(&delegate, &delegate);
    QFile database(cloud + "/app-folder.sqlite");
    ASSERT_TRUE(database.open(QFile::ReadWrite));
    ASSERT_TRUE(database.seek(4096)); // the first page tells the form, the others hold the entries
    database.write(QByteArray(database.size() - 4096, 'x'));
    database.close();
    other->loadMetadata("/a");
    other->loadDelta({});
    EXPECT_EQ(answers(), QStringList({"metadata 503 /a", "delta 503"}));
}

TEST_F(FolderRestClient, A_delta_query_comes_in_pages_of_the_chosen_size) {
    client = std::make_unique<QWFolderRestClient>(folder, environment,
                                                  QWFolderRestClientOptions{.latency = {}, .pageSize = 2});
    client->setDelegate(&delegate, &delegate);
    for (const char* path : {"/a", "/b", "/c"})
        add(path);
    client->loadDelta({});
    answers();
    client->loadDelta(delegate.pages[0].cursor);
    answers();
    ASSERT_EQ(delegate.pages.size(), 2u);
    EXPECT_EQ(delegate.pages[0].entries.size(), 2);
    EXPECT_TRUE(delegate.pages[0].hasMore);
    EXPECT_EQ(delegate.pages[1].entries[0]->lowercasePath, "/c");
    EXPECT_FALSE(delegate.pages[1].hasMore);
    EXPECT_FALSE(delegate.pages[0].reset || delegate.pages[1].reset);
}

TEST_F(FolderRestClient, A_lost_cursor_lists_afresh_and_the_first_page_says_so) {
    client = std::make_unique<QWFolderRestClient>(folder, environment,
                                                  QWFolderRestClientOptions{.latency = {}, .pageSize = 2});
    client->setDelegate(&delegate, &delegate);
    for (const char* path : {"/a", "/b", "/c"})
        add(path);
    client->loadDelta("lost");
    answers();
    client->loadDelta(delegate.pages[0].cursor);
    answers();
    EXPECT_TRUE(delegate.pages[0].reset);
    EXPECT_EQ(delegate.pages[0].entries.size(), 2);
    EXPECT_FALSE(delegate.pages[1].reset);
    EXPECT_EQ(delegate.pages[1].entries.size(), 1);
}

TEST_F(FolderRestClient, Two_clients_of_one_folder_see_each_others_writes) {
    QWFolderRestClient other(folder, environment);
    other.uploadFile("a", "/", {}, localFile("staged", "x"));
    client->loadMetadata("/a");
    EXPECT_EQ(answers(), QStringList("metadata of /a"));
}

TEST_F(FolderRestClient, A_destroyed_client_neither_carries_out_nor_answers_what_waits) {
    add("/a");
    client->deletePath("/a");
    client.reset();
    EXPECT_TRUE(answers().isEmpty());
    EXPECT_TRUE(folder->metadata("/a"));
}

TEST_F(FolderRestClient, Without_a_delegate_requests_are_carried_out_and_answers_dropped) {
    {
        QObject lifetime;
        client->setDelegate(&delegate, &lifetime);
    }
    add("/a");
    client->deletePath("/a");
    EXPECT_TRUE(answers().isEmpty());
    EXPECT_FALSE(folder->metadata("/a"));
}

TEST_F(FolderRestClient, A_cloud_address_names_a_directory) {
    QWError error;
    for (const QString address : {"", "folder:", "/path", "http://127.0.0.1/"}) {
        EXPECT_FALSE(QWFolderRestClient::open(address, environment, &error)) << address.toStdString();
        EXPECT_TRUE(error.message.contains(address));
    }
    const QString path = directory.filePath("new/cloud");
    EXPECT_TRUE(QWFolderRestClient::open("folder:" + path, environment, &error));
    EXPECT_TRUE(world.files->exists(path));
}
