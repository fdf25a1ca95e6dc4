#pragma once

#ifndef Q_MOC_RUN
#include "AI/UpdateCheck.h"
#endif

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <optional>

namespace murmora {

// A newer build to offer; `valid` is false until the update check finds one.
class UpdateInfoValue {
    Q_GADGET
    QML_VALUE_TYPE(updateInfo)

    Q_PROPERTY(bool valid MEMBER valid CONSTANT)
    Q_PROPERTY(QString version MEMBER version CONSTANT)
    Q_PROPERTY(QString url MEMBER url CONSTANT)

public:
    UpdateInfoValue() = default;
    explicit UpdateInfoValue(const std::optional<UpdateCheck::Info>& info)
        : valid(info.has_value())
        , version(info ? info->version : QString())
        , url(info ? info->url : QString()) {}

    bool valid = false;
    QString version;
    QString url;
};

} // namespace murmora
