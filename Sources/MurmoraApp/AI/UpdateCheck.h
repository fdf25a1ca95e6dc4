#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <optional>

class QNetworkAccessManager;

// Asks the version file on the web whether a newer build exists. Nothing is downloaded; every failure gives
// nothing and is never shown.
namespace murmora::UpdateCheck {

// The version file: {"version": "1.4.0", "url": "https://…"}.
struct Info {
    QString version;
    QString url;

    bool operator==(const Info&) const = default;
};

// This build's version.
std::optional<QString> currentVersion();

// Where the version file lies: "/version.json" on the version host. The host may be given as a bare name
// (then https is used) or as an origin with scheme and port. Invalid when the build has no host.
QUrl versionFileURL();

// Compares dotted versions piece by piece; a missing piece or one that is not a plain integer counts as 0.
// So 1.10 is newer than 1.9, and 1.2 equals 1.2.0.
bool isNewer(const QString& version, const QString& than);

// What a body of the version file means for a build of version `current`: the info when it decodes, is
// newer than `current` and links to an https address; otherwise nothing.
std::optional<Info> evaluate(const QByteArray& body, const QString& current);

// Fetches the version file through `network` and calls `done` once with the outcome, on the thread of
// `context`. Never fails. Nothing is called when `context` is destroyed first, and the request is dropped
// with it.
void check(QNetworkAccessManager& network, QObject* context, std::function<void(std::optional<Info>)> done);

} // namespace murmora::UpdateCheck
