#include "AI/AIError.h"

namespace murmora {

AIError::AIError(Case errorCase, std::optional<int> status)
    : std::runtime_error(message(errorCase).toStdString())
    , case_(errorCase)
    , status_(status) {}

QString AIError::message(Case errorCase) {
    switch (errorCase) {
    case Case::relayFailed:
        return QStringLiteral("Murmora AI had a hiccup \u2014 try again in a minute.");
    case Case::dailyCap:
        return QStringLiteral("You've hit today's free-tier limit \u2014 it resets tomorrow.");
    case Case::unreachable:
        return QStringLiteral("Couldn't reach Murmora AI \u2014 check your connection and try again.");
    }
    return {};
}

namespace {

const char* streamMessage(RelayStreamError::Case errorCase) {
    switch (errorCase) {
    case RelayStreamError::Case::connectionLost:
        return "The network connection was lost.";
    case RelayStreamError::Case::timedOut:
        return "The request timed out.";
    case RelayStreamError::Case::tooLarge:
        return "Murmora AI sent more than the app can take in one answer.";
    }
    return "";
}

} // namespace

RelayStreamError::RelayStreamError(Case errorCase)
    : std::runtime_error(streamMessage(errorCase))
    , case_(errorCase) {}

} // namespace murmora
