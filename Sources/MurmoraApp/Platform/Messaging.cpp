#include "Platform/Messaging.h"

#include "Format/Fmt.h"
#include "Format/Format.h"
#include "Measurement/PersonInsights.h"
#include "Output/WrappedHTML.h"
#include "Platform/BuildSettings.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>

#if defined(Q_OS_MACOS)
#include "Platform/ShareService.h"
#endif

namespace murmora::Messaging {

QUrl threadURL(const QString& handle, const QString& body) {
    // toPercentEncoding leaves the unreserved marks alone by default; they are encoded here too.
    const QByteArray unreservedMarks = QByteArrayLiteral("-._~");
    const QByteArray encodedBody = QUrl::toPercentEncoding(body, QByteArray(), unreservedMarks);
    const QByteArray encodedHandle =
        QUrl::toPercentEncoding(handle, QByteArrayLiteral("+@."), QByteArrayLiteral("-_~"));
    // No question mark: the body follows the handle directly.
    const QString text = QStringLiteral("sms:") + QString::fromLatin1(encodedHandle) +
                         QStringLiteral("&body=") + QString::fromLatin1(encodedBody);
    return QUrl(text, QUrl::StrictMode);
}

void openThread(const QString& handle, const QString& body) {
    const QUrl url = threadURL(handle, body);
    if (url.isValid()) {
        QDesktopServices::openUrl(url);
    }
}

bool sendCard(const QImage& image, const QString& caption, const QStringList& recipients) {
#if defined(Q_OS_MACOS)
    return ShareService::composeMessage(image, caption, recipients);
#else
    Q_UNUSED(image);
    Q_UNUSED(caption);
    Q_UNUSED(recipients);
    return false;
#endif
}

void copyCard(const QImage& image) {
    if (QClipboard* clipboard = QGuiApplication::clipboard()) {
        clipboard->setImage(image);
    }
}

QString duoMessage(const QString& name, const dovrel::PersonInsights& person, const QStringList& topics,
                   std::optional<int> rank) {
    Q_UNUSED(name);
    const dovrel::ContactReport& report = person.report;
    const QString since = QString::fromStdString(
        dovrel::Format::monthYear(report.firstMessage, dovrel::Calendar::current(), Fmt::userLocale()));
    const std::int64_t count = static_cast<std::int64_t>(report.sentCount) + report.receivedCount;

    QStringList sentences;
    sentences << QStringLiteral("murmora just read our texts: %1 messages since %2")
                     .arg(QString::fromStdString(dovrel::WrappedHTML::thousands(count)), since);
    if (rank) {
        sentences << (*rank == 1 ? QStringLiteral("you're officially my #1")
                                 : QStringLiteral("you're #%1 in my top five").arg(*rank));
    }
    if (!topics.isEmpty()) {
        sentences << QStringLiteral("apparently we mostly talk about %1")
                         .arg(topics.mid(0, 2).join(QStringLiteral(" and ")));
    }
    // The text speaks to the other person, so "your" reply time is theirs.
    if (report.theirMedianReplySeconds) {
        sentences << QStringLiteral("your median reply time is %1 btw")
                         .arg(QString::fromStdString(
                             dovrel::WrappedHTML::replySpeed(*report.theirMedianReplySeconds)));
    }
    sentences << QStringLiteral("get yours \u2192 ") + BuildSettings::siteURL();
    return sentences.join(QStringLiteral(". "));
}

} // namespace murmora::Messaging
