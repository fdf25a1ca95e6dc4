#include "Coach/ReplyBlocks.h"

#include "Foundation/Unicode.h"

namespace dovrel::ReplyBlocks {
namespace {

constexpr std::string_view opener = "```reply";
constexpr std::string_view fence = "```";

void appendIfNotEmpty(std::vector<Segment>& segments, std::string_view piece, Segment::Kind kind) {
    const std::string_view trimmed = unicode::trimmed(piece);
    if (!trimmed.empty()) {
        segments.push_back({kind, std::string(trimmed)});
    }
}

} // namespace

std::vector<Segment> parse(std::string_view message) {
    std::vector<Segment> segments;
    std::string_view rest = message;
    while (true) {
        const std::size_t open = rest.find(opener);
        if (open == std::string_view::npos) {
            break;
        }
        appendIfNotEmpty(segments, rest.substr(0, open), Segment::Kind::text);
        const std::string_view after = rest.substr(open + opener.size());
        const std::size_t close = after.find(fence);
        if (close == std::string_view::npos) {
            rest = after;
            break;
        }
        appendIfNotEmpty(segments, after.substr(0, close), Segment::Kind::reply);
        rest = after.substr(close + fence.size());
    }
    appendIfNotEmpty(segments, rest, Segment::Kind::text);
    return segments;
}

} // namespace dovrel::ReplyBlocks
