#include "Platform/BuildSettings.h"

#include "MurmoraBuildSettings.h"

#include <QtGlobal>

namespace murmora::BuildSettings {
namespace {

QString overridable(const char* variable, const char* baked) {
    if (qEnvironmentVariableIsSet(variable)) {
        return qEnvironmentVariable(variable).trimmed();
    }
    return QString::fromUtf8(baked).trimmed();
}

} // namespace

QString relayURL() {
    return overridable("MURMORA_RELAY_URL", baked::relayURL);
}

QString relaySecret() {
    return overridable("MURMORA_RELAY_SECRET", baked::relaySecret);
}

QString versionHost() {
    return overridable("MURMORA_VERSION_HOST", baked::versionHost);
}

QString siteURL() {
    return QString::fromUtf8(baked::siteURL).trimmed();
}

QString version() {
    return QString::fromUtf8(baked::version);
}

} // namespace murmora::BuildSettings
