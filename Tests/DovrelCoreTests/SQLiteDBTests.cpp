#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/SQLiteDB.h"
#include "TempDir.h"

#include <fstream>
#include <future>
#include <gtest/gtest.h>

using namespace dovrel;
namespace fs = std::filesystem;

TEST(SQLiteDBTest, ReadsEveryCaseWithoutConversion) {
    const TempDir dir;
    SQLiteDB db((dir.path() / "t.db").string(), false);
    db.execute("CREATE TABLE t(i INTEGER, r REAL, s TEXT, b BLOB, n);"
               "INSERT INTO t VALUES(42, 3.9, 'hi', x'00ff', NULL);"
               "INSERT INTO t VALUES(-7, -3.9, '', x'', 1);");
    const std::vector<SQLRow> rows = db.query("SELECT i, r, s, b, n, i AS s FROM t ORDER BY rowid");
    ASSERT_EQ(rows.size(), 2u);
    const SQLRow& first = rows[0];
    EXPECT_EQ(first.int64("i"), 42);
    EXPECT_EQ(first.int64("r"), 3); // REAL cut towards zero
    EXPECT_EQ(rows[1].int64("r"), -3);
    EXPECT_EQ(first.string("i"), std::nullopt); // an int asked for as text gives nothing
    EXPECT_EQ(first.int64("s"), 42);            // two columns named "s": the later one counts
    EXPECT_EQ(first.blob("b"), (Bytes{0x00, 0xff}));
    EXPECT_EQ(first.int64("n"), std::nullopt);
    EXPECT_EQ(first.string("n"), std::nullopt);
    EXPECT_EQ(first.blob("n"), std::nullopt);
    EXPECT_EQ(first.int64("missing"), std::nullopt);
    EXPECT_EQ(rows[1].blob("b"), Bytes{}); // an empty blob is a blob, not null
    EXPECT_TRUE(std::holds_alternative<std::monostate>(first.values().at("n")));
    EXPECT_EQ(first.values().size(), 5u);
    EXPECT_TRUE(db.query("SELECT * FROM t WHERE i = 0").empty());
}

TEST(SQLiteDBTest, InvalidUtf8TextIsRepairedNotRejected) {
    const TempDir dir;
    SQLiteDB db((dir.path() / "t.db").string(), false);
    db.execute("CREATE TABLE t(s TEXT); INSERT INTO t VALUES(CAST(x'61ff62' AS TEXT));");
    EXPECT_EQ(db.query("SELECT s FROM t").at(0).string("s"), "a\uFFFDb");
}

TEST(SQLiteDBTest, FailuresCarryTheirCaseAndSQLiteMessage) {
    const TempDir dir;
    try {
        SQLiteDB missing((dir.path() / "nope" / "x.db").string(), true);
        FAIL() << "opened a missing file";
    } catch (const SQLiteError& error) {
        EXPECT_EQ(error.errorCase(), SQLiteError::Case::openFailed);
        EXPECT_EQ(std::string(error.what()), "openFailed(\"unable to open database file\")");
    }

    SQLiteDB db((dir.path() / "t.db").string(), false);
    try {
        db.query("SELECT * FROM nowhere");
        FAIL();
    } catch (const SQLiteError& error) {
        EXPECT_EQ(error.errorCase(), SQLiteError::Case::prepareFailed);
        EXPECT_EQ(error.message(), "no such table: nowhere");
    }
    try {
        db.execute("CREATE TABLE t(x); CREATE TABLE t(x);");
        FAIL();
    } catch (const SQLiteError& error) {
        EXPECT_EQ(error.errorCase(), SQLiteError::Case::stepFailed);
        EXPECT_EQ(std::string(error.what()), "stepFailed(\"table t already exists\")");
    }
    // A REAL with no integer form is a damaged file's fault: an error, not the end of the process.
    db.execute("CREATE TABLE r(v REAL); INSERT INTO r VALUES(1e300);");
    EXPECT_THROW(db.query("SELECT v FROM r"), SQLiteError);
}

TEST(SQLiteDBTest, ReadOnlyConnectionCannotWrite) {
    const TempDir dir;
    const std::string path = (dir.path() / "t.db").string();
    SQLiteDB(path, false).execute("CREATE TABLE t(x)");
    SQLiteDB readOnly(path, true);
    EXPECT_THROW(readOnly.execute("INSERT INTO t VALUES(1)"), SQLiteError);
}

TEST(SQLiteDBTest, NonDatabaseAndTruncatedFilesGiveSQLiteError) {
    const TempDir dir;
    const fs::path garbage = dir.path() / "garbage.db";
    std::ofstream(garbage)
        << "this is not a database, just some text that is long enough to look like a header";
    SQLiteDB db(garbage.string(), true);
    EXPECT_THROW(db.query("SELECT * FROM message"), SQLiteError);

    const fs::path good = dir.path() / "good.db";
    {
        SQLiteDB writer(good.string(), false);
        writer.execute(
            "CREATE TABLE t(x TEXT); WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
            "WHERE i < 5000) INSERT INTO t SELECT printf('%0200d', i) FROM n;");
    }
    fs::resize_file(good, fs::file_size(good) / 2);
    SQLiteDB truncated(good.string(), true);
    EXPECT_THROW(truncated.query("SELECT count(*), max(x) FROM t"), SQLiteError);
}

TEST(DatabaseCopierTest, CopiesSideFilesThatExistIntoAFreshFolder) {
    const TempDir dir;
    const fs::path source = dir.path() / "source.db";
    std::ofstream(source) << "main";
    std::ofstream(fs::path(source.string() + "-shm")) << "shm only";

    const fs::path copy = DatabaseCopier::copyForReading(source);
    EXPECT_EQ(copy.filename(), "chat.db");
    EXPECT_EQ(copy.parent_path().parent_path(), fs::temp_directory_path());
    EXPECT_EQ(copy.parent_path().filename().string().rfind("murmora-", 0), 0u);
    EXPECT_TRUE(fs::exists(copy.string() + "-shm"));
    EXPECT_FALSE(fs::exists(copy.string() + "-wal"));

    std::ofstream(fs::path(source.string() + "-wal")) << "wal";
    const fs::path second = DatabaseCopier::copyForReading(source);
    EXPECT_NE(second.parent_path(), copy.parent_path());
    std::ifstream wal(second.string() + "-wal");
    std::string content;
    std::getline(wal, content);
    EXPECT_EQ(content, "wal");

    fs::remove_all(copy.parent_path());
    fs::remove_all(second.parent_path());
}

// Messages keeps its database open in write-ahead mode, so recent rows live only in the log while we copy.
TEST(DatabaseCopierTest, RowsStillInTheWriteAheadLogReachTheCopyAndTheSourceIsLeftAlone) {
    const TempDir dir;
    const fs::path source = dir.path() / "source.db";
    SQLiteDB writer(source.string(), false);
    writer.execute("PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0; CREATE TABLE t(x INTEGER);"
                   "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000) "
                   "INSERT INTO t SELECT i FROM n;");
    ASSERT_GT(fs::file_size(source.string() + "-wal"), 0u);
    const auto sourceLog = fs::file_size(source.string() + "-wal");

    const fs::path copy = DatabaseCopier::copyForReading(source);
    EXPECT_FALSE(fs::exists(copy.string() + "-wal")) << "the copy's log is folded into it";
    const std::vector<SQLRow> rows =
        SQLiteDB(copy.string(), true).query("SELECT count(*) AS n, sum(x) AS s FROM t");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].int64("n"), 3000);
    EXPECT_EQ(rows[0].int64("s"), 3000 * 3001 / 2);
    EXPECT_EQ(fs::file_size(source.string() + "-wal"), sourceLog);
    fs::remove_all(copy.parent_path());
}

TEST(DatabaseCopierTest, ParallelCallsMakeSeparateFoldersAndMissingSourceThrows) {
    const TempDir dir;
    const fs::path source = dir.path() / "source.db";
    std::ofstream(source) << "main";
    auto a = std::async(std::launch::async, [&] { return DatabaseCopier::copyForReading(source); });
    auto b = std::async(std::launch::async, [&] { return DatabaseCopier::copyForReading(source); });
    const fs::path first = a.get();
    const fs::path second = b.get();
    EXPECT_NE(first.parent_path(), second.parent_path());
    fs::remove_all(first.parent_path());
    fs::remove_all(second.parent_path());

    EXPECT_THROW(DatabaseCopier::copyForReading(dir.path() / "absent.db"), fs::filesystem_error);
}
