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

std::int64_t integer(const Json& value) {
    constexpr double limit = 9'223'372'036'854'775'808.0; // 2^63, the first double above every int64
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return static_cast<std::int64_t>(number);
        }
    } else if (value.is_number_integer()) {
        return value.get<std::int64_t>();
    } else if (value.is_number_float()) {
        const double number = value.get<double>();
        if (std::isfinite(number) && number == std::trunc(number) && number >= -limit && number < limit) {
            return static_cast<std::int64_t>(number);
        }
    }
    throw DecodeError("expected an integer");
}

std::optional<std::int64_t> optionalInteger(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        return std::nullopt;
    }
    try {
        return integer(*found);
    } catch (const DecodeError&) {
        throw DecodeError(std::string(key) + ": expected an integer");
    }
}

void read(const Json& value, int& out) {
    const std::int64_t number = integer(value);
    if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max()) {
        throw DecodeError("expected an integer");
    }
    out = static_cast<int>(number);
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
