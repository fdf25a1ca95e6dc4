#include "Foundation/Json.h"
#include "Measurement/PersonInsights.h"
#include "Measurement/WrappedStats.h"

#include <functional>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace dovrel;
using Json = nlohmann::json;

namespace {

WrappedStats fullStats() {
    WrappedStats stats;
    stats.interval = {Date{725'000'000.5}, 365 * 86400.0};
    stats.peopleCount = 2;
    stats.totalMessages = 30;
    stats.sentCount = 12;
    stats.receivedCount = 18;
    stats.topContacts = {{"+15550001", "Ana", 20, 8, 12}, {"b@x.com", std::nullopt, 10, 4, 6}};
    stats.busiestDay = WrappedStats::DayCount{Date{725'100'000.0}, 9};
    stats.longestStreak = WrappedStats::ContactCount{"+15550001", "Ana", 4};
    stats.doubleTextChampion = WrappedStats::ContactCount{"b@x.com", std::nullopt, 3};
    stats.myMedianReplySeconds = 42.5;
    stats.myInitiationRate = 0.25;
    stats.medianLastTextMinute = 1321;
    stats.laughter = {1, 2, 3, 4};
    stats.myMedianLength = 17;
    stats.myQuestionRate = 0.0;
    stats.myEmojiRate = 0.125;
    stats.peakHour = 21;
    stats.myHourlyHistogram[21] = 5;
    stats.myTopEmojis = std::vector<TextStyle::EmojiCount>{{"😂", 4}};
    return stats;
}

PersonInsights person() {
    PersonInsights insights;
    insights.handleID = "+15550001";
    insights.displayName = "Ana";
    insights.report.handleID = "+15550001";
    insights.report.sentCount = 10;
    insights.report.receivedCount = 11;
    insights.report.firstMessage = Date{0.0};
    insights.report.lastMessage = Date{725'000'000.25};
    insights.report.myMedianReplySeconds = 61.0;
    insights.report.myHourlyHistogram = std::vector<int>(24, 1);
    insights.replyVsBaseline = 0.5;
    insights.balance = 10.0 / 21.0;
    return insights;
}

} // namespace

TEST(MeasurementJsonTest, RecordsRoundTripWithFieldNamesAndSecondsSince2001) {
    const WrappedStats stats = fullStats();
    const Json encoded = stats;
    EXPECT_EQ(encoded.at("interval"), (Json{{"start", 725'000'000.5}, {"duration", 365 * 86400.0}}));
    EXPECT_EQ(encoded.at("busiestDay").at("date"), 725'100'000.0);
    EXPECT_EQ(encoded.at("topContacts").at(1).contains("displayName"), false);
    EXPECT_EQ(encoded.at("myQuestionRate"), 0.0); // zero is a value, not an absence
    EXPECT_EQ(encoded.at("laughter"),
              (Json{{"hahaCount", 1}, {"capsHahaCount", 2}, {"lolCount", 3}, {"laughEmojiCount", 4}}));
    EXPECT_EQ(Json::parse(encoded.dump()).get<WrappedStats>(), stats);

    const PersonInsights insights = person();
    const Json encodedPerson = insights;
    EXPECT_EQ(encodedPerson.at("report").at("firstMessage"), 0.0);
    EXPECT_EQ(Json::parse(encodedPerson.dump()).get<PersonInsights>(), insights);
}

TEST(MeasurementJsonTest, AbsentValuesAreAbsentKeysNeverNull) {
    const WrappedStats empty = WrappedStats{};
    const Json encoded = empty;
    for (const char* key : {"busiestDay", "longestStreak", "doubleTextChampion", "myMedianReplySeconds",
                            "myInitiationRate", "medianLastTextMinute", "myMedianLength", "myQuestionRate",
                            "myEmojiRate", "peakHour", "myTopEmojis"}) {
        EXPECT_FALSE(encoded.contains(key)) << key;
    }
    EXPECT_EQ(encoded.dump().find("null"), std::string::npos);
    const Json person = PersonInsights{};
    EXPECT_FALSE(person.contains("lengthVsBaseline") || person.contains("replyVsBaseline") ||
                 person.contains("displayName") || person.at("report").contains("myAverageLength"));
    // A stored record without its top emoji still reads, as absent rather than empty.
    Json stored = fullStats();
    stored.erase("myTopEmojis");
    EXPECT_FALSE(stored.get<WrappedStats>().myTopEmojis.has_value());
}

TEST(MeasurementJsonTest, DecodingRejectsMissingRequiredKeysAndWrongTypes) {
    const Json good = fullStats();
    const auto rejects = [&](const std::function<void(Json&)>& damage) {
        Json bad = good;
        damage(bad);
        EXPECT_THROW(bad.get<WrappedStats>(), json::DecodeError) << bad.dump();
    };
    rejects([](Json& j) { j.erase("totalMessages"); });
    rejects([](Json& j) { j["totalMessages"] = nullptr; });
    rejects([](Json& j) { j["totalMessages"] = "30"; });
    rejects([](Json& j) { j["totalMessages"] = true; });
    rejects([](Json& j) { j["totalMessages"] = 30.5; });
    rejects([](Json& j) { j["totalMessages"] = 1e12; });
    rejects([](Json& j) { j["myInitiationRate"] = "0.5"; });
    rejects([](Json& j) { j["interval"] = 5; });
    rejects([](Json& j) { j["interval"].erase("duration"); });
    rejects([](Json& j) { j["laughter"].erase("lolCount"); });
    rejects([](Json& j) { j["topContacts"][0]["count"] = Json::array(); });
    rejects([](Json& j) { j["myHourlyHistogram"] = Json::object(); });
    rejects([](Json& j) { j["myTopEmojis"][0]["emoji"] = 1; });
    rejects([](Json& j) { j["busiestDay"]["date"] = "yesterday"; });
    EXPECT_THROW(Json::array().get<WrappedStats>(), json::DecodeError);
    EXPECT_THROW(Json("text").get<PersonInsights>(), json::DecodeError);

    // 30.0 is an integer written as a double, and reads as one.
    Json wholeDouble = good;
    wholeDouble["totalMessages"] = 30.0;
    EXPECT_EQ(wholeDouble.get<WrappedStats>().totalMessages, 30);
    // Damaged text never gets as far as decoding.
    EXPECT_THROW(Json parsed = Json::parse(good.dump().substr(0, 40)), Json::parse_error);
}
