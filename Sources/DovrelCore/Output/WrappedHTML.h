#pragma once

#include "Format/Format.h"
#include "Foundation/Calendar.h"
#include "Measurement/LocalArchetype.h"
#include "Measurement/WrappedStats.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

// The recap page and the verdict lines it shares with the slides and cards.
namespace dovrel::WrappedHTML {

// The shared formatters, under the names the page's callers know them by.
using Format::clockTime;
using Format::hourLabel;
using Format::replySpeed;
using Format::thousands;

// The verdicts on a median reply time, a median text length and a median last-text minute of the day.
std::string replyLine(double seconds);
std::string lengthLine(int chars);
std::string nightLine(int minuteOfDay);

// Replaces &, <, > and the double quote by their entities. The single quote is left alone.
std::string escape(std::string_view text);

// The whole recap page, a self-contained HTML document. `names` maps a handle to the name to show for it;
// `calendar` gives the time zone of the dates on the page. Never fails.
std::string render(const WrappedStats& stats, const std::map<std::string, std::string>& names,
                   const std::optional<Archetype>& archetype, const Calendar& calendar);

// Writes `html` as UTF-8, atomically, to a new file "murmora-wrapped-{UUID}.html" in the temporary folder,
// and returns its path. Earlier files are left in place. Throws std::filesystem::filesystem_error or
// std::runtime_error when the file cannot be written.
std::filesystem::path writeToTemporaryFolder(std::string_view html);

} // namespace dovrel::WrappedHTML
