#include "AttributedBody.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"
#include "MessagesDatabase.h"
#include "TempDir.h"

#include <fstream>
#include <gtest/gtest.h>

using namespace dovrel;
namespace fs = std::filesystem;

namespace {

constexpr std::int64_t nanos = 1'000'000'000;
constexpr std::int64_t base = 700'000'000; // seconds since 2001: March 2023

// A raw date in nanoseconds, `offset` seconds after the base, and the point in time it stands for.
constexpr std::int64_t at(std::int64_t offset) {
    return (base + offset) * nanos;
}
constexpr Date dateAt(std::int64_t offset) {
    return Date{static_cast<double>(base + offset)};
}

// A Messages database written row by row in the real schema.
class ChatDb {
public:
    explicit ChatDb(const fs::path& path)
        : db_(path) {}

    std::int64_t oneToOne(const std::string& handle, std::optional<std::string> displayName = std::nullopt) {
        const std::int64_t handleRow = handleFor(handle);
        const std::int64_t chat = db_.addChat("iMessage;-;" + handle + ";" + std::to_string(++chats_),
                                              demohome::kChatStyleOneToOne, displayName, handle);
        db_.joinChatHandle(chat, handleRow);
        return chat;
    }

    std::int64_t message(std::int64_t chat, demohome::MessageRow row) {
        row.guid = "MSG-" + std::to_string(++messages_);
        const std::int64_t id = db_.addMessage(row);
        db_.joinChatMessage(chat, id, row.date);
        return id;
    }

    std::int64_t text(std::int64_t chat, std::int64_t date, std::string body, bool fromMe = false,
                      bool read = true) {
        demohome::MessageRow row;
        row.text = std::move(body);
        row.date = date;
        row.isFromMe = fromMe;
        row.isRead = read;
        return message(chat, row);
    }

    demohome::MessagesDatabase& db() { return db_; }

private:
    std::int64_t handleFor(const std::string& handle) {
        auto found = handles_.find(handle);
        if (found != handles_.end()) {
            return found->second;
        }
        const std::int64_t id = db_.addHandle(handle);
        handles_.emplace(handle, id);
        return id;
    }

    demohome::MessagesDatabase db_;
    std::map<std::string, std::int64_t> handles_;
    int chats_ = 0;
    int messages_ = 0;
};

const ContactThread* find(const std::vector<ContactThread>& threads, const std::string& handle) {
    for (const ContactThread& thread : threads) {
        if (thread.handleID == handle) {
            return &thread;
        }
    }
    return nullptr;
}

} // namespace

TEST(MessageStoreTest, EmptyDatabaseGivesNoThreads) {
    const TempDir dir;
    { ChatDb chat(dir.path() / "chat.db"); }
    MessageStore store((dir.path() / "chat.db").string());
    ReadCounts counts;
    EXPECT_TRUE(store.oneToOneThreads(&counts).empty());
    EXPECT_EQ(counts.rows, 0u);
}

TEST(MessageStoreTest, TextBodyAndDropRules) {
    const TempDir dir;
    {
        ChatDb chat(dir.path() / "chat.db");
        const std::int64_t ann = chat.oneToOne("+15550000001");
        chat.text(ann, at(1), "plain");
        demohome::MessageRow fromBody;
        fromBody.date = at(2);
        fromBody.attributedBody = demohome::encodeAttributedBody("only in the body \U0001F602");
        chat.message(ann, fromBody);
        demohome::MessageRow emptyWithBody; // an empty text never falls back to the body
        emptyWithBody.text = "";
        emptyWithBody.date = at(3);
        emptyWithBody.attributedBody = demohome::encodeAttributedBody("should not be read");
        chat.message(ann, emptyWithBody);
        demohome::MessageRow unreadableBody;
        unreadableBody.date = at(4);
        unreadableBody.attributedBody = std::vector<std::uint8_t>{'N', 'S', 'S', 't', 'r', 'i', 'n', 'g'};
        chat.message(ann, unreadableBody);
        demohome::MessageRow nothing;
        nothing.date = at(5);
        chat.message(ann, nothing);
        demohome::MessageRow reaction; // left out by the statement
        reaction.text = "Loved \u201cplain\u201d";
        reaction.date = at(6);
        reaction.associatedMessageType = 2000;
        chat.message(ann, reaction);
        demohome::MessageRow groupEvent;
        groupEvent.text = "renamed";
        groupEvent.date = at(7);
        groupEvent.itemType = 2;
        chat.message(ann, groupEvent);
        chat.text(ann, at(8), "  untouched \n", true, false);
    }
    MessageStore store((dir.path() / "chat.db").string());
    ReadCounts counts;
    const auto threads = store.oneToOneThreads(&counts);
    ASSERT_EQ(threads.size(), 1u);
    const std::vector<RawMessage> expected{
        {dateAt(1), false, "plain", true},
        {dateAt(2), false, "only in the body \U0001F602", false},
        {dateAt(8), true, "  untouched \n", true}, // sent messages are read whatever the column says
    };
    EXPECT_EQ(threads[0].messages, expected);
    EXPECT_EQ(counts.rows, 6u);
    EXPECT_EQ(counts.dropped, 3u);
}

TEST(MessageStoreTest, HandlesMergeAcrossChatsAndTheFirstRowNamesTheThread) {
    const TempDir dir;
    {
        ChatDb chat(dir.path() / "chat.db");
        const std::int64_t first = chat.oneToOne("+15550000002");             // no display name
        const std::int64_t second = chat.oneToOne("+15550000002", "Bea SMS"); // same handle, named
        const std::int64_t other = chat.oneToOne("5550000002", "Bea");        // same number, other spelling
        const std::int64_t seconds = chat.oneToOne("old@example.com", "Old Friend");
        chat.text(second, at(20), "later, in the named chat");
        chat.text(first, at(10), "first, in the unnamed chat", false, false);
        chat.text(other, at(15), "other spelling");
        chat.text(first, at(30), "third");
        chat.text(second, at(35), "fourth");
        chat.text(seconds, 600'000'000, "seconds, not nanoseconds");
        chat.text(seconds, at(40), "new");
        chat.text(seconds, 9'999'999'999, "seconds, the largest");
    }
    MessageStore store((dir.path() / "chat.db").string());
    const auto threads = store.oneToOneThreads();
    ASSERT_EQ(threads.size(), 3u);
    EXPECT_EQ(threads[0].handleID, "+15550000002"); // most messages first
    EXPECT_EQ(threads[0].displayName, std::nullopt);
    ASSERT_EQ(threads[0].messages.size(), 4u);
    EXPECT_EQ(threads[0].messages[0].text, "first, in the unnamed chat");
    EXPECT_FALSE(threads[0].messages[0].isRead);
    EXPECT_EQ(threads[0].messages[1].date, dateAt(20));
    EXPECT_EQ(threads[0].messages[2].text, "third");

    const ContactThread* otherSpelling = find(threads, "5550000002");
    ASSERT_NE(otherSpelling, nullptr);
    EXPECT_EQ(otherSpelling->displayName, "Bea");

    // Old rows count seconds and so sort before nanosecond rows. The messages keep the statement's order by
    // raw value: 9,999,999,999 is read as seconds (year 2317) yet comes before the nanosecond row.
    const ContactThread* old = find(threads, "old@example.com");
    ASSERT_NE(old, nullptr);
    ASSERT_EQ(old->messages.size(), 3u);
    EXPECT_EQ(old->messages[0].date, Date{600'000'000});
    EXPECT_EQ(old->messages[1].date, Date{9'999'999'999});
    EXPECT_EQ(old->messages[2].date, dateAt(40));
}

TEST(MessageStoreTest, ReadsTheNewestRowsFromTheWriteAheadLogOfACopy) {
    const TempDir dir;
    const fs::path live = dir.path() / "chat.db";
    {
        ChatDb chat(live);
        const std::int64_t ann = chat.oneToOne("+15550000003");
        chat.text(ann, at(1), "checkpointed");
        chat.db().switchToWal();
        chat.db().begin();
        chat.text(ann, at(2), "only in the log");
        chat.db().commit();
        chat.db().closeLeavingWal();
    }
    ASSERT_GT(fs::file_size(live.string() + "-wal"), 0u);
    const ReadingCopy copy = MessageStore::copyForReading(live);
    MessageStore store(copy.string());
    const auto threads = store.oneToOneThreads();
    ASSERT_EQ(threads.size(), 1u);
    EXPECT_EQ(threads[0].messages.size(), 2u);
    EXPECT_EQ(threads[0].messages.back().text, "only in the log");
}

// One damaged cell must not take the whole history down: a row whose read cell is unusable is dropped as a
// row with no date is, and a damaged cell nobody reads changes nothing.
TEST(MessageStoreTest, DamagedCellsDropTheirRowOnlyAndTheGivenFileIsNeverWritten) {
    const TempDir dir;
    const fs::path path = dir.path() / "chat.db";
    {
        ChatDb chat(path);
        const std::int64_t ann = chat.oneToOne("+15550000004");
        const std::int64_t group = chat.db().addChat("chat-group", demohome::kChatStyleGroup, "Crew", "crew");
        for (int i = 1; i <= 9; ++i) {
            chat.text(ann, at(i), "one " + std::to_string(i));
            chat.text(group, at(i), "group " + std::to_string(i), true);
        }
        for (const char* member : {"+15550000005", "+15550000006"}) {
            chat.db().joinChatHandle(group, chat.db().addHandle(member));
        }
    }
    SQLiteDB(path.string(), false)
        .execute("UPDATE message SET date = 1e19 WHERE text IN ('one 1', 'group 1');"
                 "UPDATE message SET date = 9e999 WHERE text IN ('one 2', 'group 2');"
                 "UPDATE message SET is_from_me = 1e300 WHERE text IN ('one 3', 'group 3');"
                 "UPDATE message SET is_read = 9e999 WHERE text = 'one 4';"
                 "UPDATE message SET date = -9223372036854775808 WHERE text IN ('one 5', 'group 5');"
                 "UPDATE message SET date_read = 1e300, error = -9e999;" // read by no one
                 "UPDATE message SET associated_message_type = 1e300 WHERE text = 'group 6';");
    std::ifstream before(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(before)), std::istreambuf_iterator<char>());

    MessageStore store(path.string());
    ReadCounts counts;
    const std::vector<ContactThread> threads = store.oneToOneThreads(&counts);
    ASSERT_EQ(threads.size(), 1u);
    std::vector<std::string> texts;
    for (const RawMessage& message : threads[0].messages) {
        texts.push_back(message.text);
    }
    EXPECT_EQ(texts, (std::vector<std::string>{"one 6", "one 7", "one 8", "one 9"}));
    EXPECT_EQ(counts.dropped, 5u);

    const std::vector<GroupThread> groups = store.groupThreads(1);
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0].messages.size(), 4u); // group 4 and 7 to 9

    std::ifstream after(path, std::ios::binary);
    EXPECT_EQ(std::string((std::istreambuf_iterator<char>(after)), std::istreambuf_iterator<char>()), bytes)
        << "the reader wrote to the file it was given";
}

TEST(MessageStoreTest, MissingTablesAndColumnsAreNamed) {
    const TempDir dir;
    EXPECT_THROW(MessageStore((dir.path() / "absent.db").string()), SQLiteError);
    const fs::path empty = dir.path() / "empty.db";
    std::ofstream(empty).flush();
    const fs::path older = dir.path() / "older.db";
    { ChatDb chat(older); }
    {
        SQLiteDB db(older.string(), false);
        for (const SQLRow& index :
             db.query("SELECT name FROM sqlite_schema WHERE type = 'index' AND sql LIKE '%is_read%'")) {
            db.execute("DROP INDEX " + *index.string("name"));
        }
        db.execute("ALTER TABLE message DROP COLUMN is_read; DROP TABLE chat_handle_join");
    }
    // What is missing, as "table.column"; the failure keeps its own case.
    const auto missing = [](const fs::path& file, bool groups) {
        MessageStore store(file.string());
        try {
            groups ? (void)store.groupThreads(1) : (void)store.oneToOneThreads();
        } catch (const MissingSchemaError& error) {
            EXPECT_EQ(error.errorCase(), SQLiteError::Case::prepareFailed);
            return error.table() + "." + error.column();
        }
        return std::string("nothing");
    };
    EXPECT_EQ(missing(empty, false), ".");
    EXPECT_EQ(missing(older, false), "chat_handle_join.");
    EXPECT_EQ(missing(older, true), "chat_handle_join.");
    SQLiteDB(older.string(), false)
        .execute("CREATE TABLE chat_handle_join(chat_id INTEGER, handle_id INTEGER)");
    EXPECT_EQ(missing(older, false), "message.is_read");
    EXPECT_EQ(missing(older, true), "nothing"); // group chats read no is_read
}
