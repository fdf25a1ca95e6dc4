#include "AttributedBody.h"
#include "MessageSources/MessageStore.h"
#include "MessagesDatabase.h"
#include "TempDir.h"

#include <gtest/gtest.h>

using namespace dovrel;
namespace fs = std::filesystem;

namespace {

constexpr std::int64_t nanos = 1'000'000'000;
constexpr std::int64_t base = 700'000'000; // seconds since 2001: March 2023

constexpr std::int64_t at(std::int64_t offset) {
    return (base + offset) * nanos;
}
constexpr Date dateAt(std::int64_t offset) {
    return Date{static_cast<double>(base + offset)};
}

const std::string ana = "+15550000001";
const std::string ben = "+15550000002";
const std::string cat = "cat@example.com";
using Sender = std::optional<std::string>; // absent: the user
const Sender me;

// A Messages database with group chats, written row by row in the real schema.
class GroupDb {
public:
    explicit GroupDb(const fs::path& path)
        : db_(path) {}

    std::int64_t group(const std::vector<std::string>& members,
                       std::optional<std::string> name = std::nullopt) {
        const std::string identifier = "chat" + std::to_string(900'000 + ++chats_);
        const std::int64_t chat =
            db_.addChat("iMessage;+;" + identifier, demohome::kChatStyleGroup, std::move(name), identifier);
        for (const std::string& member : members) {
            db_.joinChatHandle(chat, handle(member));
        }
        return chat;
    }

    // The same number over SMS is a second handle row with the same id.
    void joinOverSMS(std::int64_t chat, const std::string& member) {
        db_.joinChatHandle(chat, db_.addHandle(member, "SMS"));
    }

    std::int64_t oneToOne(const std::string& member) {
        const std::int64_t chat =
            db_.addChat("iMessage;-;" + member, demohome::kChatStyleOneToOne, "", member);
        db_.joinChatHandle(chat, handle(member));
        return chat;
    }

    // A row dated `date` from `from`, with a fresh guid; the caller fills in the rest.
    demohome::MessageRow row(std::int64_t date, const Sender& from) {
        demohome::MessageRow r;
        r.guid = "MSG-" + std::to_string(++messages_);
        r.date = date;
        r.isFromMe = !from.has_value();
        r.handleId = from ? handle(*from) : 0;
        return r;
    }

    // Returns the message's guid.
    std::string write(std::int64_t chat, const demohome::MessageRow& r) {
        db_.joinChatMessage(chat, db_.addMessage(r), r.date);
        return r.guid;
    }

    std::string say(std::int64_t chat, std::int64_t date, const Sender& from, const std::string& text) {
        demohome::MessageRow r = row(date, from);
        r.text = text;
        return write(chat, r);
    }

    void react(std::int64_t chat, std::int64_t date, const Sender& from,
               const std::optional<std::string>& target, int type = 2003) {
        demohome::MessageRow r = row(date, from);
        r.text = "Laughed at a message";
        r.associatedMessageType = type;
        r.associatedMessageGuid = target;
        write(chat, r);
    }

    demohome::MessagesDatabase& db() { return db_; }

private:
    std::int64_t handle(const std::string& id) {
        const auto found = handles_.find(id);
        if (found != handles_.end()) {
            return found->second;
        }
        return handles_[id] = db_.addHandle(id);
    }

    demohome::MessagesDatabase db_;
    std::map<std::string, std::int64_t> handles_;
    int chats_ = 0;
    int messages_ = 0;
};

// `count` plain messages, one minute apart, the voices taking turns.
void chatter(GroupDb& db, std::int64_t chat, int count, std::int64_t start,
             const std::vector<Sender>& voices) {
    for (int i = 0; i < count; ++i) {
        db.say(chat, at(start + 60 * i), voices[static_cast<std::size_t>(i) % voices.size()],
               "line " + std::to_string(i));
    }
}

const GroupThread* find(const std::vector<GroupThread>& groups, const std::string& guidSuffix) {
    for (const GroupThread& group : groups) {
        if (group.guid.ends_with(guidSuffix)) {
            return &group;
        }
    }
    return nullptr;
}

} // namespace

TEST(GroupThreadsTest, KeepsChatsWithEnoughPlainMessagesAndTwoDistinctMembers) {
    const TempDir dir;
    const fs::path path = dir.path() / "chat.db";
    {
        GroupDb db(path);
        const std::int64_t enough = db.group({ana, ben}, "Enough"); // chat900001
        chatter(db, enough, 25, 0, {me, ana, ben});
        demohome::MessageRow event = db.row(at(5000), ana); // a member joining: not a plain message
        event.itemType = 1;
        db.write(enough, event);

        const std::int64_t oneShort = db.group({ana, ben}); // chat900002
        chatter(db, oneShort, 24, 10'000, {ana, me});
        // Neither reactions nor rows that make no message lift it to 25.
        for (int i = 0; i < 4; ++i) {
            db.react(oneShort, at(20'000 + i), ben, "p:0/MSG-" + std::to_string(30 + i));
        }
        db.react(oneShort, at(20'010), ben, "p:0/MSG-31", 2000);
        demohome::MessageRow empty = db.row(at(20'020), ben);
        empty.text = "";
        db.write(oneShort, empty);

        const std::int64_t alone = db.group({ana}); // chat900003: one member row
        chatter(db, alone, 30, 30'000, {ana, me});

        // The same number over iMessage and SMS is listed twice but is one participant.
        const std::int64_t twice = db.group({ana, ben}); // chat900004
        db.joinOverSMS(twice, ana);
        chatter(db, twice, 26, 40'000, {ben, ana});

        const std::int64_t direct = db.oneToOne(cat);
        chatter(db, direct, 40, 50'000, {cat, me});
    }

    MessageStore store(path.string());
    const std::vector<GroupThread> groups = store.groupThreads(25);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0].guid, "iMessage;+;chat900004"); // most messages first
    EXPECT_EQ(groups[0].messages.size(), 26u);
    EXPECT_EQ(groups[0].participants, (std::vector<std::string>{ana, ben}));
    EXPECT_EQ(groups[0].id(), groups[0].guid);
    EXPECT_EQ(groups[1].guid, "iMessage;+;chat900001");
    EXPECT_EQ(groups[1].name, "Enough");
    EXPECT_EQ(groups[1].messages.size(), 25u);

    const std::vector<GroupThread> lower = store.groupThreads(24);
    ASSERT_EQ(lower.size(), 3u);
    const GroupThread* oneShort = find(lower, "chat900002");
    ASSERT_NE(oneShort, nullptr);
    EXPECT_EQ(oneShort->messages.size(), 24u);
    EXPECT_EQ(oneShort->name, std::nullopt);
    EXPECT_EQ(find(store.groupThreads(0), "chat900003"), nullptr);
}

TEST(GroupThreadsTest, LaughsCreditTheAuthorOfTheKeptMessageTheyPointAt) {
    const TempDir dir;
    const fs::path path = dir.path() / "chat.db";
    {
        GroupDb db(path);
        const std::int64_t chat = db.group({ana, ben});
        const std::int64_t other = db.group({ana, cat});
        const std::string elsewhere = db.say(other, at(1), cat, "in another chat");

        const std::string mine = db.say(chat, at(10), me, "mine");
        const std::string anas = db.say(chat, at(20), ana, "ana's");
        demohome::MessageRow empty = db.row(at(25), ben);
        empty.text = "";
        const std::string dropped = db.write(chat, empty);
        db.react(chat, at(30), ben, "p:0/MSG-99"); // the message it laughs at comes later
        demohome::MessageRow late = db.row(at(40), ana);
        late.guid = "MSG-99";
        late.text = "ana again";
        db.write(chat, late);

        db.react(chat, at(50), ana, "p:0/" + mine);    // at the user: "me"
        db.react(chat, at(51), me, "bp:" + anas);      // by the user at Ana
        db.react(chat, at(52), ben, mine);             // a bare guid is the target itself
        db.react(chat, at(53), ana, "p:1/" + anas);    // Ana at herself
        db.react(chat, at(54), me, "p:0/" + mine);     // the user at themself
        db.react(chat, at(55), ben, "p:0/" + dropped); // at a message that was not kept
        db.react(chat, at(56), ben, std::nullopt);     // no target at all
        db.react(chat, at(57), ben, "p:0/" + elsewhere);
        db.react(chat, at(58), ben, "p:0/" + anas, 2000); // a heart, not a laugh
        db.react(chat, at(59), ben, "p:0/" + anas, 3003); // taking a laugh back is not seen
    }

    MessageStore store(path.string());
    const std::vector<GroupThread> groups = store.groupThreads(2);
    ASSERT_EQ(groups.size(), 1u);
    const GroupThread& group = groups[0];
    const std::vector<GroupMessage> expected{
        {dateAt(10), me, "mine"},
        {dateAt(20), ana, "ana's"},
        {dateAt(40), ana, "ana again"},
    };
    EXPECT_EQ(group.messages, expected);
    EXPECT_EQ(group.laughReactions, (std::map<std::string, int>{{"me", 2}, {ana, 2}}));
}

TEST(GroupThreadsTest, IdentityNamesAndBodies) {
    const TempDir dir;
    const fs::path path = dir.path() / "chat.db";
    std::int64_t unnamedRow = 0;
    {
        GroupDb db(path);
        unnamedRow = db.group({ana, ben}, "");
        const std::int64_t named = db.group({ben, cat, ana}, "Trip \u2708\uFE0F");

        db.say(unnamedRow, at(1), ana, "hi");
        db.say(unnamedRow, at(2), ben, "hey");

        demohome::MessageRow bodyOnly = db.row(at(3), cat);
        bodyOnly.attributedBody = demohome::encodeAttributedBody("only in the body \U0001F602");
        db.write(named, bodyOnly);
        demohome::MessageRow emptyWithBody = db.row(at(4), ana); // an empty text never falls back to the body
        emptyWithBody.text = "";
        emptyWithBody.attributedBody = demohome::encodeAttributedBody("not to be read");
        db.write(named, emptyWithBody);
        demohome::MessageRow nothing = db.row(at(5), ana);
        db.write(named, nothing);
        demohome::MessageRow unreadable = db.row(at(6), ana);
        unreadable.attributedBody = demohome::truncatedAttributedBody("cut short", 14);
        db.write(named, unreadable);
        db.say(named, 600'000'000, me, "an old row in seconds");
        db.say(named, at(7), me, "  kept as it is \n");
        // Received, yet with no handle row: nothing names a sender, so it reads as the user's.
        demohome::MessageRow anonymous = db.row(at(8), me);
        anonymous.text = "who said this";
        db.write(named, anonymous);
        db.db().connection().exec("UPDATE message SET is_from_me = 0 WHERE text = 'who said this'");
    }
    {
        // The shipped schema declares chat.guid NOT NULL; damaged and foreign databases need not.
        SQLiteDB raw(path.string(), false);
        raw.execute(
            "PRAGMA writable_schema = ON;"
            "UPDATE sqlite_master SET sql = replace(sql, 'guid TEXT UNIQUE NOT NULL', 'guid TEXT UNIQUE') "
            "WHERE name = 'chat';"
            "PRAGMA writable_schema = OFF;");
    }
    SQLiteDB(path.string(), false)
        .execute("UPDATE chat SET guid = NULL WHERE ROWID = " + std::to_string(unnamedRow));

    MessageStore store(path.string());
    const std::vector<GroupThread> groups = store.groupThreads(1);
    ASSERT_EQ(groups.size(), 2u);
    const GroupThread& named = groups[0];
    EXPECT_EQ(named.name, "Trip \u2708\uFE0F");
    EXPECT_EQ(named.participants, (std::vector<std::string>{ben, cat, ana}));
    const std::vector<GroupMessage> expected{
        {Date{600'000'000}, me, "an old row in seconds"}, // sorted by the stored value
        {dateAt(3), cat, "only in the body \U0001F602"},
        {dateAt(7), me, "  kept as it is \n"},
        {dateAt(8), me, "who said this"},
    };
    EXPECT_EQ(named.messages, expected);

    const GroupThread& unnamed = groups[1];
    EXPECT_EQ(unnamed.guid, "chat-" + std::to_string(unnamedRow));
    EXPECT_EQ(unnamed.name, std::nullopt);
    EXPECT_EQ(unnamed.messages.size(), 2u);
}

TEST(GroupThreadsTest, EitherStatementFailingThrows) {
    const TempDir dir;
    const fs::path path = dir.path() / "chat.db";
    {
        GroupDb db(path);
        chatter(db, db.group({ana, ben}), 30, 0, {ana, ben, me});
    }
    {
        MessageStore store(path.string());
        EXPECT_EQ(store.groupThreads(25).size(), 1u);
    }
    SQLiteDB(path.string(), false).execute("DROP TABLE chat_handle_join");
    MessageStore noMembers(path.string());
    EXPECT_THROW(noMembers.groupThreads(25), SQLiteError); // the second statement

    SQLiteDB(path.string(), false).execute("DROP TABLE chat_message_join");
    MessageStore noMessages(path.string());
    try {
        noMessages.groupThreads(25);
        FAIL();
    } catch (const SQLiteError& error) {
        EXPECT_EQ(error.errorCase(), SQLiteError::Case::prepareFailed);
    }

    const fs::path emptyPath = dir.path() / "empty.db";
    { GroupDb empty(emptyPath); }
    EXPECT_TRUE(MessageStore(emptyPath.string()).groupThreads(0).empty());
}
