#pragma once

// What the commands share in how they start: the exit codes, the access check and the words for a failed run.

#include "Cli/Arguments.h"

#include <exception>
#include <iosfwd>
#include <string>

namespace murmora {

class AppState;

constexpr int exitFailed = 1;
constexpr int exitNoAccess = 2;
constexpr int exitDailyCap = 3;
constexpr int exitUsage = 64;

// Whether the Messages database of $HOME can be opened; says why not on `err`.
bool canReadDatabase(std::ostream& err);

struct Failure {
    int code;
    std::string text;
};

// Why a run failed, said to a person first, with the error's own form after it. A database that is missing,
// unreadable, damaged or of a layout that cannot be read exits 2; a run that read it and failed exits 1.
Failure describe(const std::exception_ptr& failure);

// The days the launch run reads: those of `--days`, else those the saved profile was learned over.
void setLaunchRunDays(AppState& state, const cli::Invocation& invocation);

} // namespace murmora
