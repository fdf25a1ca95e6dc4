#include "Calendar.h"
#include "DemoHomeGenerator.h"
#include "OneToOneReader.h"
#include "TestSupport.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

namespace demohome {
namespace {

using nlohmann::json;
using testing::Db;
using testing::decodeAttributedBody;
using testing::TempDir;

constexpr std::int64_t kNow = 1767225600; // 2026-01-01 00:00 UTC
constexpr double kNowSince2001 = static_cast<double>(kNow - kAppleEpochUnixSeconds);
constexpr std::int64_t kMessages = 6000;

json readJson(const std::filesystem::path& path) {
    std::ifstream in(path);
    return json::parse(in);
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string digitsOf(const std::string& s) {
    std::string out;
    for (char c : s) {
        if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
            out += c;
        }
    }
    return out.size() > 10 ? out.substr(out.size() - 10) : out;
}

std::string lower(std::string s) {
    for (char& c : s) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return s;
}

// The target guid of "p:0/GUID" or "bp:GUID".
std::string associatedTarget(const std::string& guid) {
    if (guid.rfind("bp:", 0) == 0) {
        return guid.substr(3);
    }
    const auto slash = guid.find('/');
    return slash == std::string::npos ? guid : guid.substr(slash + 1);
}

class GeneratedHome : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        dir_ = std::make_unique<TempDir>();
        result_ = generateDemoHome({dir_->path(), 3, kMessages, kNow, false});
        summary_ = readJson(result_.summary);
    }
    static void TearDownTestSuite() { dir_.reset(); }

    static Db messages() { return Db(result_.messagesDatabase); }

    // Rows of one-to-one chats matching a condition on message m.
    static std::int64_t oneToOneRows(const std::string& condition) {
        return messages().scalar(
            "SELECT COUNT(*) FROM chat c JOIN chat_message_join j ON j.chat_id = c.ROWID "
            "JOIN message m ON m.ROWID = j.message_id WHERE c.style = 45 AND (" +
            condition + ")");
    }

    static inline std::unique_ptr<TempDir> dir_;
    static inline DemoHomeResult result_;
    static inline json summary_;
};

TEST_F(GeneratedHome, SummaryAgreesWithAnIndependentReadOfTheThreads) {
    const Db db = messages();
    const auto read = testing::readOneToOne(db);
    const json& oneToOne = summary_.at("oneToOne");
    const json& threads = oneToOne.at("threads");

    EXPECT_EQ(summary_.at("messageRows").get<std::int64_t>(), db.scalar("SELECT COUNT(*) FROM message"));
    EXPECT_EQ(summary_.at("seed").get<std::int64_t>(), 3);
    EXPECT_DOUBLE_EQ(summary_.at("now").get<double>(), kNowSince2001);

    std::set<std::string> readHandles;
    std::int64_t kept = 0;
    for (const auto& [handle, thread] : read.threads) {
        if (thread.messages.empty()) {
            continue;
        }
        SCOPED_TRACE(handle);
        readHandles.insert(handle);
        ASSERT_TRUE(threads.contains(handle));
        const json& t = threads.at(handle);
        std::int64_t fromMe = 0;
        std::int64_t unread = 0;
        for (std::size_t i = 0; i < thread.messages.size(); ++i) {
            const auto& m = thread.messages[i];
            fromMe += m.fromMe ? 1 : 0;
            unread += m.isRead ? 0 : 1;
            if (i > 0) {
                EXPECT_LT(thread.messages[i - 1].date, m.date)
                    << "two rows of one thread at the same instant";
            }
        }
        kept += static_cast<std::int64_t>(thread.messages.size());
        EXPECT_EQ(t.at("messages").get<std::size_t>(), thread.messages.size());
        EXPECT_EQ(t.at("fromMe").get<std::int64_t>(), fromMe);
        EXPECT_EQ(t.at("unreadReceived").get<std::int64_t>(), unread);
        EXPECT_NEAR(t.at("firstDate").get<double>(), thread.messages.front().date, 1e-6);
        EXPECT_NEAR(t.at("lastDate").get<double>(), thread.messages.back().date, 1e-6);
        EXPECT_EQ(t.contains("displayName"), thread.displayName.has_value());
        if (thread.displayName && t.contains("displayName")) {
            EXPECT_EQ(t.at("displayName").get<std::string>(), *thread.displayName);
        }
    }
    EXPECT_EQ(readHandles.size(), threads.size());
    EXPECT_EQ(oneToOne.at("keptMessages").get<std::int64_t>(), kept);
    EXPECT_EQ(oneToOne.at("droppedRows").at("emptyText").get<std::int64_t>(), read.emptyText);
    EXPECT_EQ(oneToOne.at("droppedRows").at("noReadableText").get<std::int64_t>(), read.noReadableText);

    const std::string joined = "FROM chat c JOIN chat_handle_join chj ON chj.chat_id = c.ROWID "
                               "JOIN chat_message_join j ON j.chat_id = c.ROWID "
                               "JOIN message m ON m.ROWID = j.message_id WHERE c.style = 45 AND ";
    EXPECT_EQ(oneToOne.at("excludedRows").at("reactions").get<std::int64_t>(),
              db.scalar("SELECT COUNT(*) " + joined + "m.associated_message_type != 0"));
    EXPECT_EQ(oneToOne.at("excludedRows").at("nonMessageItems").get<std::int64_t>(),
              db.scalar("SELECT COUNT(*) " + joined + "m.associated_message_type = 0 AND m.item_type != 0"));
}

TEST_F(GeneratedHome, SummaryAgreesWithAnIndependentReadOfTheGroups) {
    const Db db = messages();
    const json& groups = summary_.at("groups");
    EXPECT_EQ(static_cast<std::int64_t>(groups.size()),
              db.scalar("SELECT COUNT(*) FROM chat WHERE style = 43"));

    std::int64_t previous = std::numeric_limits<std::int64_t>::max();
    for (const json& group : groups) {
        const auto guid = group.at("guid").get<std::string>();
        SCOPED_TRACE(guid);
        EXPECT_LE(group.at("messages").get<std::int64_t>(), previous) << "groups are sorted by messages";
        previous = group.at("messages").get<std::int64_t>();

        auto chat = db.query("SELECT ROWID, display_name FROM chat WHERE guid = ? AND style = 43");
        chat.bind(1, guid);
        ASSERT_TRUE(chat.next());
        const std::int64_t chatId = chat.integer(0);
        const auto name = chat.optionalText(1);
        if (name && !name->empty()) {
            EXPECT_EQ(group.at("name").get<std::string>(), *name);
        } else {
            EXPECT_FALSE(group.contains("name"));
        }

        std::vector<std::string> participants;
        auto members = db.query("SELECT h.id FROM chat_handle_join j JOIN handle h ON h.ROWID = j.handle_id "
                                "WHERE j.chat_id = ? ORDER BY j.rowid");
        members.bind(1, chatId);
        while (members.next()) {
            participants.push_back(members.text(0));
        }
        EXPECT_EQ(group.at("participants").get<std::vector<std::string>>(), participants);
        EXPECT_GE(participants.size(), 3u);
        EXPECT_LE(participants.size(), 8u);

        std::map<std::string, std::string> authorOfKept;
        std::map<std::string, std::int64_t> laughs;
        std::map<std::string, std::int64_t> senders;
        std::int64_t kept = 0;
        auto rows = db.query(
            "SELECT m.guid, m.text, m.attributedBody, m.is_from_me, h.id, m.associated_message_type, "
            "m.associated_message_guid, m.item_type FROM chat_message_join j "
            "JOIN message m ON m.ROWID = j.message_id LEFT JOIN handle h ON h.ROWID = m.handle_id "
            "WHERE j.chat_id = ? ORDER BY m.date");
        rows.bind(1, chatId);
        struct Laugh {
            std::string by;
            std::string target;
        };
        std::vector<Laugh> laughRows;
        while (rows.next()) {
            const std::string author = rows.integer(3) == 1 ? "me" : rows.text(4);
            if (rows.integer(5) == 2003) {
                laughRows.push_back({author, associatedTarget(rows.text(6))});
            }
            if (rows.integer(5) != 0 || rows.integer(7) != 0) {
                continue;
            }
            std::optional<std::string> text = rows.optionalText(1);
            if (!text && rows.blob(2)) {
                text = decodeAttributedBody(*rows.blob(2));
            }
            if (text && !text->empty()) {
                ++kept;
                ++senders[author];
                authorOfKept[rows.text(0)] = author;
            }
        }
        for (const Laugh& laugh : laughRows) {
            const auto it = authorOfKept.find(laugh.target);
            if (it != authorOfKept.end() && it->second != laugh.by) {
                ++laughs[it->second];
            }
        }
        EXPECT_EQ(group.at("messages").get<std::int64_t>(), kept);
        using LaughCounts = std::map<std::string, std::int64_t>;
        EXPECT_EQ(group.at("laughReactions").get<LaughCounts>(), laughs);
        EXPECT_EQ(group.at("senders").get<LaughCounts>(), senders);
    }
}

TEST_F(GeneratedHome, OneToOneChatsHoldTheRowsReadersMustHandle) {
    const std::string plain = "m.associated_message_type = 0 AND m.item_type = 0";
    const std::int64_t plainRows = oneToOneRows(plain);
    const std::int64_t blobOnly =
        oneToOneRows(plain + " AND m.text IS NULL AND m.attributedBody IS NOT NULL");
    EXPECT_GT(blobOnly, plainRows / 10);
    EXPECT_LT(blobOnly, plainRows / 5);
    EXPECT_GT(oneToOneRows(plain + " AND m.text IS NULL AND m.attributedBody IS NULL"), 0);
    EXPECT_GT(oneToOneRows(plain + " AND m.text = '' AND m.attributedBody IS NOT NULL"), 0);
    EXPECT_GT(oneToOneRows("m.associated_message_type BETWEEN 2000 AND 2005"), 0);
    EXPECT_GT(oneToOneRows("m.associated_message_type BETWEEN 3000 AND 3005"), 0);
    for (int itemType : {1, 2, 3}) {
        EXPECT_GT(oneToOneRows("m.associated_message_type = 0 AND m.item_type = " + std::to_string(itemType)),
                  0)
            << "item_type " << itemType;
    }

    // Bodies only in attributedBody, short and long (the two-byte length form), and bodies that
    // cannot be read at all.
    std::size_t longest = 0;
    int over127 = 0;
    int unreadable = 0;
    const Db db = messages();
    auto rows =
        db.query("SELECT attributedBody FROM message WHERE text IS NULL AND attributedBody IS NOT NULL "
                 "AND associated_message_type = 0 AND item_type = 0");
    while (rows.next()) {
        const auto text = decodeAttributedBody(*rows.blob(0));
        if (!text) {
            ++unreadable;
            continue;
        }
        longest = std::max(longest, text->size());
        over127 += text->size() > 127 ? 1 : 0;
    }
    EXPECT_GT(over127, 0);
    EXPECT_GT(longest, 300u);
    EXPECT_GT(unreadable, 0);

    // The oldest rows store whole seconds; everything else nanoseconds.
    const std::int64_t secondsRows = db.scalar("SELECT COUNT(*) FROM message WHERE date < 100000000000");
    EXPECT_GT(secondsRows, 0);
    EXPECT_LT(secondsRows, 50);
    EXPECT_LT(db.scalar("SELECT MAX(date) * 1000000000 FROM message WHERE date < 100000000000"),
              db.scalar("SELECT MIN(date) FROM message WHERE date >= 100000000000"));

    // Unread messages from people (spam may sit unread for weeks) exist and are mostly from the
    // last week.
    const std::string unreadFromPeople = plain +
                                         " AND m.is_from_me = 0 AND m.is_read = 0 AND m.handle_id NOT IN "
                                         "(SELECT ROWID FROM handle WHERE id IN ('72345', "
                                         "'noreply@shipalerts.example'))";
    const std::int64_t unread = oneToOneRows(unreadFromPeople);
    const std::int64_t recentUnread =
        oneToOneRows(unreadFromPeople + " AND m.date >= " +
                     std::to_string((kNow - kAppleEpochUnixSeconds - 7 * kSecondsPerDay) * kNanosPerSecond));
    EXPECT_GT(unread, 0);
    EXPECT_GT(recentUnread * 2, unread);
}

TEST_F(GeneratedHome, HandlesAndChatsCoverTheAwkwardCases) {
    const Db db = messages();
    const json& threads = summary_.at("oneToOne").at("threads");

    // Spam: a short code and a no-reply sender, both receive-only.
    for (const std::string handle : {"72345", "noreply@shipalerts.example"}) {
        ASSERT_TRUE(threads.contains(handle)) << handle;
        EXPECT_GT(threads.at(handle).at("messages").get<int>(), 0);
        EXPECT_EQ(threads.at(handle).at("fromMe").get<int>(), 0);
    }

    // One number under two spellings, each in its own one-to-one chat.
    EXPECT_TRUE(threads.contains("+15551230001"));
    EXPECT_TRUE(threads.contains("5551230001"));
    EXPECT_EQ(db.scalar("SELECT COUNT(*) FROM chat WHERE style = 45 AND chat_identifier IN "
                        "('+15551230001', '5551230001')"),
              2);

    // A handle whose first chat has no name and whose later chat has one.
    auto chats =
        db.query("SELECT h.id, c.display_name FROM chat c JOIN chat_handle_join j ON j.chat_id = c.ROWID "
                 "JOIN handle h ON h.ROWID = j.handle_id WHERE c.style = 45 AND h.ROWID IN "
                 "(SELECT j2.handle_id FROM chat_handle_join j2 JOIN chat c2 ON c2.ROWID = j2.chat_id "
                 "WHERE c2.style = 45 GROUP BY j2.handle_id HAVING COUNT(*) > 1) ORDER BY c.ROWID");
    std::map<std::string, std::vector<std::optional<std::string>>> names;
    while (chats.next()) {
        names[chats.text(0)].push_back(chats.optionalText(1));
    }
    bool renamedLater = false;
    for (const auto& [handle, list] : names) {
        if (list.size() == 2 && (!list[0] || list[0]->empty()) && list[1] && !list[1]->empty()) {
            renamedLater = true;
            EXPECT_FALSE(threads.at(handle).contains("displayName")) << handle;
        }
    }
    EXPECT_TRUE(renamedLater);
}

TEST_F(GeneratedHome, GroupChatsHoldTheLaughCasesReadersMustNotCount) {
    const Db db = messages();
    EXPECT_GE(db.scalar("SELECT COUNT(*) FROM chat WHERE style = 43"), 6);
    EXPECT_EQ(db.scalar("SELECT COUNT(*) FROM chat WHERE style = 43 AND display_name IS NULL"), 1);
    EXPECT_EQ(db.scalar("SELECT COUNT(*) FROM chat WHERE style = 43 AND display_name = ''"), 1);

    const std::string laughs =
        "SELECT COUNT(*) FROM message r JOIN chat_message_join rj ON rj.message_id = r.ROWID "
        "JOIN chat c ON c.ROWID = rj.chat_id AND c.style = 43 "
        "JOIN message t ON t.guid = CASE WHEN r.associated_message_guid LIKE 'bp:%' "
        "THEN substr(r.associated_message_guid, 4) "
        "ELSE substr(r.associated_message_guid, instr(r.associated_message_guid, '/') + 1) END "
        "WHERE r.associated_message_type = 2003 ";
    EXPECT_GT(db.scalar(laughs + "AND r.associated_message_guid LIKE 'bp:%'"), 0);
    EXPECT_GT(db.scalar(laughs + "AND r.associated_message_guid LIKE 'p:0/%'"), 0);
    EXPECT_GT(db.scalar(laughs + "AND r.is_from_me = 1 AND r.handle_id = 0"), 0);
    EXPECT_GE(db.scalar(laughs + "AND r.is_from_me = t.is_from_me AND r.handle_id = t.handle_id"), 1);
    EXPECT_GE(db.scalar(laughs + "AND t.text = ''"), 1);
    // Every laugh points at a message of its own chat.
    EXPECT_EQ(db.scalar(laughs +
                        "AND NOT EXISTS (SELECT 1 FROM chat_message_join tj WHERE tj.message_id = t.ROWID "
                        "AND tj.chat_id = rj.chat_id)"),
              0);
}

TEST_F(GeneratedHome, DatesStayInsideTheFourteenMonthsBeforeNow) {
    const Db db = messages();
    auto rows = db.query("SELECT MIN(date), MAX(date) FROM message WHERE date >= 100000000000");
    ASSERT_TRUE(rows.next());
    EXPECT_GT(testing::dateSeconds(rows.integer(0)), kNowSince2001 - 430.0 * 86400.0);
    EXPECT_LT(testing::dateSeconds(rows.integer(1)), kNowSince2001);
    EXPECT_GT(testing::dateSeconds(db.scalar("SELECT MIN(date) FROM message")),
              kNowSince2001 - 430.0 * 86400.0);
    EXPECT_EQ(db.scalar("SELECT COUNT(*) FROM message m JOIN chat_message_join j ON j.message_id = m.ROWID "
                        "WHERE j.message_date != m.date"),
              0);
    EXPECT_EQ(
        db.scalar(
            "SELECT COUNT(*) FROM message WHERE ROWID NOT IN (SELECT message_id FROM chat_message_join)"),
        0);
}

TEST_F(GeneratedHome, NewestRowsAreOnlyInTheWal) {
    namespace fs = std::filesystem;
    const fs::path wal = result_.messagesDatabase.string() + "-wal";
    ASSERT_TRUE(fs::exists(wal));
    EXPECT_GT(fs::file_size(wal), 0u);
    EXPECT_TRUE(fs::exists(result_.messagesDatabase.string() + "-shm"));
    EXPECT_GT(result_.rowsInWal, 0);

    const Db live = messages();
    auto mode = live.query("PRAGMA journal_mode");
    ASSERT_TRUE(mode.next());
    EXPECT_EQ(mode.text(0), "wal");
    const std::int64_t all = live.scalar("SELECT COUNT(*) FROM message");
    EXPECT_EQ(all, summary_.at("messageRows").get<std::int64_t>());

    TempDir copyDir;
    const fs::path copy = copyDir.path() / "chat.db";
    fs::copy_file(result_.messagesDatabase, copy);
    const Db withoutWal(copy);
    const std::int64_t checkpointed = withoutWal.scalar("SELECT COUNT(*) FROM message");
    EXPECT_LT(checkpointed, all);
    EXPECT_EQ(all - checkpointed, result_.rowsInWal);
    // What is missing is the newest rows, about the last two days.
    const std::int64_t newestCheckpointed = withoutWal.scalar("SELECT MAX(date) FROM message");
    EXPECT_EQ(live.scalar("SELECT COUNT(*) FROM message WHERE date > " + std::to_string(newestCheckpointed)),
              all - checkpointed);
    EXPECT_LT(testing::dateSeconds(newestCheckpointed), kNowSince2001 - 2.0 * 86400.0);
    EXPECT_GE(testing::dateSeconds(live.scalar("SELECT MIN(date) FROM message WHERE date > " +
                                               std::to_string(newestCheckpointed))),
              kNowSince2001 - 2.0 * 86400.0);
}

TEST_F(GeneratedHome, ContactsResolveHandlesToTheSummaryNames) {
    namespace fs = std::filesystem;
    ASSERT_TRUE(fs::exists(result_.addressBook));
    ASSERT_TRUE(fs::exists(result_.secondaryAddressBook));
    EXPECT_EQ(result_.addressBook.parent_path().parent_path().filename(), "Sources");
    const Db book(result_.addressBook);
    const Db small(result_.secondaryAddressBook);
    EXPECT_LT(small.scalar("SELECT COUNT(*) FROM ZABCDRECORD"),
              book.scalar("SELECT COUNT(*) FROM ZABCDRECORD"));
    EXPECT_GT(fs::file_size(result_.addressBook), fs::file_size(result_.secondaryAddressBook));

    EXPECT_EQ(summary_.at("contacts").at("cards").get<std::int64_t>(),
              book.scalar("SELECT COUNT(*) FROM ZABCDRECORD r WHERE (COALESCE(r.ZFIRSTNAME, '') != '' OR "
                          "COALESCE(r.ZLASTNAME, '') != '') AND (EXISTS (SELECT 1 FROM ZABCDPHONENUMBER p "
                          "WHERE p.ZOWNER = r.Z_PK) OR EXISTS (SELECT 1 FROM ZABCDEMAILADDRESS e "
                          "WHERE e.ZOWNER = r.Z_PK))"));

    // name -> what the card can be reached by
    std::multimap<std::string, std::string> reachable;
    auto phones = book.query("SELECT TRIM(COALESCE(r.ZFIRSTNAME, '') || ' ' || COALESCE(r.ZLASTNAME, '')), "
                             "p.ZFULLNUMBER FROM ZABCDRECORD r JOIN ZABCDPHONENUMBER p ON p.ZOWNER = r.Z_PK");
    std::set<std::string> spellings;
    while (phones.next()) {
        reachable.emplace(phones.text(0), digitsOf(phones.text(1)));
        const std::string number = phones.text(1);
        spellings.insert(number.find('(') != std::string::npos   ? "parens"
                         : number.find('.') != std::string::npos ? "dots"
                         : number.rfind("1-", 0) == 0            ? "dashes with 1"
                                                                 : "other");
    }
    EXPECT_EQ(spellings.size(), 4u);
    bool caseDiffers = false;
    auto emails = book.query("SELECT TRIM(COALESCE(r.ZFIRSTNAME, '') || ' ' || COALESCE(r.ZLASTNAME, '')), "
                             "e.ZADDRESS FROM ZABCDRECORD r JOIN ZABCDEMAILADDRESS e ON e.ZOWNER = r.Z_PK");
    while (emails.next()) {
        reachable.emplace(emails.text(0), lower(emails.text(1)));
    }

    const json& names = summary_.at("contacts").at("names");
    for (const auto& [handle, name] : names.items()) {
        SCOPED_TRACE(handle);
        const bool isEmail = handle.find('@') != std::string::npos;
        const std::string key = isEmail ? lower(handle) : digitsOf(handle);
        bool found = false;
        for (auto [it, end] = reachable.equal_range(name.get<std::string>()); it != end; ++it) {
            found = found || it->second == key;
        }
        EXPECT_TRUE(found) << "no card named " << name << " reaches " << handle;
        if (isEmail) {
            auto stored = book.query("SELECT ZADDRESS FROM ZABCDEMAILADDRESS WHERE ZADDRESSNORMALIZED = ?");
            stored.bind(1, lower(handle));
            while (stored.next()) {
                caseDiffers = caseDiffers || stored.text(0) != handle;
            }
        }
    }
    EXPECT_TRUE(caseDiffers);
    EXPECT_FALSE(names.contains("72345"));
    EXPECT_FALSE(names.contains("noreply@shipalerts.example"));
    EXPECT_TRUE(names.contains("5551230001"));

    // Some real people have no card at all.
    int unknown = 0;
    for (const json& p : summary_.at("people")) {
        if (p.at("habit") != "spam" && !names.contains(p.at("handle").get<std::string>())) {
            ++unknown;
        }
    }
    EXPECT_GE(unknown, 2);
}

// ---- runs of their own ----

struct Home {
    TempDir dir;
    DemoHomeResult result;
    explicit Home(std::uint64_t seed, std::int64_t messages = 2500)
        : result(generateDemoHome({dir.path(), seed, messages, kNow, false})) {}
};

TEST(DemoHomeContent, SameSeedGivesTheSameContent) {
    const Home a(11);
    const Home b(11);
    EXPECT_EQ(readFile(a.result.summary), readFile(b.result.summary));
    EXPECT_EQ(Db(a.result.messagesDatabase).dump(), Db(b.result.messagesDatabase).dump());
    EXPECT_EQ(a.result.addressBook.lexically_relative(a.dir.path()),
              b.result.addressBook.lexically_relative(b.dir.path()));
    EXPECT_EQ(Db(a.result.addressBook).dump(), Db(b.result.addressBook).dump());
    EXPECT_EQ(Db(a.result.secondaryAddressBook).dump(), Db(b.result.secondaryAddressBook).dump());
}

TEST(DemoHomeContent, MessageCountFollowsTheRequest) {
    for (std::int64_t requested : {1000, 40000}) {
        SCOPED_TRACE(requested);
        const Home home(5, requested);
        const std::int64_t rows = Db(home.result.messagesDatabase).scalar("SELECT COUNT(*) FROM message");
        EXPECT_EQ(rows, home.result.messageRows);
        EXPECT_NEAR(static_cast<double>(rows), static_cast<double>(requested),
                    0.06 * static_cast<double>(requested));
    }
}

TEST(DemoHomeContent, RefusesToReplaceAnExistingDatabaseUnlessForced) {
    const Home home(1, 1000);
    EXPECT_THROW(generateDemoHome({home.dir.path(), 2, 1000, kNow, false}), DemoHomeExistsError);
    EXPECT_EQ(readJson(home.result.summary).at("seed").get<int>(), 1);

    const DemoHomeResult again = generateDemoHome({home.dir.path(), 2, 1000, kNow, true});
    EXPECT_EQ(readJson(again.summary).at("seed").get<int>(), 2);
    EXPECT_EQ(Db(again.messagesDatabase).scalar("SELECT COUNT(*) FROM message"), again.messageRows);
}

TEST(DemoHomeContent, RejectsOptionsItCannotHonour) {
    TempDir dir;
    EXPECT_THROW(generateDemoHome({dir.path(), 1, 10, kNow, false}), std::invalid_argument);
    EXPECT_THROW(generateDemoHome({dir.path(), 1, 2000, 0, false}), std::invalid_argument);
    EXPECT_THROW(generateDemoHome({std::filesystem::path(), 1, 2000, kNow, false}), std::invalid_argument);
    EXPECT_FALSE(std::filesystem::exists(messagesDatabasePath(dir.path())));
}

TEST(NewYorkTime, FollowsUsDaylightSavingRules) {
    const std::int64_t march9 = daysFromCivil(2025, 3, 9) * kSecondsPerDay;
    EXPECT_EQ(newYorkUtcOffsetSeconds(march9 + 7 * 3600 - 1), -5 * 3600);
    EXPECT_EQ(newYorkUtcOffsetSeconds(march9 + 7 * 3600), -4 * 3600);
    const std::int64_t november2 = daysFromCivil(2025, 11, 2) * kSecondsPerDay;
    EXPECT_EQ(newYorkUtcOffsetSeconds(november2 + 6 * 3600 - 1), -4 * 3600);
    EXPECT_EQ(newYorkUtcOffsetSeconds(november2 + 6 * 3600), -5 * 3600);
    EXPECT_EQ(newYorkUtcOffsetSeconds(daysFromCivil(2024, 12, 25) * kSecondsPerDay), -5 * 3600);

    // 2025-07-04 12:00 EDT is 16:00 UTC; 2025-01-15 23:30 EST is 04:30 UTC the next day.
    EXPECT_EQ(newYorkLocalToUnix(daysFromCivil(2025, 7, 4) * kSecondsPerDay + 12 * 3600),
              daysFromCivil(2025, 7, 4) * kSecondsPerDay + 16 * 3600);
    EXPECT_EQ(newYorkLocalToUnix(daysFromCivil(2025, 1, 15) * kSecondsPerDay + 23 * 3600 + 1800),
              daysFromCivil(2025, 1, 16) * kSecondsPerDay + 4 * 3600 + 1800);

    EXPECT_EQ(daysFromCivil(1970, 1, 1), 0);
    EXPECT_EQ(daysFromCivil(2001, 1, 1) * kSecondsPerDay, kAppleEpochUnixSeconds);
    for (std::int64_t day = -800; day < 30000; day += 17) {
        int y = 0;
        int m = 0;
        int d = 0;
        civilFromDays(day, y, m, d);
        ASSERT_EQ(daysFromCivil(y, m, d), day);
    }
}

} // namespace
} // namespace demohome
