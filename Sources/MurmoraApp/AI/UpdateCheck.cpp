#include "AI/UpdateCheck.h"

#include "Platform/BuildSettings.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QStringList>

namespace murmora::UpdateCheck {
namespace {

constexpr int timeoutMilliseconds = 60'000;

QList<qlonglong> pieces(const QString& version) {
    QList<qlonglong> numbers;
    for (const QString& piece : version.split(QLatin1Char('.'), Qt::SkipEmptyParts)) {
        bool plain = !piece.isEmpty();
        for (const QChar c : piece) {
            plain = plain && c >= QLatin1Char('0') && c <= QLatin1Char('9');
        }
        bool ok = false;
        const qlonglong number = plain ? piece.toLongLong(&ok) : 0;
        numbers.append(ok ? number : 0);
    }
    return numbers;
}

} // namespace

std::optional<QString> currentVersion() {
    const QString version = BuildSettings::version();
    return version.isEmpty() ? std::nullopt : std::optional<QString>(version);
}

QUrl versionFileURL() {
    QString origin = BuildSettings::versionHost();
    if (origin.isEmpty()) {
        return {};
    }
    if (!origin.contains(QStringLiteral("://"))) {
        origin.prepend(QStringLiteral("https://"));
    }
    while (origin.endsWith(QLatin1Char('/'))) {
        origin.chop(1);
    }
    const QUrl url(origin + QStringLiteral("/version.json"), QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() ? url : QUrl();
}

bool isNewer(const QString& version, const QString& than) {
    const QList<qlonglong> left = pieces(version);
    const QList<qlonglong> right = pieces(than);
    const qsizetype length = std::max(left.size(), right.size());
    for (qsizetype i = 0; i < length; ++i) {
        const qlonglong a = i < left.size() ? left[i] : 0;
        const qlonglong b = i < right.size() ? right[i] : 0;
        if (a != b) {
            return a > b;
        }
    }
    return false;
}

std::optional<Info> evaluate(const QByteArray& body, const QString& current) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    const QJsonValue version = object.value(QStringLiteral("version"));
    const QJsonValue url = object.value(QStringLiteral("url"));
    if (!version.isString() || !url.isString()) {
        return std::nullopt;
    }
    Info info{version.toString(), url.toString()};
    if (!isNewer(info.version, current)) {
        return std::nullopt;
    }
    // Only a secure link is offered; the scheme must be written exactly "https".
    const QUrl link(info.url, QUrl::StrictMode);
    if (!link.isValid() || link.scheme() != QLatin1String("https") ||
        !info.url.startsWith(QLatin1String("https:"))) {
        return std::nullopt;
    }
    return info;
}

void check(QNetworkAccessManager& network, QObject* context, std::function<void(std::optional<Info>)> done) {
    const std::optional<QString> current = currentVersion();
    const QUrl url = versionFileURL();
    if (!current || !url.isValid()) {
        QMetaObject::invokeMethod(
            context, [done] { done(std::nullopt); }, Qt::QueuedConnection);
        return;
    }
    QNetworkRequest request(url);
    request.setTransferTimeout(timeoutMilliseconds);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    // The reply belongs to `context`, so the request ends with it and its answer is never delivered.
    QNetworkReply* reply = network.get(request);
    reply->setParent(context);
    QObject::connect(reply, &QNetworkReply::finished, context, [reply, current, done] {
        // Any HTTP answer counts, whatever its status: only whether the body decodes matters. A failure
        // below HTTP (no server, a timeout, a connection broken off) is nothing. Qt reports HTTP statuses
        // as errors from ContentAccessDenied on; everything below that is the transport's.
        const QNetworkReply::NetworkError error = reply->error();
        const bool answered = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
        const bool broken =
            !answered || (error != QNetworkReply::NoError && error < QNetworkReply::ContentAccessDenied);
        const std::optional<Info> info = broken ? std::nullopt : evaluate(reply->readAll(), *current);
        reply->deleteLater();
        done(info);
    });
}

} // namespace murmora::UpdateCheck
