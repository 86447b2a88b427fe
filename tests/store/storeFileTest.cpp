#include "store/FaultyDisk.h"
#include "store/StoreRows.h"

#include "store/QWStoreError.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <thread>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

using ::testing::AnyOf;
using Code = QWStoreErrorCode;

namespace {

std::unique_ptr<QWManagedObjectModel> bookModel(const QString& attribute = "title") {
    auto model = std::make_unique<QWManagedObjectModel>();
    auto& book = model->addEntity("Book");
    book.addAttribute(attribute, QWAttributeType::String).setIndexed();
    book.addToOne("sequel", "Book");
    model->complete();
    return model;
}

const QWStoreOptions Impatient{QWSynchronous::Normal, true, 0};

class StoreFile : public ::testing::Test {
protected:
    QTemporaryDir folder;
    const QString path = folder.filePath("books.store");
    const std::unique_ptr<QWManagedObjectModel> model = bookModel();

    void write(const QByteArray& bytes) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    QByteArray read() const {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    // A file with `count` books.
    void make(int count = 1) {
        OpenStore store(path, *model, Impatient);
        ASSERT_TRUE(store) << store.message();
        store.save([&] {
            std::vector<QVariant> values(2);
            for (int n = 0; n < count; ++n) {
                values[0] = QStringLiteral("A book with the number %1").arg(n);
                store->insert({&store.entity("Book"), store->reserveKeys(store.entity("Book"))},
                              values.data(), nullptr);
            }
        });
    }
    void execute(const char* sql) {
        sqlite3* database = nullptr;
        sqlite3_open(path.toUtf8().constData(), &database);
        EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
    }
    // The code with which the file is refused; every refusal names the file.
    Code refusal(const QString& file) {
        OpenStore store(file, *model, Impatient);
        EXPECT_FALSE(store);
        EXPECT_EQ(store.error.domain, "store");
        EXPECT_EQ(store.error.userInfo["path"], QVariant(file));
        EXPECT_TRUE(store.error.message.contains(file)) << store.message();
        return Code(store.error.code);
    }
    Code refusal() { return refusal(path); }
    Code refusalThatLeavesTheFile() {
        const QByteArray before = read();
        const Code code = refusal();
        EXPECT_TRUE(read() == before);
        EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 1);
        return code;
    }
};

} // namespace

TEST_F(StoreFile, A_missing_file_is_made_and_opens_again) {
    make(3);
    OpenStore again(path, *model);
    EXPECT_EQ(again->count(QWFetchRequest("Book"), nullptr), 3);
}

TEST_F(StoreFile, An_empty_file_becomes_a_store) {
    write({});
    make();
    EXPECT_TRUE(OpenStore(path, *model));
}

TEST_F(StoreFile, Any_character_may_stand_in_its_path) {
    for (const QString& name : {QStringLiteral("file:a?b=%20c#d"), QString::fromUtf8("Bücher 📚'\".store")}) {
        const QString odd = folder.filePath(name);
        ASSERT_TRUE(OpenStore(odd, *model));
        EXPECT_TRUE(QFile::exists(odd)) << odd.toStdString();
    }
}

TEST_F(StoreFile, A_path_that_no_file_can_have_is_an_error) {
    EXPECT_EQ(refusal(folder.filePath("none/books.store")), Code::CannotOpen);
    EXPECT_EQ(refusal(folder.path()), Code::CannotOpen);
    EXPECT_EQ(refusal(""), Code::CannotOpen);
}

TEST_F(StoreFile, Garbage_is_refused_and_left_alone) {
    for (const QByteArray& bytes : {QByteArray("no store"), QByteArray(100000, 'x'), QByteArray(5000, '\0'),
                                    QByteArray("SQLite format 3\0 but nothing else", 34)}) {
        write(bytes);
        EXPECT_EQ(refusalThatLeavesTheFile(), Code::Damaged);
    }
}

TEST_F(StoreFile, Another_programs_database_is_refused_and_left_alone) {
    execute("CREATE TABLE Book (title TEXT); INSERT INTO Book VALUES ('Emma')");
    EXPECT_EQ(refusalThatLeavesTheFile(), Code::Damaged);
}

TEST_F(StoreFile, A_later_format_is_refused_and_left_alone) {
    make();
    execute("PRAGMA user_version = 99; PRAGMA journal_mode = DELETE");
    EXPECT_EQ(refusalThatLeavesTheFile(), Code::NewerFormat);
}

TEST_F(StoreFile, Tables_that_are_not_those_of_the_model_are_damage) {
    make();
    execute("DROP INDEX Book_title");
    EXPECT_EQ(refusal(), Code::Damaged);
}

TEST_F(StoreFile, A_missing_table_of_the_store_itself_is_damage) {
    make();
    execute("DROP TABLE qw_meta");
    EXPECT_EQ(refusal(), Code::Damaged);
}

TEST_F(StoreFile, A_model_that_cannot_be_read_is_damage) {
    make();
    execute("UPDATE qw_meta SET value = 'x'");
    EXPECT_EQ(refusal(), Code::Damaged);
}

TEST_F(StoreFile, What_a_trigger_of_a_file_from_elsewhere_says_is_not_done) {
    make(3);
    execute("CREATE TRIGGER evil AFTER INSERT ON Book BEGIN DELETE FROM Book; END");
    make(1);
    OpenStore store(path, *model, Impatient);
    EXPECT_EQ(store->count(QWFetchRequest("Book"), nullptr), 4);
    EXPECT_EQ(store.rows(QWFetchRequest("Book")).size(), 4u);
}

// One that was looked into would never end.
TEST_F(StoreFile, A_view_in_the_place_of_a_table_is_damage_and_is_not_looked_into) {
    make();
    execute("DROP TABLE qw_meta; CREATE VIEW qw_meta AS WITH RECURSIVE n(value) AS "
            "(SELECT 1 UNION ALL SELECT value + 1 FROM n) SELECT value AS key, value FROM n");
    EXPECT_EQ(refusal(), Code::Damaged);
}

// However it is damaged: an error or rows, each of which is one that was saved, and nothing else.
TEST_F(StoreFile, Truncation_at_any_page_is_an_error_or_leaves_whole_rows) {
    make(500);
    const QByteArray whole = read();
    ASSERT_GT(whole.size(), 10 * 4096);
    for (qsizetype size = 1000; size < whole.size(); size += 4096 + 17) {
        write(whole.left(size));
        OpenStore store(path, *model, Impatient);
        if (!store) {
            EXPECT_EQ(Code(store.error.code), Code::Damaged) << size;
            continue;
        }
        RowCollector collector;
        if (!store->select(QWFetchRequest("Book"), collector, &store.error)) {
            EXPECT_EQ(Code(store.error.code), Code::Damaged) << size;
        }
        for (const CollectedRow& row : collector.rows)
            EXPECT_TRUE(row["title"].toString().startsWith("A book with the number ")) << size;
    }
}

TEST_F(StoreFile, Noise_on_any_page_is_an_error_when_it_is_read_and_never_a_crash) {
    make(500);
    const QByteArray whole = read();
    QRandomGenerator random(7);
    int refused = 0;
    for (qsizetype page = 0; page < whole.size(); page += 4096) {
        QByteArray damaged = whole;
        for (int n = 0; n < 4096; ++n)
            damaged[page + n] = char(random.bounded(256));
        write(damaged);
        OpenStore store(path, *model, Impatient);
        if (!store) {
            EXPECT_EQ(Code(store.error.code), Code::Damaged) << store.message();
            ++refused;
            continue;
        }
        RowCollector collector;
        bool read = store->select(QWFetchRequest("Book"), collector, &store.error);
        read = read && store->distinctValues(QWFetchRequest("Book"), "title", &store.error);
        if (!read) {
            EXPECT_EQ(Code(store.error.code), Code::Damaged) << store.message();
        }
        refused += !read;
        std::vector<QVariant> values(2);
        if (store->begin(&store.error)) {
            store->insert({&store.entity("Book"), 10000}, values.data(), &store.error);
            store->commit(&store.error);
        }
    }
    EXPECT_GT(refused, 5);
}

TEST_F(StoreFile, A_file_that_another_process_has_locked_is_busy) {
    make();
    sqlite3* other = nullptr;
    sqlite3_open(path.toUtf8().constData(), &other);
    sqlite3_exec(other, "PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
    EXPECT_EQ(refusal(), Code::Busy);
    sqlite3_close(other);
    EXPECT_TRUE(OpenStore(path, *model));
}

TEST_F(StoreFile, A_save_while_another_process_saves_is_busy_and_works_afterwards) {
    OpenStore store(path, *model, Impatient);
    const auto emma = store.insert("Book", {{"title", "Emma"}});
    OpenStore other(path, *model, Impatient);
    ASSERT_TRUE(other->begin(nullptr));
    EXPECT_FALSE(store->begin(&store.error));
    EXPECT_EQ(Code(store.error.code), Code::Busy);
    EXPECT_EQ(store.value(emma, "title"), QVariant("Emma")); // reading goes on
    EXPECT_TRUE(other->commit(nullptr));
    EXPECT_EQ(store.update(emma, 1, {{"title", "Persuasion"}}), QWSQLiteStore::Write::Done);
}

TEST_F(StoreFile, Two_connections_may_make_it_at_the_same_moment) {
    std::vector<std::thread> threads;
    std::atomic<int> opened = 0;
    for (int n = 0; n < 4; ++n) {
        threads.emplace_back([&] {
            OpenStore store(path, *model, {QWSynchronous::Normal, true, 10000});
            opened += store && store->reserveKeys(store.entity("Book")) > 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(opened, 4);
    EXPECT_EQ(OpenStore(path, *model)->count(QWFetchRequest("Book"), nullptr), 0);
}

TEST_F(StoreFile, What_a_dead_process_had_committed_is_there) {
    OpenStore store(path, *model, Impatient);
    store.insert("Book", {{"title", "Emma"}});
    ASSERT_TRUE(store->begin(nullptr));
    std::vector<QVariant> values(2);
    ASSERT_TRUE(store->insert({&store.entity("Book"), 9999}, values.data(), nullptr));
    // The files as the process would leave them if it died now.
    const QString left = folder.filePath("left.store");
    ASSERT_TRUE(QFile::copy(path, left) && QFile::copy(path + "-wal", left + "-wal"));
    store->rollback();
    OpenStore again(left, *model);
    ASSERT_TRUE(again) << again.message();
    EXPECT_EQ(again->count(QWFetchRequest("Book"), nullptr), 1);
    EXPECT_EQ(again.rows(QWFetchRequest("Book")).size(), 1u);
}

#ifdef Q_OS_UNIX
namespace {

// Somebody whom permissions bind, while it exists: tests may run as root, whom they don't.
class Nobody {
public:
    Nobody() {
        if (wasRoot_) {
            EXPECT_EQ(seteuid(65534), 0);
        }
    }
    ~Nobody() {
        if (wasRoot_) {
            EXPECT_EQ(seteuid(0), 0);
        }
    }

private:
    const bool wasRoot_ = geteuid() == 0;
};

} // namespace

TEST_F(StoreFile, A_file_that_cannot_be_written_is_refused) {
    make();
    QFile::setPermissions(folder.path(), QFile::Permissions(0x7777));
    QFile::setPermissions(path, QFile::Permissions(0x4444));
    const Nobody nobody;
    EXPECT_EQ(refusal(), Code::ReadOnly);
}

TEST_F(StoreFile, A_folder_that_cannot_be_written_is_an_error) {
    make();
    QFile::setPermissions(path, QFile::Permissions(0x6666));
    QFile::setPermissions(folder.path(), QFile::Permissions(0x5555));
    {
        const Nobody nobody;
        EXPECT_THAT(refusal(), AnyOf(Code::CannotOpen, Code::ReadOnly));
        EXPECT_EQ(refusal(folder.filePath("new.store")), Code::CannotOpen);
    }
    QFile::setPermissions(folder.path(), QFile::Permissions(0x7700));
}
#endif

TEST_F(StoreFile, A_full_disk_fails_the_save_as_a_whole_and_the_next_one_works) {
    FaultyDisk disk;
    OpenStore store(path, *model, Impatient);
    const auto emma = store.insert("Book", {{"title", "Emma"}});
    for (int after = 0; after < 6; ++after) {
        disk.fail(SQLITE_FULL, after);
        const bool saved = store.save([&] {
            std::vector<QVariant> values(2, QVariant());
            for (int n = 0; n < 200; ++n) {
                values[0] = QString(1000, QLatin1Char('x'));
                store->insert({emma.entity, store->reserveKeys(*emma.entity)}, values.data(), &store.error);
            }
        });
        EXPECT_FALSE(saved) << after;
        EXPECT_EQ(Code(store.error.code), Code::DiskFull);
        EXPECT_EQ(store.error.userInfo["path"], QVariant(path));
        disk.mend();
        EXPECT_EQ(store->count(QWFetchRequest("Book"), nullptr), 1);
        EXPECT_EQ(store.rows(QWFetchRequest("Book")).size(), 1u);
    }
    EXPECT_EQ(store.update(emma, 1, {{"title", "Persuasion"}}), QWSQLiteStore::Write::Done)
        << store.message();
    store.close();
}

TEST_F(StoreFile, A_disk_that_fails_is_an_error_of_its_own) {
    FaultyDisk disk;
    OpenStore store(path, *model, Impatient);
    disk.fail(SQLITE_IOERR_WRITE);
    EXPECT_FALSE(store.save([&] { store->writeMembers(store.property("Book", "sequel"), {}, {}, nullptr); })
                 && store.save([&] {
                        std::vector<QVariant> values(2);
                        store->insert({&store.entity("Book"), 77}, values.data(), nullptr);
                    }));
    EXPECT_EQ(Code(store.error.code), Code::IO);
    disk.mend();
    store.close();
}

TEST_F(StoreFile, Keys_are_handed_out_even_when_their_lease_cannot_be_written) {
    FaultyDisk disk;
    OpenStore store(path, *model, Impatient);
    disk.fail(SQLITE_FULL);
    const qint64 key = store->reserveKeys(store.entity("Book"));
    EXPECT_GT(store->reserveKeys(store.entity("Book")), key);
    disk.mend();
    std::vector<QVariant> values(2);
    EXPECT_TRUE(store.save([&] { store->insert({&store.entity("Book"), key}, values.data(), nullptr); }));
    OpenStore other(path, *model, Impatient);
    EXPECT_GT(other->reserveKeys(other.entity("Book")), key);
    other.close();
    store.close();
}

TEST_F(StoreFile, A_disk_that_is_full_while_a_file_is_made_or_migrated_leaves_what_was_there) {
    for (int after = 0; after < 12; ++after) {
        FaultyDisk disk;
        disk.fail(SQLITE_FULL, after);
        OpenStore store(path, *model, Impatient);
        if (!store) {
            EXPECT_EQ(Code(store.error.code), Code::DiskFull) << store.message();
        }
        store.close();
    }
    make(300);
    const auto later = bookModel("name");
    for (int after = 0; after < 12; ++after) {
        FaultyDisk disk;
        disk.fail(SQLITE_FULL, after);
        OpenStore store(path, *later, Impatient);
        ASSERT_FALSE(store) << after;
        EXPECT_EQ(Code(store.error.code), Code::DiskFull) << store.message();
    }
    OpenStore store(path, *model, {QWSynchronous::Normal, false});
    ASSERT_TRUE(store) << store.message();
    EXPECT_EQ(store.rows(QWFetchRequest("Book")).size(), 300u);
    EXPECT_EQ(store.rows(QWFetchRequest("Book")).back()["title"], QVariant("A book with the number 299"));
}
