#include "Measurement/ContactReport.h"

#include "Foundation/Json.h"

namespace dovrel {

void to_json(nlohmann::json& out, const ContactReport& report) {
    out = nlohmann::json::object();
    out["handleID"] = report.handleID;
    json::writeOptional(out, "displayName", report.displayName);
    out["sentCount"] = report.sentCount;
    out["receivedCount"] = report.receivedCount;
    out["firstMessage"] = report.firstMessage;
    out["lastMessage"] = report.lastMessage;
    json::writeOptional(out, "myMedianReplySeconds", report.myMedianReplySeconds);
    json::writeOptional(out, "theirMedianReplySeconds", report.theirMedianReplySeconds);
    json::writeOptional(out, "myInitiationRate", report.myInitiationRate);
    json::writeOptional(out, "myDoubleTextRate", report.myDoubleTextRate);
    json::writeOptional(out, "myQuestionRate", report.myQuestionRate);
    json::writeOptional(out, "myEmojiRate", report.myEmojiRate);
    json::writeOptional(out, "myAverageLength", report.myAverageLength);
    out["myLaughter"] = report.myLaughter;
    out["myHourlyHistogram"] = report.myHourlyHistogram;
    json::writeOptional(out, "myMedianLastTextMinuteOfDay", report.myMedianLastTextMinuteOfDay);
}

void from_json(const nlohmann::json& in, ContactReport& report) {
    json::expectObject(in, "a contact report");
    report.handleID = json::required<std::string>(in, "handleID");
    report.displayName = json::optional<std::string>(in, "displayName");
    report.sentCount = json::required<int>(in, "sentCount");
    report.receivedCount = json::required<int>(in, "receivedCount");
    report.firstMessage = json::required<Date>(in, "firstMessage");
    report.lastMessage = json::required<Date>(in, "lastMessage");
    report.myMedianReplySeconds = json::optional<double>(in, "myMedianReplySeconds");
    report.theirMedianReplySeconds = json::optional<double>(in, "theirMedianReplySeconds");
    report.myInitiationRate = json::optional<double>(in, "myInitiationRate");
    report.myDoubleTextRate = json::optional<double>(in, "myDoubleTextRate");
    report.myQuestionRate = json::optional<double>(in, "myQuestionRate");
    report.myEmojiRate = json::optional<double>(in, "myEmojiRate");
    report.myAverageLength = json::optional<double>(in, "myAverageLength");
    report.myLaughter = json::required<LaughterProfile>(in, "myLaughter");
    report.myHourlyHistogram = json::required<std::vector<int>>(in, "myHourlyHistogram");
    report.myMedianLastTextMinuteOfDay = json::optional<int>(in, "myMedianLastTextMinuteOfDay");
}

void to_json(nlohmann::json& out, const OverallReport& report) {
    out = nlohmann::json::object();
    out["generatedAt"] = report.generatedAt;
    out["totalMessages"] = report.totalMessages;
    out["contactCount"] = report.contactCount;
    out["contacts"] = report.contacts;
}

void from_json(const nlohmann::json& in, OverallReport& report) {
    json::expectObject(in, "an overall report");
    report.generatedAt = json::required<Date>(in, "generatedAt");
    report.totalMessages = json::required<int>(in, "totalMessages");
    report.contactCount = json::required<int>(in, "contactCount");
    report.contacts = json::required<std::vector<ContactReport>>(in, "contacts");
}

} // namespace dovrel
