// Arbitrary bytes through the text helpers: repair yields valid UTF-8 and leaves valid input alone, and the
// ICU-backed helpers accept whatever the database hands over.
#include "Foundation/Unicode.h"

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    const std::string repaired = dovrel::unicode::repairUTF8(bytes);
    if (!dovrel::unicode::isValidUTF8(repaired)) {
        std::abort();
    }
    if (dovrel::unicode::isValidUTF8(bytes) &&
        repaired != std::string(reinterpret_cast<const char*>(data), size)) {
        std::abort();
    }
    const std::size_t graphemes = dovrel::unicode::graphemeCount(repaired);
    if (graphemes > repaired.size()) {
        std::abort();
    }
    std::size_t pieces = 0;
    dovrel::unicode::forEachGrapheme(repaired, [&pieces](std::string_view) { ++pieces; });
    if (pieces != graphemes) {
        std::abort();
    }
    (void)dovrel::unicode::lowercased(repaired);
    (void)dovrel::unicode::containsEmoji(repaired);
    return 0;
}
