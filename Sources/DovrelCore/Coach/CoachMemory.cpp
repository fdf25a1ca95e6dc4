#include "Coach/CoachMemory.h"

#include "Format/Format.h"
#include "Foundation/Json.h"
#include "Foundation/UUID.h"
#include "Foundation/Unicode.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <nlohmann/json.hpp>
#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unordered_set>

namespace dovrel {
namespace {

using Json = nlohmann::json;

bool isLineBreak(char32_t c) {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

bool isBulletOrSpace(char32_t c) {
    return c == '-' || c == U'\u2022' || c == ' ';
}

std::string nfc(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* normalizer = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status) || text.size() > static_cast<std::size_t>(std::numeric_limits<int32_t>::max())) {
        return std::string(text);
    }
    std::string out;
    icu::StringByteSink<std::string> sink(&out);
    normalizer->normalizeUTF8(0, icu::StringPiece(text.data(), static_cast<int32_t>(text.size())), sink,
                              nullptr, status);
    return U_SUCCESS(status) ? out : std::string(text);
}

// Texts that look the same are the same note, whichever way their accents are encoded.
bool holdsText(const std::vector<MemoryEntry>& entries, const std::string& text) {
    const std::string wanted = nfc(text);
    return std::any_of(entries.begin(), entries.end(), [&](const MemoryEntry& entry) {
        return entry.text == text || nfc(entry.text) == wanted;
    });
}

constexpr std::string_view extractionHeader =
    "You maintain a texting coach's memory about one user. Current entries:\n";
constexpr std::string_view extractionMiddle = "\n\nLatest exchange in this coaching session:\n";
constexpr std::string_view extractionRules =
    "\n\nEmit ONLY a JSON object of memory operations — no prose:\n"
    "{\"ops\":[\n"
    "  {\"op\":\"add\",\"kind\":\"fact|goal|commitment\",\"text\":\"...\"},\n"
    "  {\"op\":\"resolve\",\"ref\":3},\n"
    "  {\"op\":\"remove\",\"ref\":5}\n"
    "]}\n"
    "Rules: \"fact\" = durable relationship/person facts. \"goal\" = what the user wants to change. "
    "\"commitment\" = a specific action the user said they'd take. \"resolve\" marks a goal/commitment done "
    "(ref = entry number). \"remove\" deletes wrong or obsolete entries. Add only what matters next session "
    "— usually 0-2 ops. No duplicates of existing entries. {\"ops\":[]} if nothing qualifies.";

constexpr std::string_view summaryInstruction =
    "Summarize this coaching session in ONE sentence (max 25 words) capturing what we worked on and where it "
    "landed — the note a coach would keep. Reply with only the sentence.\n\n";

} // namespace

std::string_view MemoryEntry::rawValue(Kind kind) {
    switch (kind) {
    case Kind::fact:
        return "fact";
    case Kind::goal:
        return "goal";
    case Kind::commitment:
        return "commitment";
    case Kind::session:
        return "session";
    }
    return "fact";
}

std::optional<MemoryEntry::Kind> MemoryEntry::kindNamed(std::string_view raw) {
    for (const Kind kind : {Kind::fact, Kind::goal, Kind::commitment, Kind::session}) {
        if (rawValue(kind) == raw) {
            return kind;
        }
    }
    return std::nullopt;
}

void to_json(nlohmann::json& out, const MemoryEntry& entry) {
    out = Json::object();
    out["id"] = entry.id;
    out["kind"] = MemoryEntry::rawValue(entry.kind);
    out["text"] = entry.text;
    out["date"] = entry.date;
    out["done"] = entry.done;
}

void from_json(const nlohmann::json& in, MemoryEntry& entry) {
    json::expectObject(in, "a memory entry");
    const auto id = canonicalUUID(json::required<std::string>(in, "id"));
    if (!id) {
        throw json::DecodeError("id: expected a UUID");
    }
    const auto rawKind = json::required<std::string>(in, "kind");
    const auto kind = MemoryEntry::kindNamed(rawKind);
    if (!kind) {
        throw json::DecodeError("kind: unknown memory kind \"" + rawKind + "\"");
    }
    entry.id = *id;
    entry.kind = *kind;
    entry.text = json::required<std::string>(in, "text");
    entry.date = json::required<Date>(in, "date");
    entry.done = json::required<bool>(in, "done");
}

namespace CoachMemory {

void from_json(const nlohmann::json& in, Op& op) {
    json::expectObject(in, "an operation");
    op.op = json::required<std::string>(in, "op");
    op.kind = json::optional<std::string>(in, "kind");
    op.text = json::optional<std::string>(in, "text");
    op.ref = json::optionalInteger(in, "ref");
}

void from_json(const nlohmann::json& in, OpsEnvelope& envelope) {
    json::expectObject(in, "an operation list");
    envelope.ops = json::required<std::vector<Op>>(in, "ops");
}

std::string numbered(std::span<const MemoryEntry> entries) {
    if (entries.empty()) {
        return "(none yet)";
    }
    std::string out;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const MemoryEntry& entry = entries[i];
        if (i > 0) {
            out += '\n';
        }
        out += std::to_string(i + 1);
        out += ". [";
        out += MemoryEntry::rawValue(entry.kind);
        out += ']';
        if (entry.kind == MemoryEntry::Kind::goal || entry.kind == MemoryEntry::Kind::commitment) {
            out += entry.done ? " [done]" : " [open]";
        }
        out += ' ';
        out += entry.text;
    }
    return out;
}

std::string extractionPrompt(std::span<const MemoryEntry> entries, std::string_view recentTurns) {
    std::string out(extractionHeader);
    out += numbered(entries);
    out += extractionMiddle;
    out += recentTurns;
    out += extractionRules;
    return out;
}

std::vector<Op> parseOps(std::string_view reply) {
    const std::size_t open = reply.find('{');
    const std::size_t close = reply.rfind('}');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
        return {};
    }
    const std::string_view body = reply.substr(open, close - open + 1);
    const std::optional<Json> parsed = json::parseBounded(body);
    if (!parsed) {
        return {};
    }
    try {
        OpsEnvelope envelope;
        from_json(*parsed, envelope);
        return std::move(envelope.ops);
    } catch (const std::exception&) {
        return {};
    }
}

std::vector<MemoryEntry> apply(std::span<const Op> ops, std::span<const MemoryEntry> to, Date now) {
    std::vector<MemoryEntry> working(to.begin(), to.end());
    std::unordered_set<std::string> removals;

    // The entry the model meant: refs count in the list it was shown, whatever happened since.
    const auto referenced = [&](const Op& op) -> const MemoryEntry* {
        if (!op.ref || *op.ref < 1 || static_cast<std::uint64_t>(*op.ref) > to.size()) {
            return nullptr;
        }
        return &to[static_cast<std::size_t>(*op.ref - 1)];
    };

    for (const Op& op : ops) {
        if (op.op == "add") {
            if (!op.kind || !op.text) {
                continue;
            }
            const auto kind = MemoryEntry::kindNamed(*op.kind);
            if (!kind || *kind == MemoryEntry::Kind::session) {
                continue;
            }
            std::string text(unicode::trimmed(*op.text));
            if (text.empty() || holdsText(working, text)) {
                continue;
            }
            working.push_back(MemoryEntry{makeUUID(), *kind, std::move(text), now, false});
        } else if (op.op == "resolve") {
            if (const MemoryEntry* target = referenced(op)) {
                const auto found =
                    std::find_if(working.begin(), working.end(),
                                 [&](const MemoryEntry& entry) { return entry.id == target->id; });
                if (found != working.end()) {
                    found->done = true;
                }
            }
        } else if (op.op == "remove") {
            if (const MemoryEntry* target = referenced(op)) {
                removals.insert(target->id);
            }
        }
    }
    std::erase_if(working, [&](const MemoryEntry& entry) { return removals.contains(entry.id); });
    return trimmed(std::move(working));
}

std::vector<MemoryEntry> trimmed(std::vector<MemoryEntry> entries) {
    std::vector<const std::string*> sessionIDs;
    for (const MemoryEntry& entry : entries) {
        if (entry.kind == MemoryEntry::Kind::session) {
            sessionIDs.push_back(&entry.id);
        }
    }
    if (sessionIDs.size() > maxSessions) {
        std::unordered_set<std::string> oldest;
        for (std::size_t i = 0; i < sessionIDs.size() - maxSessions; ++i) {
            oldest.insert(*sessionIDs[i]);
        }
        std::erase_if(entries, [&](const MemoryEntry& entry) { return oldest.contains(entry.id); });
    }
    if (entries.size() <= maxEntries) {
        return entries;
    }

    // Deleting one entry at a time (first done, else first fact, else first) removes the earliest done
    // entries, then the earliest facts, then the earliest of the rest; marking them in three passes is the
    // same and stays linear for an oversized list.
    std::size_t excess = entries.size() - maxEntries;
    std::vector<bool> drop(entries.size(), false);
    const auto mark = [&](auto&& qualifies) {
        for (std::size_t i = 0; i < entries.size() && excess > 0; ++i) {
            if (!drop[i] && qualifies(entries[i])) {
                drop[i] = true;
                --excess;
            }
        }
    };
    mark([](const MemoryEntry& entry) { return entry.done; });
    mark([](const MemoryEntry& entry) { return entry.kind == MemoryEntry::Kind::fact; });
    mark([](const MemoryEntry&) { return true; });

    std::vector<MemoryEntry> kept;
    kept.reserve(maxEntries);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (!drop[i]) {
            kept.push_back(std::move(entries[i]));
        }
    }
    return kept;
}

std::string render(std::span<const MemoryEntry> entries, const Calendar& calendar) {
    std::vector<const MemoryEntry*> facts;
    std::vector<const MemoryEntry*> goals;
    std::vector<const MemoryEntry*> commitments;
    std::vector<const MemoryEntry*> sessions;
    for (const MemoryEntry& entry : entries) {
        switch (entry.kind) {
        case MemoryEntry::Kind::fact:
            facts.push_back(&entry);
            break;
        case MemoryEntry::Kind::goal:
            if (!entry.done) {
                goals.push_back(&entry);
            }
            break;
        case MemoryEntry::Kind::commitment:
            if (!entry.done) {
                commitments.push_back(&entry);
            }
            break;
        case MemoryEntry::Kind::session:
            sessions.push_back(&entry);
            break;
        }
    }
    if (sessions.size() > maxSessions) {
        sessions.erase(sessions.begin(), sessions.end() - static_cast<std::ptrdiff_t>(maxSessions));
    }

    std::string out;
    const auto section = [&](std::string_view title, const std::vector<const MemoryEntry*>& items) {
        if (items.empty()) {
            return;
        }
        if (!out.empty()) {
            out += '\n';
        }
        out += title;
        out += ':';
        for (const MemoryEntry* entry : items) {
            out += "\n- (";
            out += Format::monthDay(entry->date, calendar, "en_US");
            out += ") ";
            out += entry->text;
        }
    };
    section("Things I've learned", facts);
    section("My goals", goals);
    section("Commitments I made (check in on these)", commitments);
    section("Past sessions", sessions);
    return out;
}

std::string sessionSummaryPrompt(std::string_view turns) {
    std::string out(summaryInstruction);
    out += turns;
    return out;
}

std::vector<MemoryEntry> migrate(std::string_view blob, Date now) {
    std::vector<MemoryEntry> entries;
    const auto take = [&](std::string_view line) {
        const std::string_view item =
            unicode::trimming(unicode::trimming(line, unicode::isBlank), isBulletOrSpace);
        if (!item.empty() && entries.size() < maxMigratedLines) {
            entries.push_back(
                MemoryEntry{makeUUID(), MemoryEntry::Kind::fact, std::string(item), now, false});
        }
    };
    std::size_t lineStart = 0;
    std::size_t offset = 0;
    while (offset < blob.size() && entries.size() < maxMigratedLines) {
        const std::size_t start = offset;
        if (isLineBreak(unicode::decodeNext(blob, offset))) {
            take(blob.substr(lineStart, start - lineStart));
            lineStart = offset;
        }
    }
    if (offset >= blob.size()) {
        take(blob.substr(lineStart));
    }
    return entries;
}

} // namespace CoachMemory
} // namespace dovrel
