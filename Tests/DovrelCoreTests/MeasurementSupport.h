#pragma once

#include "Foundation/Calendar.h"
#include "MessageSources/MessageRecords.h"

#include <string>
#include <vector>

// Builders for threads in tests. Times are seconds from an arbitrary origin unless a calendar makes them.
namespace measurementtest {

inline dovrel::RawMessage mine(double seconds, std::string text = "ok") {
    return {dovrel::Date{seconds}, true, std::move(text), true};
}
inline dovrel::RawMessage theirs(double seconds, std::string text = "ok") {
    return {dovrel::Date{seconds}, false, std::move(text), true};
}
inline dovrel::RawMessage mine(dovrel::Date date, std::string text = "ok") {
    return {date, true, std::move(text), true};
}
inline dovrel::RawMessage theirs(dovrel::Date date, std::string text = "ok") {
    return {date, false, std::move(text), true};
}

inline dovrel::ContactThread thread(std::string handle, std::vector<dovrel::RawMessage> messages,
                                    std::optional<std::string> name = std::nullopt) {
    return {std::move(handle), std::move(name), std::move(messages)};
}

// `count` messages alternating sides, one minute apart, starting with the other person.
inline std::vector<dovrel::RawMessage> chatter(int count, double start = 0.0) {
    std::vector<dovrel::RawMessage> messages;
    for (int i = 0; i < count; ++i) {
        messages.push_back({dovrel::Date{start + 60.0 * i}, i % 2 == 1, "ok", true});
    }
    return messages;
}

} // namespace measurementtest
