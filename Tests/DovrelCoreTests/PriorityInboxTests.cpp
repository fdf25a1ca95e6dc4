#include "Measurement/PriorityInbox.h"
#include "MeasurementSupport.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace dovrel;
using namespace measurementtest;

namespace {

const Date now{800'000'000.0};

RawMessage unread(Date date, std::string text = "ok") {
    return {date, false, std::move(text), false};
}

// A thread of `fromMe` messages of the user a day apart, ending with the other person's message sent
// `hoursAgo` before `now`.
ContactThread waiting(std::string handle, double hoursAgo, int fromMe = 3, bool lastUnread = false) {
    std::vector<RawMessage> messages;
    const Date last = now - hoursAgo * 3600.0;
    for (int i = fromMe; i >= 1; --i) {
        messages.push_back(mine(last - 86400.0 * i));
    }
    messages.push_back(lastUnread ? unread(last, "you there?") : theirs(last, "you there?"));
    return thread(std::move(handle), std::move(messages));
}

std::vector<std::string> handlesOf(const std::vector<PriorityInbox::Item>& items) {
    std::vector<std::string> handles;
    for (const auto& item : items) {
        handles.push_back(item.handleID);
    }
    return handles;
}

PriorityInbox::Item item(std::string handle, double hours, int unreadCount, int total, std::string text,
                         std::optional<std::string> name = std::nullopt) {
    return {std::move(handle),
            std::move(name),
            theirs(now - hours * 3600.0, std::move(text)),
            hours,
            unreadCount,
            total,
            1.0};
}

const std::string instruction =
    "Below are conversations where someone texted me last and I haven't replied. Select the ones a real "
    "friend, "
    "family member, or colleague would genuinely expect a reply to. SKIP anything promotional, automated, "
    "transactional, group-blast, verification codes, or trivial dead ends. Judge from the actual last "
    "message "
    "and the relationship size.\n\nReply with at most 5 lines, most urgent first, exactly this format and "
    "nothing else:\nN. one short reason to reply (max 10 words)\nIf fewer than 5 deserve a reply, list "
    "fewer.";

} // namespace

TEST(PriorityInboxTest, SpamHandlesAreShortCodesAndNoReplyAddresses) {
    EXPECT_TRUE(PriorityInbox::isLikelySpamHandle("22395"));
    EXPECT_TRUE(PriorityInbox::isLikelySpamHandle("123456"));
    EXPECT_FALSE(PriorityInbox::isLikelySpamHandle("1234567"));
    EXPECT_FALSE(PriorityInbox::isLikelySpamHandle("+1 (555) 010-4477"));
    // Digits in another script are numbers too.
    EXPECT_FALSE(PriorityInbox::isLikelySpamHandle("٥٥٥١٢٣٤٥٦٧"));
    // An address is not judged by its digits.
    EXPECT_FALSE(PriorityInbox::isLikelySpamHandle("ann@example.com"));
    EXPECT_TRUE(PriorityInbox::isLikelySpamHandle("NoReply@bank.example"));
    EXPECT_TRUE(PriorityInbox::isLikelySpamHandle("alerts-do-not-reply@shop.example"));
    EXPECT_TRUE(PriorityInbox::isLikelySpamHandle("no_reply@x.example"));
    // A phone number with the words still counts as spam by the second rule.
    EXPECT_TRUE(PriorityInbox::isLikelySpamHandle("+15550104477 donotreply"));
    EXPECT_TRUE(PriorityInbox::isLikelySpamHandle("reply"));
}

TEST(PriorityInboxTest, OnlyThreadsWaitingOnTheUserQualify) {
    std::vector<ContactThread> threads = {
        thread("+15550000001", {}),
        // The user spoke last, however unread the rest.
        thread("+15550000002", {unread(now - 200000.0), unread(now - 150000.0), mine(now - 100000.0),
                                mine(now - 30000.0), mine(now - 20000.0)}),
        waiting("+15550000003", 5.0, 2),
        waiting("+15550000004", 5.0, 3),
        waiting("55555", 5.0, 10),
    };
    const auto items = PriorityInbox::candidates(threads, now, 15);
    EXPECT_EQ(handlesOf(items), std::vector<std::string>{"+15550000004"});
}

TEST(PriorityInboxTest, WaitingBoundsAreInclusive) {
    const std::vector<ContactThread> threads = {
        waiting("+15550000001", 1.99),   waiting("+15550000002", 2.0),  waiting("+15550000003", 720.0),
        waiting("+15550000004", 720.01), waiting("+15550000005", -3.0),
    };
    const auto items = PriorityInbox::candidates(threads, now, 15);
    ASSERT_EQ(handlesOf(items), (std::vector<std::string>{"+15550000002", "+15550000003"}));
    EXPECT_DOUBLE_EQ(items[0].waitingHours, 2.0);
    EXPECT_DOUBLE_EQ(items[1].waitingHours, 720.0);
}

TEST(PriorityInboxTest, UnreadCountStopsAtTheUsersLastMessage) {
    const std::vector<ContactThread> threads = {thread(
        "+15550000001", {unread(now - 9000.0 * 3600.0), mine(now - 100.0 * 3600.0), mine(now - 99.0 * 3600.0),
                         unread(now - 98.0 * 3600.0), mine(now - 97.0 * 3600.0), unread(now - 96.0 * 3600.0),
                         theirs(now - 95.0 * 3600.0), unread(now - 94.0 * 3600.0, "hello?")})};
    const auto items = PriorityInbox::candidates(threads, now, 15);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].unreadCount, 2);
    EXPECT_EQ(items[0].totalMessages, 8);
    EXPECT_EQ(items[0].lastMessage, threads[0].messages.back());
    EXPECT_DOUBLE_EQ(items[0].waitingHours, 94.0);
}

TEST(PriorityInboxTest, ScoreDecaysWithAgeGrowsWithSizeAndDoublesWhenUnread) {
    // 48 hours halves the score; 3 of the user's messages and one of theirs make log2(5).
    const std::vector<ContactThread> threads = {waiting("+15550000001", 48.0),
                                                waiting("+15550000002", 48.0, 3, true)};
    const auto items = PriorityInbox::candidates(threads, now, 15);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].handleID, "+15550000002");
    EXPECT_EQ(items[0].unreadCount, 1);
    EXPECT_DOUBLE_EQ(items[0].score, 2.0 * 0.5 * std::log2(5.0));
    EXPECT_DOUBLE_EQ(items[1].score, 0.5 * std::log2(5.0));
}

TEST(PriorityInboxTest, BestFirstEqualScoresKeepTheirOrderAndTheLimitCuts) {
    const std::vector<ContactThread> threads = {
        waiting("+15550000001", 100.0), waiting("+15550000002", 10.0), waiting("+15550000003", 100.0),
        waiting("+15550000004", 10.0, 30), waiting("+15550000005", 100.0)};
    EXPECT_EQ(handlesOf(PriorityInbox::candidates(threads, now, 15)),
              (std::vector<std::string>{"+15550000004", "+15550000002", "+15550000001", "+15550000003",
                                        "+15550000005"}));
    EXPECT_EQ(handlesOf(PriorityInbox::candidates(threads, now, 3)),
              (std::vector<std::string>{"+15550000004", "+15550000002", "+15550000001"}));
    EXPECT_TRUE(PriorityInbox::candidates(threads, now, 0).empty());
}

TEST(PriorityInboxTest, PromptListsEachItemOnOneLine) {
    // Four "é" written as e and a combining accent, one character each, with an LF and a CR LF between them,
    // then enough thumbs (with a skin tone, one character each) to pass 120 characters.
    std::string text = "e\u0301e\u0301\ne\u0301\r\ne\u0301";
    for (int i = 0; i < 130; ++i) {
        text += "👍🏽";
    }
    std::string cut = "e\u0301e\u0301 e\u0301 e\u0301";
    for (int i = 0; i < 114; ++i) {
        cut += "👍🏽";
    }
    const std::vector<PriorityInbox::Item> items = {
        item("+15550000001", 47.9, 0, 12, "see you at 8", "Ann Lee"),
        item("+15550000002", 2.0, 3, 410, text, "Bob"),
        item("+15550000003", 720.0, 1, 5, "line one\nline two"),
    };
    const std::map<std::string, std::string> names = {{"+15550000002", "Robert Fox"}};
    EXPECT_EQ(PriorityInbox::selectPrompt(items, names, 5),
              instruction + "\n\n" +
                  "1. Ann Lee — waiting 47h, 12 messages all-time. Last message: \"see you at 8\"\n"
                  "2. Robert Fox — waiting 2h, 3 unread, 410 messages all-time. Last message: \"" +
                  cut +
                  "\"\n"
                  "3. +15550000003 — waiting 720h, 1 unread, 5 messages all-time. Last message: \"line one "
                  "line two\"");
}

TEST(PriorityInboxTest, PromptWithoutItemsEndsWithTheEmptyLine) {
    EXPECT_EQ(PriorityInbox::selectPrompt({}, {}, 5), instruction + "\n");
    const std::string three = PriorityInbox::selectPrompt({}, {}, 3);
    EXPECT_NE(three.find("at most 3 lines"), std::string::npos);
    EXPECT_NE(three.find("If fewer than 3 deserve"), std::string::npos);
}

TEST(PriorityInboxTest, ReplyPicksFollowTheReplyOrderAndSkipWhatDoesNotFit) {
    const std::vector<PriorityInbox::Item> offered = {item("a@x.example", 3, 0, 9, "one"),
                                                      item("b@x.example", 3, 0, 9, "two"),
                                                      item("c@x.example", 3, 0, 9, "three")};
    const auto picks = PriorityInbox::parseSelection(
        "2. sounds urgent\n2. again\n9. nothing\nSure!\n1. old friend", offered);
    ASSERT_EQ(picks.size(), 2u);
    EXPECT_EQ(picks[0], (PriorityInbox::Pick{offered[1], "sounds urgent"}));
    EXPECT_EQ(picks[1], (PriorityInbox::Pick{offered[0], "old friend"}));

    // No full stop; a number before the first one only; zero, negative and non-numbers; blanks and CR LF.
    const auto odd = PriorityInbox::parseSelection("Here you go:\n1) hello\n0. zero\n-1. minus\n2 . "
                                                   "spaced\nx. letter\n\t 1.5. hello \r\n  3.\tcall back\t",
                                                   offered);
    ASSERT_EQ(odd.size(), 2u);
    EXPECT_EQ(odd[0].item.handleID, "a@x.example");
    EXPECT_EQ(odd[0].reason, "5. hello");
    EXPECT_EQ(odd[1].item.handleID, "c@x.example");
    EXPECT_EQ(odd[1].reason, "call back");

    EXPECT_TRUE(PriorityInbox::parseSelection("1. yes", {}).empty());
    EXPECT_TRUE(PriorityInbox::parseSelection("", offered).empty());
}

TEST(PriorityInboxTest, ReplyReadingStopsAtFivePicks) {
    std::vector<PriorityInbox::Item> offered;
    for (int i = 1; i <= 7; ++i) {
        offered.push_back(item("+1555000000" + std::to_string(i), 3, 0, 9, "hi"));
    }
    const auto picks = PriorityInbox::parseSelection("7. a\n6. b\n5. c\n4. d\n3. e\n2. f\n1. g", offered);
    ASSERT_EQ(picks.size(), 5u);
    EXPECT_EQ(picks.front().item.handleID, "+15550000007");
    EXPECT_EQ(picks.back().item.handleID, "+15550000003");
    EXPECT_EQ(PriorityInbox::parseSelection("7. a\n6. b\n5. c", offered, 2).size(), 2u);
}
