#include "Foundation/Json.h"

#include <cmath>
#include <limits>

namespace dovrel {

void to_json(nlohmann::json& out, const Date& date) {
    out = date.seconds;
}

void from_json(const nlohmann::json& in, Date& date) {
    json::read(in, date.seconds);
}

void to_json(nlohmann::json& out, const DateInterval& interval) {
    out = nlohmann::json::object();
    out["start"] = interval.start;
    out["duration"] = interval.duration;
}

void from_json(const nlohmann::json& in, DateInterval& interval) {
    json::expectObject(in, "an interval");
    interval.start = json::required<Date>(in, "start");
    interval.duration = json::required<double>(in, "duration");
}

namespace json {
namespace {

struct TooDeep : std::exception {};

} // namespace

std::optional<Json> parseBounded(std::string_view text) {
    try {
        return Json::parse(text.begin(), text.end(), [](int depth, Json::parse_event_t, Json&) {
            if (depth > maxNesting) {
                throw TooDeep();
            }
            return true;
        });
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void expectObject(const Json& value, const char* what) {
    if (!value.is_object()) {
        throw DecodeError(std::string("expected ") + what + " (an object)");
    }
}

void read(const Json& value, int& out) {
    constexpr auto low = std::numeric_limits<int>::min();
    constexpr auto high = std::numeric_limits<int>::max();
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number <= static_cast<std::uint64_t>(high)) {
            out = static_cast<int>(number);
            return;
        }
    } else if (value.is_number_integer()) {
        const auto number = value.get<std::int64_t>();
        if (number >= low && number <= high) {
            out = static_cast<int>(number);
            return;
        }
    } else if (value.is_number_float()) {
        // 3.0 is an integer written by an encoder that only knows doubles; 3.5 is not.
        const double number = value.get<double>();
        if (std::isfinite(number) && number == std::trunc(number) && number >= low && number <= high) {
            out = static_cast<int>(number);
            return;
        }
    }
    throw DecodeError("expected an integer");
}

void read(const Json& value, double& out) {
    if (!value.is_number()) {
        throw DecodeError("expected a number");
    }
    out = value.get<double>();
}

void read(const Json& value, bool& out) {
    if (!value.is_boolean()) {
        throw DecodeError("expected a boolean");
    }
    out = value.get<bool>();
}

void read(const Json& value, std::string& out) {
    if (!value.is_string()) {
        throw DecodeError("expected a string");
    }
    out = value.get<std::string>();
}

} // namespace json
} // namespace dovrel
