// Arbitrary bytes as an attributedBody blob: the decoder must never read out of bounds, and whatever it
// returns must be non-empty, valid UTF-8 and a slice of the input.
#include "Foundation/Unicode.h"
#include "MessageSources/TypedStream.h"

#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    const std::optional<std::string> text = dovrel::TypedStream::extractText(bytes);
    if (text) {
        const std::string_view all(reinterpret_cast<const char*>(data), size);
        if (text->empty() || !dovrel::unicode::isValidUTF8(*text) ||
            all.find(*text) == std::string_view::npos) {
            std::abort();
        }
    }
    return 0;
}
