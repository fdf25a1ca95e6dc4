#include "Format/Fmt.h"

#include "Format/Format.h"
#include "Foundation/Unicode.h"
#include "Models/LaughRowValue.h"
#include "Models/LaughterValue.h"
#include "Output/WrappedHTML.h"

#include <QLocale>

namespace murmora {
namespace {

QString text(const std::string& value) {
    return QString::fromStdString(value);
}

std::optional<dovrel::Date> dateOf(const QDateTime& date) {
    if (!date.isValid()) {
        return std::nullopt;
    }
    return dovrel::Date::fromUnix(static_cast<double>(date.toMSecsSinceEpoch()) / 1000.0);
}

} // namespace

std::string Fmt::userLocale() {
    const QString name = QLocale::system().name();
    if (name.isEmpty() || name == QLatin1String("C") || name == QLatin1String("POSIX")) {
        return "en_US";
    }
    return name.toStdString();
}

QString Fmt::thousands(qint64 n) {
    return text(dovrel::Format::thousands(n));
}

QString Fmt::replySpeed(double seconds) {
    return text(dovrel::Format::replySpeed(seconds));
}

QString Fmt::clockTime(int minuteOfDay) {
    return text(dovrel::Format::clockTime(minuteOfDay));
}

QString Fmt::hourLabel(int hour) {
    return text(dovrel::Format::hourLabel(hour));
}

QString Fmt::percent(double fraction) {
    return text(dovrel::Format::percent(fraction));
}

QString Fmt::whole(double value) {
    return text(dovrel::Format::whole(value));
}

QString Fmt::ratioChip(double ratio, const QString& fasterWord, const QString& slowerWord,
                       const QString& unit) {
    return text(dovrel::Format::ratioChip(ratio, fasterWord.toStdString(), slowerWord.toStdString(),
                                          unit.toStdString()));
}

QString Fmt::waitingLabel(double hours) {
    return text(dovrel::Format::waitingLabel(hours));
}

QString Fmt::shortAgo(const QDateTime& date) {
    const std::optional<dovrel::Date> when = dateOf(date);
    if (!when) {
        return text(std::string(dovrel::Format::dash));
    }
    return text(dovrel::Format::shortAgo(dovrel::Date::now() - *when));
}

QString Fmt::oneLine(const QString& line, int characters) {
    return text(
        dovrel::Format::oneLine(line.toStdString(), static_cast<std::size_t>(std::max(characters, 0))));
}

QString Fmt::monthDay(const QDateTime& date) {
    const std::optional<dovrel::Date> when = dateOf(date);
    return when ? text(dovrel::Format::monthDay(*when, dovrel::Calendar::current(), userLocale()))
                : text(std::string(dovrel::Format::dash));
}

QString Fmt::monthYear(const QDateTime& date) {
    const std::optional<dovrel::Date> when = dateOf(date);
    return when ? text(dovrel::Format::monthYear(*when, dovrel::Calendar::current(), userLocale()))
                : text(std::string(dovrel::Format::dash));
}

QString Fmt::wideMonthYear(const QDateTime& date) {
    const std::optional<dovrel::Date> when = dateOf(date);
    return when ? text(dovrel::Format::wideMonthYear(*when, dovrel::Calendar::current(), userLocale()))
                : text(std::string(dovrel::Format::dash));
}

QString Fmt::dayHeading(const QDateTime& date) {
    const std::optional<dovrel::Date> when = dateOf(date);
    return when ? text(dovrel::Format::dayHeading(*when, dovrel::Calendar::current(), userLocale()))
                : text(std::string(dovrel::Format::dash));
}

QString Fmt::monogram(const QString& name) {
    const std::string utf8 = name.toStdString();
    std::string first;
    dovrel::unicode::forEachGrapheme(dovrel::unicode::trimmed(utf8), [&first](std::string_view grapheme) {
        if (first.empty()) {
            first = grapheme;
        }
    });
    return first.empty() ? QStringLiteral("#") : text(first).toUpper();
}

QString Fmt::nightLine(int minuteOfDay) {
    return text(dovrel::WrappedHTML::nightLine(minuteOfDay));
}

QString Fmt::lengthLine(int characters) {
    return text(dovrel::WrappedHTML::lengthLine(characters));
}

QVariantList Fmt::laughRows(const LaughterValue& laughter) {
    dovrel::LaughterProfile profile;
    profile.hahaCount = laughter.hahaCount;
    profile.capsHahaCount = laughter.capsHahaCount;
    profile.lolCount = laughter.lolCount;
    profile.laughEmojiCount = laughter.laughEmojiCount;
    QVariantList rows;
    for (const dovrel::LaughRow& row : dovrel::laughRows(profile)) {
        rows.append(QVariant::fromValue(LaughRowValue(row)));
    }
    return rows;
}

} // namespace murmora
