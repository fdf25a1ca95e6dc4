#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <string>

namespace murmora {

class LaughterValue;

// The shared formatters for QML: counts, reply speeds, clock times, ages and dates read on every screen
// exactly as on the recap page and in the coach's tools. A value with no printable form gives a dash.
class Fmt : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    explicit Fmt(QObject* parent = nullptr)
        : QObject(parent) {}

    // The user's locale in ICU's form; a process without one ("C") reads as American English.
    static std::string userLocale();

    Q_INVOKABLE static QString thousands(qint64 n);
    Q_INVOKABLE static QString replySpeed(double seconds);
    Q_INVOKABLE static QString clockTime(int minuteOfDay);
    Q_INVOKABLE static QString hourLabel(int hour);
    Q_INVOKABLE static QString percent(double fraction);
    Q_INVOKABLE static QString whole(double value);
    Q_INVOKABLE static QString ratioChip(double ratio, const QString& fasterWord, const QString& slowerWord,
                                         const QString& unit);
    Q_INVOKABLE static QString waitingLabel(double hours);
    // The age of `date` now; an invalid date gives a dash.
    Q_INVOKABLE static QString shortAgo(const QDateTime& date);
    Q_INVOKABLE static QString oneLine(const QString& text, int characters);
    // In the user's locale and time zone.
    Q_INVOKABLE static QString monthDay(const QDateTime& date);
    Q_INVOKABLE static QString monthYear(const QDateTime& date);
    Q_INVOKABLE static QString dayHeading(const QDateTime& date);
    Q_INVOKABLE static QString wideMonthYear(const QDateTime& date);
    // The letter a monogram shows: the first user-perceived character of the trimmed text, upper-cased;
    // "#" when nothing is left.
    Q_INVOKABLE static QString monogram(const QString& text);
    // The verdict on a median last-text minute of the day.
    Q_INVOKABLE static QString nightLine(int minuteOfDay);
    // The verdict on a median message length in characters.
    Q_INVOKABLE static QString lengthLine(int characters);
    // The laugh audit's rows (LaughRowValue), most used first.
    Q_INVOKABLE static QVariantList laughRows(const murmora::LaughterValue& laughter);
};

} // namespace murmora
