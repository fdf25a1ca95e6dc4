#pragma once

#include <QString>
#include <optional>
#include <stdexcept>

namespace murmora {

// A failure of the relay. `what()` and `message()` are the text to show the user; callers that must act on
// the kind of failure (the daily cap has its own note) test `errorCase()`, never the text.
class AIError : public std::runtime_error {
public:
    enum class Case {
        relayFailed, // the relay answered with a status other than 200 and 429
        dailyCap,    // the relay answered 429: this device's free requests for the day are used up
        unreachable, // no answer, or no HTTP answer
    };

    static AIError relayFailed(int status) { return AIError(Case::relayFailed, status); }
    static AIError dailyCap() { return AIError(Case::dailyCap, std::nullopt); }
    static AIError unreachable() { return AIError(Case::unreachable, std::nullopt); }

    Case errorCase() const { return case_; }
    // The HTTP status of `relayFailed`; absent for the other cases.
    std::optional<int> status() const { return status_; }
    QString message() const { return message(case_); }

    static QString message(Case errorCase);

private:
    AIError(Case errorCase, std::optional<int> status);

    Case case_;
    std::optional<int> status_;
};

// A streamed answer of the relay that began with 200 and then went wrong in transport: the connection broke,
// it went quiet past its time limit, or it sent more than a client keeps. The text is the one to show.
class RelayStreamError : public std::runtime_error {
public:
    enum class Case {
        connectionLost,
        timedOut,
        tooLarge, // a line of the stream, or a whole one-shot answer, beyond what is kept in memory
    };

    explicit RelayStreamError(Case errorCase);

    Case errorCase() const { return case_; }
    QString message() const { return QString::fromUtf8(what()); }

private:
    Case case_;
};

} // namespace murmora
