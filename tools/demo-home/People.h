#pragma once

#include "TextBank.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace demohome {

enum class Tier { Heavy, Mid, Tail, Rare, Spam };
enum class Hours { Daytime, Night };

enum class ChatSetup {
    Single,           // one chat for the handle
    TwoHandles,       // the number also appears spelled without "+1" over SMS, in its own chat
    RenamedLaterChat, // a second chat for the same handle, newer, which has a display name
};

struct Card {
    std::optional<std::string> firstName;
    std::optional<std::string> lastName;
    std::optional<std::string> organization;
    std::vector<std::pair<std::string, std::string>> phones; // as typed, label
    std::vector<std::pair<std::string, std::string>> emails; // as typed, label

    [[nodiscard]] std::string displayName() const;
    [[nodiscard]] bool hasName() const { return !displayName().empty(); }
};

struct Person {
    std::string habit;
    std::string handle;
    std::string service = "iMessage";
    ChatSetup chatSetup = ChatSetup::Single;
    std::string secondHandle;                   // TwoHandles
    std::optional<std::string> chatDisplayName; // the chat's name (the later chat's for RenamedLaterChat)
    std::optional<Card> card;

    Tier tier = Tier::Mid;
    double weight = 1.0; // share of the one-to-one volume, Heavy and Mid
    int fixedRows = 0;   // Tail, Rare and Spam

    double replyMedianSeconds = 300.0;
    double replySigma = 1.0;
    double initiateShare = 0.5;
    double doubleTextShare = 0.2; // chance that one of their turns holds 2 to 4 messages
    Hours hours = Hours::Daytime;
    double sessionLength = 8.0;  // mean messages per conversation at the base volume
    double activeFraction = 1.0; // how much of the 14 months they text in
    WritingStyle style;
    std::optional<SpamVoice> spam;
};

struct CastGroup {
    std::optional<std::string> name;  // NULL in the database when absent
    std::vector<std::string> members; // handles, in the order they were added
    double weight = 1.0;
};

struct GroupOnlyContact {
    std::string handle;
    std::optional<Card> card;
    WritingStyle style;
};

// Everyone in the sample home folder: the owner, their contacts and their group chats.
struct Cast {
    std::string myPhone;
    std::string myEmail;
    WritingStyle myStyle;
    double myReplyMedianSeconds = 180.0;
    double myReplySigma = 1.0;

    std::vector<Person> people;
    std::vector<GroupOnlyContact> groupOnly;
    std::vector<CastGroup> groups;
    std::vector<Card> otherCards; // cards that match no handle
    Card myCard;
};

// The same seed and message count always give the same cast. Larger counts add people and groups.
Cast makeCast(std::uint64_t seed, std::int64_t messages);

// A phone number as someone would type it into Contacts; variant picks the spelling.
std::string formatPhone(const std::string& e164, int variant);

} // namespace demohome
