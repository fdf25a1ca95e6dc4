#pragma once

#include "Identifiers.h"
#include "People.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace demohome {

enum class EventKind : std::uint8_t { Message, Reaction, Item };

// How a message row carries its text.
enum class Body : std::uint8_t {
    Text,              // in the text column
    TextAndBlob,       // in the text column and in attributedBody
    BlobOnly,          // text NULL; only attributedBody holds it
    Nothing,           // text NULL, attributedBody NULL
    UnreadableBlob,    // text NULL; attributedBody cut off before the text
    EmptyTextWithBlob, // text ''; attributedBody holds real text, which readers must not use
    EmptyText,         // text '', attributedBody NULL
};

inline constexpr std::int32_t kMe = -1;

struct PlannedEvent {
    std::int64_t nanos = 0;    // since 2001-01-01 UTC
    std::uint32_t id = 0;      // creation order, kept through sorting
    std::uint32_t chat = 0;    // index into DemoPlan::chats
    std::int32_t sender = kMe; // index into DemoPlan::handles
    EventKind kind = EventKind::Message;
    Body body = Body::Text;
    bool bodyFixed = false; // placed on purpose; the random body assignment leaves it alone
    bool isRead = true;
    bool dateInSeconds = false; // the oldest rows store whole seconds, as older macOS did
    bool bpPrefix = false;      // associated guid written "bp:GUID" rather than "p:0/GUID"
    std::int16_t associatedType = 0;
    std::int8_t itemType = 0;
    std::uint32_t target = 0; // id of the message a reaction points at
    std::int32_t otherHandle = -1;
    bool laughReply = false; // a group message written as a laugh at the message before it
    Uuid guid;
    std::string text; // the message text, whatever Body says about where it is stored
};

struct PlannedHandle {
    std::string id;
    std::string service;
};

// The part the owner was written to play in a group chat.
enum class GroupPart : std::uint8_t { Comedian, Engine, Instigator, Lurker, Regular };

// "The Comedian", "The Engine", ...
std::string_view groupPartTitle(GroupPart part);

struct PlannedChat {
    std::string guid;
    int style = 45;
    std::optional<std::string> displayName;
    std::string identifier;
    std::string service;
    std::vector<std::uint32_t> handles; // join order
    // Groups only.
    std::optional<GroupPart> ownerPart = std::nullopt;
};

struct DemoPlan {
    std::uint64_t seed = 0;
    std::int64_t nowNanos = 0;
    Cast cast;
    std::vector<PlannedHandle> handles;
    std::vector<PlannedChat> chats;
    std::vector<PlannedEvent> events;        // ascending by date, no two rows at the same instant
    std::vector<std::uint32_t> positionOfId; // events[positionOfId[id]].id == id
    std::size_t walStart = 0;                // events from here on are committed to the WAL only
};

DemoPlan buildDemoPlan(std::uint64_t seed, std::int64_t messages, std::int64_t nowUnixSeconds);

// What a reader gets as the message text: the text column when it is not NULL, else the text in
// attributedBody, else nothing.
std::optional<std::string> readableText(const PlannedEvent& event);
// The stored date value and the same instant in seconds since 2001 as a reader computes it.
std::int64_t storedDate(const PlannedEvent& event);
double readerSeconds(const PlannedEvent& event);

} // namespace demohome
