#pragma once

#include "AI/AIProvider.h"

#include <QFuture>
#include <QString>
#include <QStringList>
#include <chrono>
#include <functional>
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
        timedOut,     // the program ran past its time limit and was stopped
    };

    static CLIError failed(int status) { return CLIError(Case::failed, status); }
    static CLIError notInstalled() { return CLIError(Case::notInstalled, std::nullopt); }
    static CLIError timedOut() { return CLIError(Case::timedOut, std::nullopt); }

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

// Where the program is looked for. By default: ~/.local/bin/claude, /usr/local/bin/claude,
// /opt/homebrew/bin/claude, ~/.claude/local/claude (the home folder read at each search), then the search
// path. The environment variable MURMORA_CLAUDE_PATHS, a list separated by ":", replaces all of that.
// A locator with paths of its own looks only there.
class Locator {
public:
    Locator() = default;
    explicit Locator(QStringList paths);

    // The places tried first, in order.
    QStringList candidates() const;
    // The first executable candidate, else (by default) what `which claude` finds. Blocks for as long as
    // `which` runs.
    std::optional<QString> locate() const;

private:
    std::optional<QStringList> paths_;
};

// The blocking run of one found program, for code that already is on a background thread. The program is
// killed when it runs past `timeLimit`, or as soon as `cancelled` says so. Throws CLIError (failed,
// timedOut) or LaunchError; a cancelled run gives an empty text.
QString runProgram(const QString& program, const QString& prompt, std::chrono::milliseconds timeLimit,
                   const std::function<bool()>& cancelled = {});

// The program as a provider. Runs happen on a pool of their own, so the calling thread never waits, and end
// with CLIError (notInstalled, failed, timedOut) or LaunchError. The program has no native tools: a coach
// round goes out as one flat prompt with the tool instructions, and a fenced tool block in the reply is the
// round's one call. The program does not stream; its whole reply reaches `onDelta` at once.
class Provider : public AIProvider {
public:
    static constexpr std::chrono::milliseconds defaultTimeLimit{240'000};

    explicit Provider(Locator locator = {}, std::chrono::milliseconds timeLimit = defaultTimeLimit);

    bool detect() override;
    // The token limit means nothing to the program.
    QFuture<QString> run(const QString& prompt, int maxTokens) override;
    QFuture<std::vector<dovrel::Agent::Block>> chat(const ChatRound& round, DeltaHandler onDelta) override;

private:
    Locator locator_;
    std::chrono::milliseconds timeLimit_;
};

} // namespace murmora::ClaudeCLI
