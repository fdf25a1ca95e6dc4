#include "AttributedBody.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace demohome {
namespace {

void append(std::vector<std::uint8_t>& out, std::initializer_list<int> bytes) {
    for (int b : bytes) {
        out.push_back(static_cast<std::uint8_t>(b));
    }
}

void append(std::vector<std::uint8_t>& out, std::string_view text) {
    for (char c : text) {
        out.push_back(static_cast<std::uint8_t>(c));
    }
}

// A typedstream integer: one byte below 0x80, otherwise the 0x81 marker and an int16 in little
// endian order (read back as unsigned, which is how bodies up to 65535 bytes are stored).
void appendLength(std::vector<std::uint8_t>& out, std::size_t n) {
    if (n < 0x80) {
        out.push_back(static_cast<std::uint8_t>(n));
        return;
    }
    out.push_back(0x81);
    out.push_back(static_cast<std::uint8_t>(n & 0xFF));
    out.push_back(static_cast<std::uint8_t>((n >> 8) & 0xFF));
}

std::size_t lengthFieldBytes(std::size_t n) {
    return n < 0x80 ? 1 : 3;
}

// The attribute run length counts UTF-16 code units, as NSString does.
std::size_t utf16Length(std::string_view utf8) {
    std::size_t units = 0;
    for (char ch : utf8) {
        const auto c = static_cast<unsigned char>(ch);
        if ((c & 0xC0) == 0x80) {
            continue;
        }
        units += c >= 0xF0 ? 2 : 1;
    }
    return units;
}

void appendHeader(std::vector<std::uint8_t>& out) {
    append(out, {0x04, 0x0B});
    append(out, "streamtyped");
    append(out, {0x81, 0xE8, 0x03, 0x84, 0x01, 0x40, 0x84, 0x84, 0x84, 0x12});
    append(out, "NSAttributedString");
    append(out, {0x00, 0x84, 0x84, 0x08});
    append(out, "NSObject");
    append(out, {0x00, 0x85, 0x92, 0x84, 0x84, 0x84, 0x08});
    append(out, "NSString");
    append(out, {0x01, 0x94, 0x84, 0x01, 0x2B});
}

std::size_t headerBytes() {
    static const std::size_t size = [] {
        std::vector<std::uint8_t> header;
        appendHeader(header);
        return header.size();
    }();
    return size;
}

} // namespace

std::size_t attributedBodyTextOffset(std::size_t textBytes) {
    return headerBytes() + lengthFieldBytes(textBytes);
}

std::vector<std::uint8_t> encodeAttributedBody(std::string_view utf8) {
    if (utf8.size() > kMaxAttributedBodyTextBytes) {
        throw std::invalid_argument("attributedBody text is " + std::to_string(utf8.size()) +
                                    " bytes; at most 65535 can be encoded");
    }
    std::vector<std::uint8_t> out;
    out.reserve(headerBytes() + utf8.size() + 120);
    appendHeader(out);
    appendLength(out, utf8.size());
    append(out, utf8);

    // One attribute run: count 1, then the run length, then its attribute dictionary.
    append(out, {0x86, 0x84, 0x02, 0x69, 0x49, 0x01});
    appendLength(out, utf16Length(utf8));
    append(out, {0x92, 0x84, 0x84, 0x84, 0x0C});
    append(out, "NSDictionary");
    append(out, {0x00, 0x94, 0x84, 0x01, 0x69, 0x01, 0x92, 0x84, 0x96, 0x96, 0x1D});
    append(out, "__kIMMessagePartAttributeName");
    append(out, {0x86, 0x92, 0x84, 0x84, 0x84, 0x08});
    append(out, "NSNumber");
    append(out, {0x00, 0x84, 0x84, 0x07});
    append(out, "NSValue");
    append(out, {0x00, 0x94, 0x84, 0x01, 0x2A, 0x84, 0x99, 0x99, 0x00, 0x86, 0x86, 0x86});
    return out;
}

std::vector<std::uint8_t> truncatedAttributedBody(std::string_view utf8, std::size_t keepBytes) {
    std::vector<std::uint8_t> full = encodeAttributedBody(utf8);
    full.resize(std::min(keepBytes, full.size()));
    return full;
}

} // namespace demohome
