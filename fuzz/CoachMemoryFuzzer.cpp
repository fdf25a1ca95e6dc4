// Arbitrary bytes as a model's reply to the memory update: parsing never throws, and whatever operations come
// out, applying them keeps the caps, keeps every surviving old entry in its order and adds only trimmed,
// non-empty notes. The same bytes as an old free-text note migrate to at most ten non-empty facts.
#include "Coach/CoachMemory.h"

#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using dovrel::MemoryEntry;

std::vector<MemoryEntry> givenList() {
    std::vector<MemoryEntry> entries;
    const MemoryEntry::Kind kinds[] = {MemoryEntry::Kind::fact, MemoryEntry::Kind::goal,
                                       MemoryEntry::Kind::commitment, MemoryEntry::Kind::session};
    for (int i = 0; i < 44; ++i) {
        entries.push_back(MemoryEntry{"00000000-0000-4000-8000-0000000000" + std::to_string(10 + i),
                                      kinds[i % 4], "note " + std::to_string(i), dovrel::Date{0.0},
                                      i % 7 == 0});
    }
    return entries;
}

bool startsOrEndsWithSpace(const std::string& text) {
    const auto space = [](char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; };
    return text.empty() || space(text.front()) || space(text.back());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view reply(reinterpret_cast<const char*>(data), size);
    static const std::vector<MemoryEntry> given = givenList();

    const std::vector<dovrel::CoachMemory::Op> ops = dovrel::CoachMemory::parseOps(reply);
    const std::vector<MemoryEntry> result = dovrel::CoachMemory::apply(ops, given, dovrel::Date{1.0});
    if (result.size() > dovrel::CoachMemory::maxEntries) {
        std::abort();
    }
    std::size_t sessions = 0;
    std::size_t nextGiven = 0;
    bool seenNew = false;
    for (const MemoryEntry& entry : result) {
        sessions += entry.kind == MemoryEntry::Kind::session ? 1 : 0;
        if (entry.id.starts_with("00000000-0000-4000-8000-")) {
            while (nextGiven < given.size() && given[nextGiven].id != entry.id) {
                ++nextGiven;
            }
            if (seenNew || nextGiven == given.size()) {
                std::abort(); // old entries keep their order, ahead of the new ones
            }
            ++nextGiven;
        } else if (entry.kind == MemoryEntry::Kind::session || entry.done ||
                   startsOrEndsWithSpace(entry.text)) {
            std::abort(); // a new entry the model could not have written
        } else {
            seenNew = true;
        }
    }
    if (sessions > dovrel::CoachMemory::maxSessions) {
        std::abort();
    }

    const std::vector<MemoryEntry> migrated = dovrel::CoachMemory::migrate(reply, dovrel::Date{1.0});
    if (migrated.size() > dovrel::CoachMemory::maxMigratedLines) {
        std::abort();
    }
    for (const MemoryEntry& entry : migrated) {
        if (entry.text.empty() || entry.text.find('\n') != std::string::npos) {
            std::abort();
        }
    }
    return 0;
}
