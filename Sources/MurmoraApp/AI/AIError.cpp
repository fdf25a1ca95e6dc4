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

} // namespace murmora
