#pragma once

#include "Foundation/Calendar.h"
#include "Foundation/Date.h"
#include "Measurement/Sentiment.h"
#include "MessageSources/MessageRecords.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Up to three things worth raising without being asked: someone close waits on a reply, a close
// relationship has cooled, a once-constant contact has gone quiet.
namespace dovrel::Proactive {

struct Insight {
    enum class Kind { waiting, warmthDip, neglected };

    Kind kind = Kind::waiting;
    std::string handleID;
    // The line shown to the user.
    std::string text;
    // The question offered to the coach.
    std::string starter;

    bool operator==(const Insight&) const = default;

    // "waiting", "warmthDip", "neglected".
    static std::string_view rawValue(Kind kind);
    static std::optional<Kind> kindNamed(std::string_view raw);
};

using NameResolver = std::function<std::string(const std::string& handle)>;

// How many of `topHandles` each rule looks at.
inline constexpr std::size_t waitingPeople = 15;
inline constexpr std::size_t warmthDipPeople = 8;
inline constexpr std::size_t neglectedPeople = 10;

// At most one insight per rule, in the order waiting, warmth dip, neglected. `threads` has one thread per
// handle; `topHandles` is most important first; a handle without a thread is passed over.
std::vector<Insight> detect(std::span<const ContactThread> threads, std::span<const std::string> topHandles,
                            const NameResolver& resolveName, const Calendar& calendar, Date now);
// The same with another sentiment scorer for the warmth of months.
std::vector<Insight> detect(std::span<const ContactThread> threads, std::span<const std::string> topHandles,
                            const NameResolver& resolveName, const Calendar& calendar, Date now,
                            const Sentiment::Scorer& scorer);
// The same over threads held elsewhere, e.g. a corpus shared with the caller.
std::vector<Insight> detect(std::span<const ContactThread* const> threads,
                            std::span<const std::string> topHandles, const NameResolver& resolveName,
                            const Calendar& calendar, Date now);
std::vector<Insight> detect(std::span<const ContactThread* const> threads,
                            std::span<const std::string> topHandles, const NameResolver& resolveName,
                            const Calendar& calendar, Date now, const Sentiment::Scorer& scorer);

// "47 hours" below 48 hours, then whole days: "2 days".
std::string age(double hours);

} // namespace dovrel::Proactive
