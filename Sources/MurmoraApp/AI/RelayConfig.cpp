#include "AI/RelayConfig.h"

#include "Foundation/UUID.h"
#include "Platform/BuildSettings.h"

#include <QSettings>

namespace murmora::RelayConfig {

QString address() {
    QString origin = BuildSettings::relayURL();
    while (origin.endsWith(QLatin1Char('/'))) {
        origin.chop(1);
    }
    return origin;
}

QString appSecret() {
    return BuildSettings::relaySecret();
}

QString deviceID() {
    QSettings settings;
    const QString key = QString::fromLatin1(deviceIDKey);
    QString id = settings.value(key).toString();
    if (id.isEmpty()) {
        id = QString::fromStdString(dovrel::makeUUID());
        settings.setValue(key, id);
    }
    return id;
}

bool isConfigured() {
    return !address().isEmpty() && !appSecret().isEmpty();
}

QUrl endpoint(const QString& path) {
    const QUrl url(address() + path, QUrl::StrictMode);
    const QString scheme = url.scheme();
    if (!url.isValid() || url.host().isEmpty() ||
        (scheme != QLatin1String("https") && scheme != QLatin1String("http"))) {
        return {};
    }
    return url;
}

} // namespace murmora::RelayConfig
