#include "Foundation/Calendar.h"
#include "MessageSources/AppleDate.h"
#include "MessageSources/TypedStream.h"

#include <gtest/gtest.h>

using namespace dovrel;

namespace {

// "NSString" and the five type and class bytes that follow it in a real archive.
Bytes prefix() {
    const std::string head =
        "\x04\x0bstreamtyped\x81\xe8\x03\x84\x01\x40\x84\x84\x84\x08NSString\x01\x94\x84\x01\x2b";
    return Bytes(head.begin(), head.end());
}

Bytes blob(std::initializer_list<std::uint8_t> lengthBytes, const std::string& text,
           const std::string& tail = "\x86\x84") {
    Bytes bytes = prefix();
    bytes.insert(bytes.end(), lengthBytes);
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.insert(bytes.end(), tail.begin(), tail.end());
    return bytes;
}

std::optional<std::string> extract(const Bytes& bytes) {
    return TypedStream::extractText(bytes);
}

} // namespace

TEST(TypedStreamTest, ReadsShortAndLongLengthForms) {
    EXPECT_EQ(extract(blob({0x05}, "hello")), "hello");
    const std::string long300(300, 'x');
    EXPECT_EQ(extract(blob({0x81, 0x2C, 0x01}, long300, "")), long300); // ends exactly at the blob's end
    EXPECT_EQ(extract(blob({0x81, 0x2C, 0x01}, std::string(299, 'x'), "")), std::nullopt);
    // Only 0x81 is a marker: 0x82 is a length of 130.
    EXPECT_EQ(extract(blob({0x82}, std::string(130, 'y'))), std::string(130, 'y'));
    const std::string multibyte = "caf\u00e9 \U0001F602";
    EXPECT_EQ(extract(blob({static_cast<std::uint8_t>(multibyte.size())}, multibyte)), multibyte);
}

TEST(TypedStreamTest, GivesNothingForEmptyCutOrForeignBlobs) {
    EXPECT_EQ(extract({}), std::nullopt);
    const std::string noMarker = "streamtyped NSAttributedString only";
    EXPECT_EQ(extract(Bytes(noMarker.begin(), noMarker.end())), std::nullopt);
    EXPECT_EQ(extract(prefix()), std::nullopt); // ends right after the five skipped bytes
    EXPECT_EQ(extract(blob({0x00}, "abc")), std::nullopt);
    EXPECT_EQ(extract(blob({0x81, 0x00, 0x00}, "abc")), std::nullopt);
    Bytes lengthCut = prefix();
    lengthCut.insert(lengthCut.end(), {0x81, 0x05}); // the high byte is missing
    EXPECT_EQ(extract(lengthCut), std::nullopt);
    // A text cut in the middle of a multi-byte character.
    EXPECT_EQ(extract(blob({0x03}, "ab\xF0", "")), std::nullopt);
    EXPECT_EQ(extract(blob({0x02}, "a\xF0\x9F")), std::nullopt);
}

TEST(TypedStreamTest, OnlyTheFirstNSStringCounts) {
    Bytes bytes = blob({0x00}, "");
    const Bytes second = blob({0x03}, "two");
    bytes.insert(bytes.end(), second.begin(), second.end());
    EXPECT_EQ(extract(bytes), std::nullopt);
}

TEST(AppleDateTest, ThresholdSeparatesSecondsFromNanoseconds) {
    EXPECT_EQ(AppleDate::date(0), AppleDate::epoch);
    EXPECT_EQ(AppleDate::date(-86400).seconds, -86400.0);
    EXPECT_EQ(AppleDate::date(9'999'999'999).seconds, 9'999'999'999.0);
    EXPECT_EQ(AppleDate::date(10'000'000'000).seconds, 10.0);
    EXPECT_DOUBLE_EQ(AppleDate::date(694'224'000'500'000'000).seconds, 694'224'000.5); // fractions survive
    const Date march2023 = AppleDate::date(700'000'000'000'000'000);
    const Calendar utc("UTC");
    EXPECT_EQ(utc.year(march2023), 2023);
    EXPECT_EQ(utc.month(march2023), 3);
    EXPECT_EQ(utc.day(march2023), 8);
    EXPECT_EQ(AppleDate::epoch.unixTime(), 978'307'200.0);
}
