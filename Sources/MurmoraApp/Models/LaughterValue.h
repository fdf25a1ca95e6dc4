#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/LaughterProfile.h"
#endif

#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// How often the user laughed in writing, by form.
class LaughterValue {
    Q_GADGET
    QML_VALUE_TYPE(laughter)

    Q_PROPERTY(int hahaCount MEMBER hahaCount CONSTANT)
    Q_PROPERTY(int capsHahaCount MEMBER capsHahaCount CONSTANT)
    Q_PROPERTY(int lolCount MEMBER lolCount CONSTANT)
    Q_PROPERTY(int laughEmojiCount MEMBER laughEmojiCount CONSTANT)
    Q_PROPERTY(int total READ total CONSTANT)

public:
    LaughterValue() = default;
    explicit LaughterValue(const dovrel::LaughterProfile& profile)
        : hahaCount(profile.hahaCount)
        , capsHahaCount(profile.capsHahaCount)
        , lolCount(profile.lolCount)
        , laughEmojiCount(profile.laughEmojiCount) {}

    int total() const { return hahaCount + capsHahaCount + lolCount + laughEmojiCount; }

    int hahaCount = 0;
    int capsHahaCount = 0;
    int lolCount = 0;
    int laughEmojiCount = 0;
};

} // namespace murmora
