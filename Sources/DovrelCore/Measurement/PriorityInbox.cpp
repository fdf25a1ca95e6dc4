#include "Measurement/PriorityInbox.h"

#include "Foundation/Unicode.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <unicode/uchar.h>
#include <unordered_set>

namespace dovrel::PriorityInbox {
namespace {

constexpr std::size_t promptTextLimit = 120;

bool isNumeric(char32_t codePoint) {
    return u_getIntPropertyValue(static_cast<UChar32>(codePoint), UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

int numericCount(std::string_view text) {
    int count = 0;
    std::size_t offset = 0;
    while (offset < text.size()) {
        count += isNumeric(unicode::decodeNext(text, offset)) ? 1 : 0;
    }
    return count;
}

// A grapheme that breaks a line: LF, VT, FF, CR, CR LF, NEL, and the Unicode line and paragraph separators.
bool isLineBreak(std::string_view grapheme) {
    return grapheme == "\n" || grapheme == "\r" || grapheme == "\r\n" || grapheme == "\v" ||
           grapheme == "\f" || grapheme == "\u0085" || grapheme == "\u2028" || grapheme == "\u2029";
}

// The text on one line (each line break a blank), cut to its first `limit` user-perceived characters.
std::string oneLine(std::string_view text, std::size_t limit) {
    std::string line;
    line.reserve(std::min(text.size(), limit * 4));
    std::size_t kept = 0;
    unicode::forEachGrapheme(text, [&](std::string_view grapheme) {
        if (kept == limit) {
            return;
        }
        ++kept;
        if (isLineBreak(grapheme)) {
            line += ' ';
        } else {
            line += grapheme;
        }
    });
    return line;
}

std::string_view trimmed(std::string_view text) {
    // A carriage return is trimmed too, so a reply with CR LF line ends reads like one with LF.
    constexpr std::string_view blanks = " \t\r";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    const auto last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

// A whole decimal integer with an optional sign, nothing else.
std::optional<long long> integer(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text.front() == '-') {
            return std::nullopt;
        }
    }
    long long value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

} // namespace

bool isLikelySpamHandle(std::string_view handle) {
    if (handle.find('@') == std::string_view::npos && numericCount(handle) < 7) {
        return true;
    }
    const std::string lower = unicode::lowercased(handle);
    for (const std::string_view marker : {"noreply", "no-reply", "donotreply", "do-not-reply", "no_reply"}) {
        if (lower.find(marker) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::vector<Item> candidates(std::span<const ContactThread> threads, Date now, int limit) {
    std::vector<const ContactThread*> references;
    references.reserve(threads.size());
    for (const ContactThread& thread : threads) {
        references.push_back(&thread);
    }
    return candidates(references, now, limit);
}

std::vector<Item> candidates(std::span<const ContactThread* const> threads, Date now, int limit) {
    std::vector<Item> items;
    if (limit <= 0) {
        return items;
    }
    for (const ContactThread* each : threads) {
        const ContactThread& thread = *each;
        const std::vector<RawMessage>& messages = thread.messages;
        if (messages.empty() || messages.back().isFromMe || isLikelySpamHandle(thread.handleID)) {
            continue;
        }
        int fromMe = 0;
        for (const RawMessage& message : messages) {
            if (message.isFromMe && ++fromMe == minimumMessagesFromMe) {
                break;
            }
        }
        if (fromMe < minimumMessagesFromMe) {
            continue;
        }
        const double waitingHours = (now - messages.back().date) / 3600.0;
        if (!(waitingHours >= minimumWaitingHours && waitingHours <= maximumWaitingHours)) {
            continue;
        }
        int unread = 0;
        for (auto message = messages.rbegin(); message != messages.rend() && !message->isFromMe; ++message) {
            unread += message->isRead ? 0 : 1;
        }
        const double decay = 1.0 / (waitingHours / 48.0 + 1.0);
        const double size = std::log2(static_cast<double>(messages.size()) + 1.0);
        const double boost = unread >= 1 ? 2.0 : 1.0;
        items.push_back({thread.handleID, thread.displayName, messages.back(), waitingHours, unread,
                         static_cast<int>(messages.size()), decay * size * boost});
    }
    std::stable_sort(items.begin(), items.end(),
                     [](const Item& a, const Item& b) { return a.score > b.score; });
    if (items.size() > static_cast<std::size_t>(limit)) {
        items.resize(static_cast<std::size_t>(limit));
    }
    return items;
}

std::string selectPrompt(std::span<const Item> items, const std::map<std::string, std::string>& names,
                         int pick) {
    const std::string picks = std::to_string(pick);
    std::string prompt =
        "Below are conversations where someone texted me last and I haven't replied. Select the ones a real "
        "friend, family member, or colleague would genuinely expect a reply to. SKIP anything promotional, "
        "automated, transactional, group-blast, verification codes, or trivial dead ends. Judge from the "
        "actual last message and the relationship size.\n\nReply with at most " +
        picks +
        " lines, most urgent first, exactly this format and nothing else:\nN. one short reason to reply (max "
        "10 words)\nIf fewer than " +
        picks + " deserve a reply, list fewer.";
    prompt += "\n";
    int number = 0;
    for (const Item& item : items) {
        const auto named = names.find(item.handleID);
        const std::string& name =
            named != names.end() ? named->second : item.displayName.value_or(item.handleID);
        prompt += "\n" + std::to_string(++number) + ". " + name + " — waiting " +
                  std::to_string(static_cast<long long>(std::trunc(item.waitingHours))) + "h";
        if (item.unreadCount >= 1) {
            prompt += ", " + std::to_string(item.unreadCount) + " unread";
        }
        prompt += ", " + std::to_string(item.totalMessages) + " messages all-time. Last message: \"" +
                  oneLine(item.lastMessage.text, promptTextLimit) + "\"";
    }
    return prompt;
}

std::vector<Pick> parseSelection(std::string_view reply, std::span<const Item> items, int maxPicks) {
    std::vector<Pick> picks;
    std::unordered_set<std::string_view> picked;
    std::size_t start = 0;
    while (start <= reply.size() && picks.size() < static_cast<std::size_t>(std::max(maxPicks, 0))) {
        const std::size_t end = std::min(reply.find('\n', start), reply.size());
        const std::string_view line = trimmed(reply.substr(start, end - start));
        start = end + 1;

        const std::size_t stop = line.find('.');
        if (stop == std::string_view::npos) {
            continue;
        }
        const std::optional<long long> number = integer(line.substr(0, stop));
        if (!number || *number < 1 || static_cast<unsigned long long>(*number) > items.size()) {
            continue;
        }
        const Item& item = items[static_cast<std::size_t>(*number - 1)];
        if (!picked.insert(item.handleID).second) {
            continue;
        }
        picks.push_back({item, std::string(trimmed(line.substr(stop + 1)))});
    }
    return picks;
}

} // namespace dovrel::PriorityInbox
