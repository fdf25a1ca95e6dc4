#pragma once

#include <QFuture>
#include <QString>
#include <QStringList>
#include <optional>
#include <stdexcept>

// The locally installed `claude` program, run with one prompt per call. The prompt travels as a command-line
// argument and the reply is what the program prints on standard output.
namespace murmora::ClaudeCLI {

// A failure of the program itself. `what()` and `message()` are the text to show the user.
class CLIError : public std::runtime_error {
public:
    enum class Case {
        failed,       // the program ended with a non-zero status
        notInstalled, // no program was found
    };

    static CLIError failed(int status) { return CLIError(Case::failed, status); }
    static CLIError notInstalled() { return CLIError(Case::notInstalled, std::nullopt); }

    Case errorCase() const { return case_; }
    // The exit status of `failed` (the signal's number when the program was killed).
    std::optional<int> status() const { return status_; }
    QString message() const;

private:
    CLIError(Case errorCase, std::optional<int> status);

    Case case_;
    std::optional<int> status_;
};

// The program was found but could not be started: it vanished, is not executable, or the prompt is longer
// than the system allows in an argument list. The text is the system's reason.
class LaunchError : public std::runtime_error {
public:
    explicit LaunchError(const QString& reason);
};

// Where the program is looked for first, in this order: ~/.local/bin/claude, /usr/local/bin/claude,
// /opt/homebrew/bin/claude, ~/.claude/local/claude. The home folder is read at each call.
QStringList candidatePaths();

// The first executable candidate, else what `which claude` finds on the search path, else nothing. Searches
// afresh at every call. Blocks for as long as `which` runs when no candidate exists.
std::optional<QString> detect();

// Finds the program and runs `prompt` through it on a background thread; the calling thread never waits.
// The future holds the program's standard output, decoded as UTF-8 and untrimmed (empty when it is not
// UTF-8), or one of: CLIError (not installed, or a non-zero exit), LaunchError. There is no timeout: a
// program that never ends leaves the future unfinished.
QFuture<QString> run(const QString& prompt);

// The blocking run of one found program, for code that already is on a background thread. Throws CLIError
// (failed) or LaunchError.
QString runProgram(const QString& program, const QString& prompt);

} // namespace murmora::ClaudeCLI
