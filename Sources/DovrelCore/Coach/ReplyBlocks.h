#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace dovrel::ReplyBlocks {

// A piece of a coach message: prose, or a message the user could send as it stands.
struct Segment {
    enum class Kind { text, reply };
    Kind kind = Kind::text;
    std::string text;

    static Segment prose(std::string text) { return {Kind::text, std::move(text)}; }
    static Segment reply(std::string text) { return {Kind::reply, std::move(text)}; }
    bool operator==(const Segment&) const = default;
};

// Splits a coach message at its fenced `reply` blocks, in the order of the text. Empty pieces vanish; an
// opener that is never closed is dropped and its body stays prose.
std::vector<Segment> parse(std::string_view message);

} // namespace dovrel::ReplyBlocks
