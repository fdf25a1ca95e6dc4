#pragma once

#include <QString>

// The settings fixed when the application was built. The relay's address and secret and the host of the
// version file can be overridden by environment variables of the same names (MURMORA_RELAY_URL,
// MURMORA_RELAY_SECRET, MURMORA_VERSION_HOST), so a self-hosted relay needs no rebuild. A variable that is
// set wins even when it is empty: that is how a build with a relay is run without one.
namespace murmora::BuildSettings {

QString relayURL();
QString relaySecret();
QString versionHost();
// The product's web address, as shown to people: on cards, under shared texts.
QString siteURL();
// The application's version, dotted numbers.
QString version();

} // namespace murmora::BuildSettings
