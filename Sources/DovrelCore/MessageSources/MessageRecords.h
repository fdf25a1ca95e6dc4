#pragma once

#include "Foundation/Date.h"

#include <optional>
#include <string>
#include <vector>

namespace dovrel {

// One message of a one-to-one thread. There is no message identifier: the database's row identity is not
// kept.
struct RawMessage {
    Date date;
    bool isFromMe = false;
    std::string text;    // never empty in a record read from the database
    bool isRead = false; // always true on the user's own messages

    bool operator==(const RawMessage&) const = default;
};

// All messages exchanged with one handle (a phone number as stored, or an e-mail address), oldest first.
struct ContactThread {
    std::string handleID;
    std::optional<std::string> displayName;
    std::vector<RawMessage> messages;

    bool operator==(const ContactThread&) const = default;
};

} // namespace dovrel
