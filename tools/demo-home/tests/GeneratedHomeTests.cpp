#include "Calendar.h"
#include "DemoHomeGenerator.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <unistd.h>

// The generator is not the product: these tests only prove that the awkward rows the readers must
// handle are there, and that a seed pins the whole home. What the readers make of it is checked by
// the reader tests, which read a generated home.
namespace demohome {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kNow = 1767225600; // 2026-01-01 00:00 UTC
constexpr std::int64_t kNanos = 1'000'000'000;

class TempDir {
public:
    TempDir()
        : path_(fs::temp_directory_path() /
                ("demo-home-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter_++))) {
        fs::remove_all(path_);
        fs::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    [[nodiscard]] const fs::path& path() const { return path_; }

private:
    static inline int counter_ = 0;
    fs::path path_;
};

// Reads through the plain C API, not through the code under test.
class Db {
public:
    explicit Db(const fs::path& path) {
        if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
            sqlite3_close(db_);
            throw std::runtime_error("cannot open " + path.string());
        }
    }
    ~Db() { sqlite3_close(db_); }
    Db(const Db&) = delete;
    Db& operator=(const Db&) = delete;

    [[nodiscard]] std::int64_t scalar(const std::string& sql) const {
        sqlite3_stmt* stmt = nullptr;
        if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
            throw std::runtime_error(std::string(sqlite3_errmsg(db_)) + " in " + sql);
        }
        const std::int64_t value = sqlite3_step(stmt) == SQLITE_ROW ? sqlite3_column_int64(stmt, 0) : -1;
        sqlite3_finalize(stmt);
        return value;
    }

private:
    sqlite3* db_ = nullptr;
};

// Everything in a database as SQL text, from the sqlite3 shell.
std::string dump(const fs::path& db) {
    std::string out;
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(("sqlite3 '" + db.string() + "' .dump").c_str(), "r"),
                                               ::pclose);
    char buffer[65536];
    for (std::size_t n = 0; pipe && (n = std::fread(buffer, 1, sizeof buffer, pipe.get())) > 0;) {
        out.append(buffer, n);
    }
    return out;
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class GeneratedHome : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        dir_ = std::make_unique<TempDir>();
        result_ = generateDemoHome({dir_->path(), 3, 6000, kNow, false});
    }
    static void TearDownTestSuite() { dir_.reset(); }

    static inline std::unique_ptr<TempDir> dir_;
    static inline DemoHomeResult result_;
};

TEST_F(GeneratedHome, HoldsTheRowsReadersMustHandle) {
    const Db db(result_.messagesDatabase);
    const std::string oneToOne =
        "SELECT COUNT(*) FROM chat c JOIN chat_message_join j ON j.chat_id = c.ROWID "
        "JOIN message m ON m.ROWID = j.message_id WHERE c.style = 45 AND ";
    const std::string plain = "m.associated_message_type = 0 AND m.item_type = 0";
    const std::string recent = std::to_string((kNow - kAppleEpochUnixSeconds - 7 * 86400) * kNanos);
    const std::string spam = "(SELECT ROWID FROM handle WHERE id IN ('72345', 'noreply@shipalerts.example'))";
    const struct {
        const char* what;
        std::string sql;
    } present[] = {
        {"body only in attributedBody",
         oneToOne + plain + " AND m.text IS NULL AND m.attributedBody IS NOT NULL"},
        {"long body (two-byte length)",
         oneToOne + plain + " AND m.text IS NULL AND length(m.attributedBody) > 400"},
        {"no body at all", oneToOne + plain + " AND m.text IS NULL AND m.attributedBody IS NULL"},
        {"empty text with a body", oneToOne + plain + " AND m.text = '' AND m.attributedBody IS NOT NULL"},
        {"tapback", oneToOne + "m.associated_message_type BETWEEN 2000 AND 2005"},
        {"removed tapback", oneToOne + "m.associated_message_type BETWEEN 3000 AND 3005"},
        {"non-message items", oneToOne + "m.associated_message_type = 0 AND m.item_type IN (1, 2, 3)"},
        {"dates in whole seconds", "SELECT COUNT(*) FROM message WHERE date < 100000000000"},
        {"unread from people this week",
         oneToOne + plain + " AND m.is_from_me = 0 AND m.is_read = 0 AND m.date >= " + recent +
             " AND m.handle_id NOT IN " + spam},
        {"spam never answered",
         "SELECT COUNT(*) FROM handle WHERE id IN ('72345', 'noreply@shipalerts.example') "
         "AND ROWID NOT IN (SELECT handle_id FROM message WHERE is_from_me = 1)"},
        {"one number spelled two ways",
         "SELECT COUNT(*) = 2 FROM chat WHERE style = 45 AND chat_identifier IN "
         "('+15551230001', '5551230001')"},
        {"group without a name", "SELECT COUNT(*) FROM chat WHERE style = 43 AND display_name IS NULL"},
        {"group with an empty name", "SELECT COUNT(*) FROM chat WHERE style = 43 AND display_name = ''"},
    };
    for (const auto& [what, sql] : present) {
        EXPECT_GT(db.scalar(sql), 0) << what;
    }

    // Laughs in groups: both guid forms, from me, at one's own message, at an empty text; all in their chat.
    const std::string laughs =
        "SELECT COUNT(*) FROM message r JOIN chat_message_join rj ON rj.message_id = r.ROWID "
        "JOIN chat c ON c.ROWID = rj.chat_id AND c.style = 43 "
        "JOIN message t ON t.guid = CASE WHEN r.associated_message_guid LIKE 'bp:%' "
        "THEN substr(r.associated_message_guid, 4) "
        "ELSE substr(r.associated_message_guid, instr(r.associated_message_guid, '/') + 1) END "
        "WHERE r.associated_message_type = 2003 AND ";
    for (const char* condition :
         {"r.associated_message_guid LIKE 'bp:%'", "r.associated_message_guid LIKE 'p:0/%'",
          "r.is_from_me = 1 AND r.handle_id = 0", "r.is_from_me = t.is_from_me AND r.handle_id = t.handle_id",
          "t.text = ''"}) {
        EXPECT_GT(db.scalar(laughs + condition), 0) << condition;
    }
    EXPECT_EQ(db.scalar(laughs +
                        "NOT EXISTS (SELECT 1 FROM chat_message_join tj WHERE tj.message_id = t.ROWID "
                        "AND tj.chat_id = rj.chat_id)"),
              0);

    // The newest rows are only in the write-ahead log: a copy of the main file alone misses them.
    TempDir copyDir;
    fs::copy_file(result_.messagesDatabase, copyDir.path() / "chat.db");
    const std::int64_t all = db.scalar("SELECT COUNT(*) FROM message");
    EXPECT_EQ(all - Db(copyDir.path() / "chat.db").scalar("SELECT COUNT(*) FROM message"), result_.rowsInWal);
    EXPECT_GT(result_.rowsInWal, 0);

    // Two address books; the larger sits deeper.
    EXPECT_LT(Db(result_.secondaryAddressBook).scalar("SELECT COUNT(*) FROM ZABCDRECORD"),
              Db(result_.addressBook).scalar("SELECT COUNT(*) FROM ZABCDRECORD"));
}

TEST(DemoHomeContent, SameSeedGivesTheSameHome) {
    const TempDir a;
    const TempDir b;
    const DemoHomeResult first = generateDemoHome({a.path(), 11, 1500, kNow, false});
    const DemoHomeResult second = generateDemoHome({b.path(), 11, 1500, kNow, false});
    EXPECT_EQ(readFile(first.summary), readFile(second.summary));
    EXPECT_FALSE(dump(first.messagesDatabase).empty());
    EXPECT_EQ(dump(first.messagesDatabase), dump(second.messagesDatabase));
    EXPECT_EQ(dump(first.addressBook), dump(second.addressBook));
    EXPECT_EQ(dump(first.secondaryAddressBook), dump(second.secondaryAddressBook));
    EXPECT_THROW(generateDemoHome({a.path(), 2, 1500, kNow, false}), DemoHomeExistsError);
}

} // namespace
} // namespace demohome
