#pragma once

#include <QString>
#include <QUrl>

// Where the relay is and who is asking. Every function may be called from any thread.
namespace murmora::RelayConfig {

// The settings key of this installation's identity.
inline constexpr char deviceIDKey[] = "relayDeviceID";

// The relay's origin ("https://relay.example.com"), without a trailing slash. Empty when the build has none.
QString address();
// The shared secret sent as x-murmora-app. Empty when the build has none.
QString appSecret();
// This installation's identity, sent as x-murmora-device: a UUID in upper case, made and stored in the
// settings on first use so that it stays the same across starts.
QString deviceID();
// True when there is both a relay address and a secret.
bool isConfigured();
// The address followed by `path` ("/v1/ai"). An invalid QUrl when that does not parse as an http(s) URL with
// a host; callers treat that as an unreachable relay.
QUrl endpoint(const QString& path);

} // namespace murmora::RelayConfig
