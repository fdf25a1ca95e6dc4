#include "Foundation/TemporaryFolder.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/SQLiteDB.h"
#include "TempDir.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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
    // A REAL with no integer form is a damaged file's fault. Read in place it is no integer, and only when
    // asked for; a whole row copied fails, naming the cell. -2^63 has an integer form, 2^63 none.
    db.execute("CREATE TABLE r(v REAL, w); INSERT INTO r VALUES(1e300, 1), (2.5, 2), "
               "(-9223372036854775808.0, 3), (9223372036854775808.0, 4);");
    std::vector<std::pair<bool, std::optional<std::int64_t>>> seen;
    db.forEachRowInPlace("SELECT v, w FROM r", [&](const SQLRowView& row) {
        seen.emplace_back(row.unusable(0), row.int64(0));
        EXPECT_FALSE(row.unusable(1));
    });
    EXPECT_EQ(seen, (std::vector<std::pair<bool, std::optional<std::int64_t>>>{
                        {true, std::nullopt}, {false, 2}, {false, INT64_MIN}, {true, std::nullopt}}));
    EXPECT_EQ(db.query("SELECT w FROM r").size(), 4u);
    try {
        db.query("SELECT w, v FROM r");
        FAIL();
    } catch (const SQLiteError& error) {
        EXPECT_EQ(error.message(), "REAL value with no 64-bit integer form in column v of row 1");
    }
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

namespace {

// Points TMPDIR somewhere else for as long as it lives.
class TemporaryFolderSetting {
public:
    explicit TemporaryFolderSetting(const std::string& value) {
        if (const char* old = std::getenv("TMPDIR")) {
            old_ = old;
        }
        ::setenv("TMPDIR", value.c_str(), 1);
    }
    ~TemporaryFolderSetting() {
        if (old_) {
            ::setenv("TMPDIR", old_->c_str(), 1);
        } else {
            ::unsetenv("TMPDIR");
        }
    }

private:
    std::optional<std::string> old_;
};

fs::perms permissionsOf(const fs::path& path) {
    return fs::status(path).permissions() & fs::perms::all;
}

std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

TEST(DatabaseCopierTest, CopiesSideFilesThatExistIntoAPrivateFolderThatGoesWithTheCopy) {
    const TempDir dir;
    const TemporaryFolderSetting tmp((dir.path() / "tmp").string());
    fs::create_directory(dir.path() / "tmp");
    const fs::path source = dir.path() / "source.db";
    std::ofstream(source) << "main";
    std::ofstream(fs::path(source.string() + "-shm")) << "shm only";
    fs::permissions(source, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                                fs::perms::others_read);
    fs::path folder;
    {
        const ReadingCopy copy = DatabaseCopier::copyForReading(source);
        folder = copy.folder();
        EXPECT_EQ(copy.path(), folder / "chat.db");
        EXPECT_EQ(folder.parent_path(), dir.path() / "tmp");
        EXPECT_EQ(folder.filename().string().rfind("murmora-", 0), 0u);
        // No other user can look into a copy, not even while it is being written.
        EXPECT_EQ(permissionsOf(folder), fs::perms::owner_all);
        EXPECT_EQ(permissionsOf(copy.path()), fs::perms::owner_read | fs::perms::owner_write);
        EXPECT_EQ(permissionsOf(copy.string() + "-shm"), fs::perms::owner_read | fs::perms::owner_write);
        EXPECT_FALSE(fs::exists(copy.string() + "-wal"));

        std::ofstream(fs::path(source.string() + "-wal")) << "wal";
        const ReadingCopy second = DatabaseCopier::copyForReading(source);
        EXPECT_NE(second.folder(), folder);
        std::ifstream wal(second.string() + "-wal");
        std::string content;
        std::getline(wal, content);
        EXPECT_EQ(content, "wal");
    }
    EXPECT_TRUE(namesIn(dir.path() / "tmp").empty()) << "copies go when their reads end";

    // An empty or stale TMPDIR falls back to the system's folder.
    for (const char* setting : {"", "/nonexistent-murmora-folder"}) {
        const TemporaryFolderSetting unset(setting);
        EXPECT_EQ(temporaryFolder(), fs::path("/tmp"));
        EXPECT_EQ(DatabaseCopier::copyForReading(source).folder().parent_path(), fs::path("/tmp"));
    }
}

TEST(DatabaseCopierTest, AFailedCopyLeavesNothingAndSaysWhy) {
    const TempDir dir;
    const fs::path tmp = dir.path() / "tmp";
    fs::create_directory(tmp);
    const TemporaryFolderSetting setting(tmp.string());
    const fs::path pipe = dir.path() / "pipe.db";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);

    // A pipe or folder under the database's name is refused at once rather than waited on.
    const std::vector<std::pair<fs::path, std::errc>> cases{
        {dir.path() / "absent.db", std::errc::no_such_file_or_directory},
        {pipe, std::errc::invalid_argument},
        {dir.path(), std::errc::invalid_argument},
    };
    for (const auto& [source, expected] : cases) {
        try {
            DatabaseCopier::copyForReading(source);
            ADD_FAILURE() << source;
        } catch (const fs::filesystem_error& error) {
            EXPECT_EQ(error.code(), std::make_error_code(expected)) << source;
        }
        EXPECT_TRUE(namesIn(tmp).empty()) << source;
    }

    // A full disk: a file size limit stops the write as a full disk would.
    const fs::path big = dir.path() / "big.db";
    std::ofstream(big) << std::string(1 << 20, 'x');
    const pid_t child = ::fork();
    if (child == 0) {
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{64 * 1024, 64 * 1024};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        int code = 3;
        try {
            DatabaseCopier::copyForReading(big);
        } catch (const fs::filesystem_error& error) {
            code = error.code() == std::errc::no_space_on_device ? 0 : 1;
        }
        ::_exit(code == 0 && !namesIn(tmp).empty() ? 2 : code);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "1: another error; 2: a partial copy was left; 3: no error";
}

TEST(DatabaseCopierTest, OnlyTheUsersOwnOldCopyFoldersAreRemovedAtStart) {
    const TempDir dir;
    const fs::path tmp = dir.path() / "tmp";
    fs::create_directory(tmp);
    const TemporaryFolderSetting setting(tmp.string());
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(25);
    const std::string uuid = "1B4E28BA-2FA1-11D2-883F-0016D3CCA427";
    const std::string fresh = "2B4E28BA-2FA1-11D2-883F-0016D3CCA427";
    const std::string link = "3B4E28BA-2FA1-11D2-883F-0016D3CCA427";

    fs::create_directories(tmp / ("murmora-" + uuid) / "inner");
    std::ofstream(tmp / ("murmora-" + uuid) / "chat.db") << "old copy";
    fs::create_directory(tmp / ("murmora-" + fresh));
    std::ofstream(tmp / ("murmora-wrapped-" + uuid + ".html")) << "recap";
    fs::create_directory(tmp / "murmora-test-folder");
    fs::create_directory(dir.path() / "elsewhere");
    fs::create_directory_symlink(dir.path() / "elsewhere", tmp / ("murmora-" + link));
    for (const fs::directory_entry& entry : fs::directory_iterator(tmp)) {
        if (!entry.is_symlink()) {
            fs::last_write_time(entry.path(), old);
        }
    }
    fs::last_write_time(tmp / ("murmora-" + fresh), fs::file_time_type::clock::now());

    DatabaseCopier::removeStaleCopies();
    EXPECT_EQ(namesIn(tmp),
              (std::vector<std::string>{"murmora-" + fresh, "murmora-" + link, "murmora-test-folder",
                                        "murmora-wrapped-" + uuid + ".html"}));
    EXPECT_TRUE(fs::exists(dir.path() / "elsewhere"));
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

    const ReadingCopy copy = DatabaseCopier::copyForReading(source);
    EXPECT_FALSE(fs::exists(copy.string() + "-wal")) << "the copy's log is folded into it";
    const std::vector<SQLRow> rows =
        SQLiteDB(copy.string(), true).query("SELECT count(*) AS n, sum(x) AS s FROM t");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].int64("n"), 3000);
    EXPECT_EQ(rows[0].int64("s"), 3000 * 3001 / 2);
    EXPECT_EQ(fs::file_size(source.string() + "-wal"), sourceLog);
}

TEST(DatabaseCopierTest, ParallelCallsMakeSeparateFolders) {
    const TempDir dir;
    const fs::path source = dir.path() / "source.db";
    std::ofstream(source) << "main";
    auto a = std::async(std::launch::async, [&] { return DatabaseCopier::copyForReading(source); });
    auto b = std::async(std::launch::async, [&] { return DatabaseCopier::copyForReading(source); });
    EXPECT_NE(a.get().folder(), b.get().folder());
}
