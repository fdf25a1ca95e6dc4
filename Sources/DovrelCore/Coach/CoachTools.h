#pragma once

#include "Coach/Agent.h"
#include "Coach/AgentTools.h"
#include "Foundation/Calendar.h"
#include "Foundation/Date.h"
#include "Measurement/GroupStats.h"
#include "Measurement/PersonInsights.h"
#include "Measurement/Trends.h"
#include "Measurement/WrappedStats.h"
#include "MessageSources/GroupRecords.h"
#include "MessageSources/MessageRecords.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// The coach's tools: each a named handler over a read-only view of the corpus. A call gives a status line
// the user sees and a result only the model reads; no tool fails, every problem is a result text.
namespace dovrel::CoachTools {

// Where the group chats are. A finished load that failed is `unavailable` and answers as a load that
// found no group: waiting longer would not help.
enum class GroupStatus { loading, loaded, unavailable };

// What the tools read. Every part is shared and never changed once made, so a view may be copied to a
// worker while the application goes on; a null part reads as empty.
struct CorpusView {
    std::shared_ptr<const std::vector<PersonInsights>> people;                     // most messages first
    std::shared_ptr<const std::unordered_map<std::string, ContactThread>> threads; // by handle
    std::shared_ptr<const std::map<std::string, std::string>> names;               // handle to name
    std::shared_ptr<const WrappedStats> stats;                                     // null before a run
    std::shared_ptr<const std::vector<GroupThread>> groups;
    GroupStatus groupStatus = GroupStatus::loading;
    // Computed earlier and kept by the caller: group statistics by guid, month points by handle.
    std::shared_ptr<const std::map<std::string, GroupStats>> groupStats;
    std::shared_ptr<const std::map<std::string, std::vector<Trends::MonthPoint>>> trends;
    // The user's calendar and locale; the calendar is used by one thread at a time, so each copy has its own.
    Calendar calendar{"UTC"};
    std::string locale = "en_US";
    Date now;

    // names[handle], else the fallback, else the handle; an empty name counts as none.
    std::string name(const std::string& handle,
                     const std::optional<std::string>& fallback = std::nullopt) const;
    // The group's own name, else the first names of its first members.
    std::string groupName(const GroupThread& group) const;
    // The first person, most messages first, whose name holds `name` ignoring case. Into `people`.
    const PersonInsights* findPerson(const std::optional<std::string>& name) const;
    // The first group whose name holds `name` ignoring case, else the first with such a member.
    const GroupThread* findGroup(const std::optional<std::string>& name) const;
    // The one thread of the person `name` finds; all threads when it finds nobody, so a search widens
    // rather than fails.
    std::vector<const ContactThread*> threadsFor(const std::optional<std::string>& name) const;
};

// What one call gives, and what it computed that the caller may keep for the next view.
struct Output {
    std::string status;
    std::string result;
    std::optional<std::pair<std::string, std::vector<Trends::MonthPoint>>> computedTrends; // by handle
    std::map<std::string, GroupStats> computedGroupStats;                                  // by guid
};

// The status of a call that did not run: malformed input, an unknown tool, no state.
inline constexpr std::string_view skippedStatus = "Tool skipped.";

// Tool results cut their limit to this many items.
inline constexpr std::int64_t maxLimit = 60;

// The tools by name, in the order the model is offered them.
std::vector<std::string_view> names();
// Whether the call reads group chats, so that a caller can start their load (or wait for it) first.
bool readsGroups(std::string_view tool, bool hasGroupField);
// Runs one call of the model over the view. `focused` is the person the chat is about, if any: the tools
// that read one person fall back to them, the searches do not.
Output run(const CorpusView& view, const Agent::ToolUse& use, const std::optional<PersonInsights>& focused);

} // namespace dovrel::CoachTools
