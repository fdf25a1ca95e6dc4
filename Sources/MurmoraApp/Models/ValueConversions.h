#pragma once

// How core values look to QML: UTF-8 text as QString, a Date as a QDateTime, an absent value as undefined.
#ifndef Q_MOC_RUN
#include "Foundation/Date.h"
#endif

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <QVariant>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace murmora::qml {

inline QString text(const std::string& value) {
    return QString::fromStdString(value);
}

inline QString text(std::string_view value) {
    return QString::fromUtf8(value.data(), static_cast<qsizetype>(value.size()));
}

// An absent text reads as the empty string; no text the screens show is ever empty when present.
inline QString text(const std::optional<std::string>& value) {
    return value ? QString::fromStdString(*value) : QString();
}

inline QDateTime date(dovrel::Date value) {
    return QDateTime::fromMSecsSinceEpoch(std::llround((value.seconds + dovrel::Date::unixOffset) * 1000.0),
                                          QTimeZone::utc());
}

// Absent stays absent: an invalid QVariant, which QML reads as undefined, never 0.
template <typename T> QVariant optional(const std::optional<T>& value) {
    return value ? QVariant::fromValue(*value) : QVariant();
}

inline QVariant optional(const std::optional<dovrel::Date>& value) {
    return value ? QVariant(date(*value)) : QVariant();
}

inline QList<int> ints(const std::vector<int>& values) {
    return QList<int>(values.begin(), values.end());
}

inline QStringList texts(const std::vector<std::string>& values) {
    QStringList out;
    out.reserve(static_cast<qsizetype>(values.size()));
    for (const std::string& value : values) {
        out.append(QString::fromStdString(value));
    }
    return out;
}

} // namespace murmora::qml
