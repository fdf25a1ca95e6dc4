// Arbitrary bytes as what an MCP client writes to `murmora-cli mcp`.
//
// The bytes are split into lines twice, whole and in chunks cut at places chosen by the input; both must give
// the same lines, none longer than the cap. Each line then goes to the server, whose tools run for real over
// an empty corpus: it answers at most once, and every answer is one line of JSON-RPC 2.0 with a result or an
// error, never both.
#include "Coach/CoachTools.h"
#include "Coach/McpServer.h"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace dovrel;

// Small, so that oversized lines come often.
constexpr std::size_t cap = 512;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

std::vector<Mcp::LineSplitter::Line> split(std::string_view bytes, std::string_view cuts) {
    std::vector<Mcp::LineSplitter::Line> lines;
    Mcp::LineSplitter splitter(cap);
    const auto keep = [&](Mcp::LineSplitter::Line line) { lines.push_back(std::move(line)); };
    for (const char cut : cuts) {
        const std::size_t size = std::min<std::size_t>(static_cast<unsigned char>(cut), bytes.size());
        splitter.feed(bytes.substr(0, size), keep);
        bytes.remove_prefix(size);
    }
    splitter.feed(bytes, keep);
    if (std::optional<Mcp::LineSplitter::Line> last = splitter.finish()) {
        keep(std::move(*last));
    }
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    // The first bytes, up to the first NUL, say where the chunks are cut; the rest is the stream.
    const std::size_t nul = input.find('\0');
    const std::string_view cuts = nul == std::string_view::npos ? std::string_view() : input.substr(0, nul);
    const std::string_view stream = nul == std::string_view::npos ? input : input.substr(nul + 1);

    const std::vector<Mcp::LineSplitter::Line> lines = split(stream, {});
    const std::vector<Mcp::LineSplitter::Line> chunked = split(stream, cuts);
    require(lines.size() == chunked.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        require(lines[i].text == chunked[i].text && lines[i].oversized == chunked[i].oversized);
        require(lines[i].text.size() <= cap && lines[i].text.find('\n') == std::string::npos);
    }

    static Mcp::Server server(
        "0.0.0", [](const Agent::ToolUse& use, std::function<void(Mcp::ToolAnswer)> done) {
            CoachTools::Output output = CoachTools::run(CoachTools::CorpusView(), use, std::nullopt);
            done({std::move(output.status), std::move(output.result), false});
        });
    for (const Mcp::LineSplitter::Line& line : lines) {
        std::vector<std::string> replies;
        const auto reply = [&](const std::string& text) { replies.push_back(text); };
        if (line.oversized) {
            server.receiveOversized(reply);
        } else {
            server.receive(line.text, reply);
        }
        require(replies.size() <= 1);
        for (const std::string& text : replies) {
            require(text.find('\n') == std::string::npos);
            const nlohmann::json message = nlohmann::json::parse(text);
            require(message.at("jsonrpc") == "2.0" && message.contains("id"));
            require(message.contains("result") != message.contains("error"));
        }
    }
    return 0;
}
