#pragma once

#include "Foundation/Calendar.h"
#include "Measurement/ContactReport.h"
#include "Measurement/MeasuredThread.h"
#include "MessageSources/MessageRecords.h"

#include <optional>
#include <span>

namespace dovrel::ReportBuilder {

// Threads shorter than this get no report.
inline constexpr int minimumMessages = 10;

// The report over the whole thread; absent under `minimumMessages` messages. Hours and days are told in
// `calendar`.
std::optional<ContactReport> contactReport(const ContactThread& thread, const Calendar& calendar);
// The same from a thread measured as a whole (throws std::invalid_argument for one measured in a scope).
std::optional<ContactReport> contactReport(const MeasuredThread& measured);

// Reports of the threads in the order given, skipping those too short, the first `top` kept.
// `totalMessages` counts every thread passed in.
OverallReport overallReport(std::span<const ContactThread> threads, int top, const Calendar& calendar,
                            Date now);

} // namespace dovrel::ReportBuilder
