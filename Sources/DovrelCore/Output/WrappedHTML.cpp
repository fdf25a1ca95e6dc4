#include "Output/WrappedHTML.h"

#include "Foundation/TemporaryFolder.h"
#include "Foundation/UUID.h"

#include <fstream>
#include <stdexcept>

namespace dovrel::WrappedHTML {

std::string replyLine(double seconds) {
    if (seconds < 60) {
        return "You don't leave people hanging.";
    }
    if (seconds < 300) {
        return "Quick thumbs. Reliable heart.";
    }
    if (seconds < 3600) {
        return "You get there. Eventually.";
    }
    return "A slow burn. They wait for you.";
}

std::string lengthLine(int chars) {
    if (chars < 20) {
        return "A person of few words.";
    }
    if (chars < 60) {
        return "Right-sized thoughts.";
    }
    return "You don't text. You correspond.";
}

std::string nightLine(int minuteOfDay) {
    // 23:00 to 03:59 wraps around midnight.
    if (minuteOfDay < 240 || minuteOfDay > 1379) {
        return "Night owl. Confirmed by the data.";
    }
    if (minuteOfDay < 1260) {
        return "You actually sleep. Impressive.";
    }
    return "Respectable bedtime. Mostly.";
}

std::string escape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::filesystem::path writeToTemporaryFolder(std::string_view html) {
    namespace fs = std::filesystem;
    const fs::path folder = temporaryFolder();
    const std::string uuid = makeUUID();
    const fs::path target = folder / ("murmora-wrapped-" + uuid + ".html");
    // Written beside the target under another name, then renamed over it, so no reader sees half a page.
    const fs::path staging = folder / (".murmora-wrapped-" + uuid + ".html.partial");
    try {
        {
            std::ofstream out(staging, std::ios::binary | std::ios::trunc);
            out.write(html.data(), static_cast<std::streamsize>(html.size()));
            out.flush();
            if (!out) {
                throw std::runtime_error("cannot write " + staging.string());
            }
        }
        fs::rename(staging, target);
    } catch (...) {
        std::error_code ignored;
        fs::remove(staging, ignored);
        throw;
    }
    return target;
}

} // namespace dovrel::WrappedHTML
