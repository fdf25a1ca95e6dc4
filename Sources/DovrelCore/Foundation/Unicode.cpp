#include "Foundation/Unicode.h"

#include <memory>
#include <stdexcept>
#include <unicode/brkiter.h>
#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>

namespace dovrel::unicode {
namespace {

bool isASCII(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            return false;
        }
    }
    return true;
}

// The length of the well-formed UTF-8 sequence at `i`, or 0 when it is ill-formed. On 0, `bad` is how many
// bytes form the maximal ill-formed prefix (at least 1), so one U+FFFD stands for them.
std::size_t sequenceLength(const std::uint8_t* p, std::size_t size, std::size_t i, std::size_t& bad) {
    const std::uint8_t lead = p[i];
    bad = 1;
    if (lead < 0x80) {
        return 1;
    }
    std::size_t length = 0;
    std::uint8_t low = 0x80;
    std::uint8_t high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) {
            low = 0xA0;
        } else if (lead == 0xED) {
            high = 0x9F;
        }
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) {
            low = 0x90;
        } else if (lead == 0xF4) {
            high = 0x8F;
        }
    } else {
        return 0;
    }
    for (std::size_t k = 1; k < length; ++k) {
        if (i + k >= size) {
            bad = k;
            return 0;
        }
        const std::uint8_t byte = p[i + k];
        const std::uint8_t lo = k == 1 ? low : 0x80;
        const std::uint8_t hi = k == 1 ? high : 0xBF;
        if (byte < lo || byte > hi) {
            bad = k;
            return 0;
        }
    }
    return length;
}

struct BreakIteratorHolder {
    std::unique_ptr<icu::BreakIterator> iterator;
    UText* text = nullptr;

    BreakIteratorHolder() {
        UErrorCode status = U_ZERO_ERROR;
        iterator.reset(icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status)) {
            throw std::runtime_error(std::string("cannot create a grapheme iterator: ") +
                                     u_errorName(status));
        }
    }
    ~BreakIteratorHolder() { utext_close(text); }
    BreakIteratorHolder(const BreakIteratorHolder&) = delete;
    BreakIteratorHolder& operator=(const BreakIteratorHolder&) = delete;

    icu::BreakIterator& over(std::string_view utf8) {
        UErrorCode status = U_ZERO_ERROR;
        text = utext_openUTF8(text, utf8.data(), static_cast<int64_t>(utf8.size()), &status);
        iterator->setText(text, status);
        if (U_FAILURE(status)) {
            throw std::runtime_error(std::string("grapheme iterator: ") + u_errorName(status));
        }
        return *iterator;
    }
};

BreakIteratorHolder& graphemeIterator() {
    thread_local BreakIteratorHolder holder;
    return holder;
}

// ASCII text breaks between every two characters except inside CR LF.
bool isSimpleASCII(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80 || c == '\r') {
            return false;
        }
    }
    return true;
}

} // namespace

std::size_t graphemeCount(std::string_view text) {
    if (isSimpleASCII(text)) {
        return text.size();
    }
    icu::BreakIterator& iterator = graphemeIterator().over(text);
    std::size_t count = 0;
    iterator.first();
    while (iterator.next() != icu::BreakIterator::DONE) {
        ++count;
    }
    return count;
}

void forEachGrapheme(std::string_view text, const std::function<void(std::string_view)>& visit) {
    if (isSimpleASCII(text)) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            visit(text.substr(i, 1));
        }
        return;
    }
    // Offsets of a UTF-8 UText are byte offsets into the original text.
    icu::BreakIterator& iterator = graphemeIterator().over(text);
    int32_t start = iterator.first();
    for (int32_t end = iterator.next(); end != icu::BreakIterator::DONE; start = end, end = iterator.next()) {
        visit(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)));
    }
}

std::string lowercased(std::string_view text) {
    if (isASCII(text)) {
        std::string lower(text);
        for (char& c : lower) {
            if (c >= 'A' && c <= 'Z') {
                c = static_cast<char>(c - 'A' + 'a');
            }
        }
        return lower;
    }
    struct CaseMapDeleter {
        void operator()(UCaseMap* map) const { ucasemap_close(map); }
    };
    thread_local std::unique_ptr<UCaseMap, CaseMapDeleter> caseMap = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<UCaseMap, CaseMapDeleter> map(ucasemap_open("", U_FOLD_CASE_DEFAULT, &status));
        if (U_FAILURE(status)) {
            throw std::runtime_error(std::string("cannot open a case map: ") + u_errorName(status));
        }
        return map;
    }();

    const std::string input =
        repairUTF8(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    std::string out(input.size() + input.size() / 2 + 8, '\0');
    for (int attempt = 0; attempt < 2; ++attempt) {
        UErrorCode status = U_ZERO_ERROR;
        const int32_t length =
            ucasemap_utf8ToLower(caseMap.get(), out.data(), static_cast<int32_t>(out.size()), input.data(),
                                 static_cast<int32_t>(input.size()), &status);
        if (status == U_BUFFER_OVERFLOW_ERROR) {
            out.assign(static_cast<std::size_t>(length), '\0');
            continue;
        }
        if (U_FAILURE(status)) {
            throw std::runtime_error(std::string("lower-casing: ") + u_errorName(status));
        }
        out.resize(static_cast<std::size_t>(length));
        return out;
    }
    throw std::runtime_error("lower-casing: buffer size");
}

bool isEmoji(char32_t codePoint) {
    return codePoint > 0x238C && u_hasBinaryProperty(static_cast<UChar32>(codePoint), UCHAR_EMOJI);
}

bool containsEmoji(std::string_view text) {
    std::size_t offset = 0;
    while (offset < text.size()) {
        if (static_cast<unsigned char>(text[offset]) < 0x80) {
            ++offset;
            continue;
        }
        if (isEmoji(decodeNext(text, offset))) {
            return true;
        }
    }
    return false;
}

bool isValidUTF8(std::span<const std::uint8_t> bytes) {
    const std::uint8_t* p = bytes.data();
    const std::size_t size = bytes.size();
    std::size_t i = 0;
    while (i < size) {
        if (p[i] < 0x80) {
            ++i;
            continue;
        }
        std::size_t bad = 0;
        const std::size_t length = sequenceLength(p, size, i, bad);
        if (length == 0) {
            return false;
        }
        i += length;
    }
    return true;
}

std::string repairUTF8(std::span<const std::uint8_t> bytes) {
    const std::uint8_t* p = bytes.data();
    const std::size_t size = bytes.size();
    std::string out;
    out.reserve(size);
    std::size_t i = 0;
    while (i < size) {
        if (p[i] < 0x80) {
            out.push_back(static_cast<char>(p[i]));
            ++i;
            continue;
        }
        std::size_t bad = 0;
        const std::size_t length = sequenceLength(p, size, i, bad);
        if (length == 0) {
            out.append("\xEF\xBF\xBD");
            i += bad;
        } else {
            out.append(reinterpret_cast<const char*>(p + i), length);
            i += length;
        }
    }
    return out;
}

char32_t decodeNext(std::string_view text, std::size_t& offset) {
    const auto* p = reinterpret_cast<const std::uint8_t*>(text.data());
    std::size_t bad = 0;
    const std::size_t length = sequenceLength(p, text.size(), offset, bad);
    if (length == 0) {
        offset += bad;
        return 0xFFFD;
    }
    char32_t value = 0;
    if (length == 1) {
        value = p[offset];
    } else {
        value = p[offset] & (0xFFu >> (length + 1));
        for (std::size_t k = 1; k < length; ++k) {
            value = (value << 6) | (p[offset + k] & 0x3Fu);
        }
    }
    offset += length;
    return value;
}

bool isWhiteSpaceOrLineBreak(char32_t codePoint) {
    return u_hasBinaryProperty(static_cast<UChar32>(codePoint), UCHAR_WHITE_SPACE) != 0;
}

bool isBlank(char32_t codePoint) {
    return codePoint == '\t' || u_charType(static_cast<UChar32>(codePoint)) == U_SPACE_SEPARATOR;
}

std::string_view trimming(std::string_view text, bool (*strip)(char32_t)) {
    std::size_t begin = std::string_view::npos;
    std::size_t end = 0;
    std::size_t offset = 0;
    while (offset < text.size()) {
        const std::size_t start = offset;
        if (!strip(decodeNext(text, offset))) {
            if (begin == std::string_view::npos) {
                begin = start;
            }
            end = offset;
        }
    }
    return begin == std::string_view::npos ? std::string_view() : text.substr(begin, end - begin);
}

} // namespace dovrel::unicode
