#pragma once

// JSON conventions of every stored record: keys are field names, an absent optional is an absent key (never
// null), dates are seconds since 2001-01-01 UTC as a number, an interval is {start, duration}.
//
// Reading is strict about types (nlohmann's own conversions would turn `true` into 1 or 2.7 into 2) and
// throws json::DecodeError with the offending key, so a damaged file is rejected, never half-read.

#include "Foundation/Date.h"
#include "Foundation/DateInterval.h"

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

void to_json(nlohmann::json& out, const Date& date);
void from_json(const nlohmann::json& in, Date& date);
void to_json(nlohmann::json& out, const DateInterval& interval);
void from_json(const nlohmann::json& in, DateInterval& interval);

namespace json {

using Json = nlohmann::json;

class DecodeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Deeper nesting than this is nothing a relay, a model or a stored file sends; refusing it bounds the work a
// hostile text can cause.
inline constexpr int maxNesting = 512;

// `text` parsed as JSON, or absent when it is none or nests deeper than `maxNesting`.
std::optional<Json> parseBounded(std::string_view text);

// Throws DecodeError unless `value` is an object.
void expectObject(const Json& value, const char* what);

// The integer a JSON number holds: any number without a fraction that fits in 64 bits, as an encoder that
// only knows doubles writes 40 as 40.0. Throws DecodeError for anything else.
std::int64_t integer(const Json& value);
// The integer under `key`; absent when the key is absent or null. Throws DecodeError naming the key.
std::optional<std::int64_t> optionalInteger(const Json& object, const char* key);

void read(const Json& value, int& out);
void read(const Json& value, double& out);
void read(const Json& value, bool& out);
void read(const Json& value, std::string& out);

// Records: their own `from_json`, found next to the type.
template <class T> void read(const Json& value, T& out) {
    from_json(value, out);
}

template <class T> void read(const Json& value, std::vector<T>& out) {
    if (!value.is_array()) {
        throw DecodeError("expected an array");
    }
    out.clear();
    out.reserve(value.size());
    for (const Json& element : value) {
        T item{};
        read(element, item);
        out.push_back(std::move(item));
    }
}

template <class T> void read(const Json& value, std::map<std::string, T>& out) {
    if (!value.is_object()) {
        throw DecodeError("expected an object");
    }
    out.clear();
    for (const auto& [key, element] : value.items()) {
        T item{};
        try {
            read(element, item);
        } catch (const DecodeError& error) {
            throw DecodeError(key + ": " + error.what());
        }
        out.emplace(key, std::move(item));
    }
}

// The value under `key`, which must be there and not null.
template <class T> T required(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        throw DecodeError(std::string("missing key \"") + key + "\"");
    }
    T value{};
    try {
        read(*found, value);
    } catch (const DecodeError& error) {
        throw DecodeError(std::string(key) + ": " + error.what());
    }
    return value;
}

// The value under `key`; a missing key (or null, which no writer of ours produces) is absent.
template <class T> std::optional<T> optional(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        return std::nullopt;
    }
    T value{};
    try {
        read(*found, value);
    } catch (const DecodeError& error) {
        throw DecodeError(std::string(key) + ": " + error.what());
    }
    return value;
}

template <class T> void writeOptional(Json& object, const char* key, const std::optional<T>& value) {
    if (value) {
        object[key] = *value;
    }
}

} // namespace json
} // namespace dovrel
