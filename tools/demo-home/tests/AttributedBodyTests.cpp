#include "AttributedBody.h"
#include "TestSupport.h"

#include <gtest/gtest.h>
#include <string>

namespace demohome {
namespace {

using testing::decodeAttributedBody;

std::string repeatUntil(const std::string& piece, std::size_t bytes) {
    std::string out;
    while (out.size() < bytes) {
        out += piece;
    }
    return out;
}

// The bytes just before the text hold its length: one byte below 0x80, else 0x81 lo hi.
std::vector<std::uint8_t> lengthPrefix(const std::vector<std::uint8_t>& blob, const std::string& text) {
    const std::string bytes(blob.begin(), blob.end());
    const std::size_t at = bytes.find(text);
    EXPECT_NE(at, std::string::npos);
    const std::size_t width = text.size() < 0x80 ? 1 : 3;
    return {blob.begin() + static_cast<std::ptrdiff_t>(at - width),
            blob.begin() + static_cast<std::ptrdiff_t>(at)};
}

TEST(AttributedBody, DecodesBackToTheTextWithTheRightLengthForm) {
    const std::string shortText = "see you at 8?";
    const std::string text127(127, 'a');
    const std::string text128(128, 'b');
    const std::string text200 = repeatUntil("on my way, ", 200).substr(0, 200);
    const std::string multiByte300 = repeatUntil("café 😂 naïve 👍🏽 ", 300);
    ASSERT_GT(multiByte300.size(), 300u);

    for (const std::string& text : {shortText, text127, text128, text200, multiByte300}) {
        SCOPED_TRACE(text.size());
        const auto blob = encodeAttributedBody(text);
        EXPECT_EQ(decodeAttributedBody(blob), text);
        const auto prefix = lengthPrefix(blob, text);
        if (text.size() < 0x80) {
            EXPECT_EQ(prefix, (std::vector<std::uint8_t>{static_cast<std::uint8_t>(text.size())}));
        } else {
            EXPECT_EQ(prefix, (std::vector<std::uint8_t>{0x81, static_cast<std::uint8_t>(text.size() & 0xFF),
                                                         static_cast<std::uint8_t>(text.size() >> 8)}));
        }
    }
}

TEST(AttributedBody, HasTheTypedstreamFramingMessagesWrites) {
    const std::string text = "hé 😂";
    const auto blob = encodeAttributedBody(text);
    const std::string bytes(blob.begin(), blob.end());
    const std::string header = std::string("\x04\x0B", 2) + "streamtyped" + "\x81\xE8\x03";
    EXPECT_EQ(bytes.substr(0, header.size()), header);
    EXPECT_NE(bytes.find("NSAttributedString"), std::string::npos);
    EXPECT_NE(bytes.find("__kIMMessagePartAttributeName"), std::string::npos);
    EXPECT_EQ(bytes.substr(bytes.size() - 3), "\x86\x86\x86");

    // One attribute run covering the whole string, measured in UTF-16 units as NSString counts:
    // h, é, space and the two surrogates of the emoji.
    const std::string run = std::string(text) + "\x86\x84\x02iI\x01";
    const std::size_t at = bytes.find(run);
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(static_cast<unsigned char>(bytes[at + run.size()]), 5);
}

TEST(AttributedBody, LengthLimitIsTwoBytes) {
    const std::string largest(65535, 'x');
    EXPECT_EQ(decodeAttributedBody(encodeAttributedBody(largest)), largest);
    EXPECT_THROW(encodeAttributedBody(std::string(65536, 'x')), std::invalid_argument);
}

TEST(AttributedBody, TruncatedBlobsHoldNoReadableText) {
    const std::string text = "this text must not be recoverable";
    for (std::size_t keep = 0; keep < attributedBodyTextOffset(text.size()); ++keep) {
        SCOPED_TRACE(keep);
        const auto blob = truncatedAttributedBody(text, keep);
        EXPECT_EQ(blob.size(), keep);
        EXPECT_EQ(decodeAttributedBody(blob), std::nullopt);
    }
}

} // namespace
} // namespace demohome
