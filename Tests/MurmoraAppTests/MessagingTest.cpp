#ifndef Q_MOC_RUN
#include "Platform/Messaging.h"

#include "Measurement/PersonInsights.h"
#include "Platform/BuildSettings.h"
#endif

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QLocale>
#include <QTest>

using namespace murmora;

class MessagingTest : public QObject {
    Q_OBJECT

public slots:
    // Stands in for the Messages application: receives what openThread opens.
    void openedByDesktop(const QUrl& url) { opened_.append(url); }

private slots:
    void initTestCase() {
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QDesktopServices::setUrlHandler(QStringLiteral("sms"), this, "openedByDesktop");
    }
    void cleanupTestCase() { QDesktopServices::unsetUrlHandler(QStringLiteral("sms")); }

    void threadURLsKeepHandlesAndEncodeBodies_data() {
        QTest::addColumn<QString>("handle");
        QTest::addColumn<QString>("body");
        QTest::addColumn<QString>("url");
        QTest::newRow("phone with a plus") << "+15551234567"
                                           << "hi"
                                           << "sms:+15551234567&body=hi";
        QTest::newRow("e-mail") << "anna.berg@example.com"
                                << ""
                                << "sms:anna.berg@example.com&body=";
        QTest::newRow("blanks, quotes, ampersand")
            << "+15551234567"
            << "dinner \"tonight\" & drinks?"
            << "sms:+15551234567&body=dinner%20%22tonight%22%20%26%20drinks%3F";
        // The unreserved marks - . _ ~ are encoded too, but QUrl writes them back plainly: the same URL.
        QTest::newRow("only letters and digits stay") << "+1555"
                                                      << "a-b.c_d~e/f=g+h\n2"
                                                      << "sms:+1555&body=a-b.c_d~e%2Ff%3Dg%2Bh%0A2";
        QTest::newRow("text beyond ASCII") << "+1555"
                                           << "caf\u00e9 \U0001F602"
                                           << "sms:+1555&body=caf%C3%A9%20%F0%9F%98%82";
        QTest::newRow("odd handle") << "short code/55 5"
                                    << "x"
                                    << "sms:short%20code%2F55%205&body=x";
    }
    void threadURLsKeepHandlesAndEncodeBodies() {
        QFETCH(QString, handle);
        QFETCH(QString, body);
        QFETCH(QString, url);
        const QString text = Messaging::threadURL(handle, body).toString(QUrl::FullyEncoded);
        QCOMPARE(text, url);
        QCOMPARE(QUrl::fromPercentEncoding(text.section(QStringLiteral("&body="), 1).toUtf8()), body);

        opened_.clear();
        Messaging::openThread(handle, body);
        QCOMPARE(opened_.size(), 1);
        QCOMPARE(opened_.first().toString(QUrl::FullyEncoded), url);
    }

    // Where there is no compose service the card cannot be sent, and the fallback puts it on the clipboard.
    void cardsFallBackToTheClipboard() {
        QImage card(120, 80, QImage::Format_ARGB32);
        card.fill(QColor(0x7c, 0x3a, 0xed));
        card.setPixelColor(5, 7, Qt::white);
#if !defined(Q_OS_MACOS)
        QVERIFY(
            !Messaging::sendCard(card, QStringLiteral("get yours free \u2192 "), {QStringLiteral("+1555")}));
#endif
        Messaging::copyCard(card);
        const QImage pasted = QGuiApplication::clipboard()->image();
        QCOMPARE(pasted.size(), card.size());
        QCOMPARE(pasted.pixelColor(5, 7), QColor(Qt::white));
        QCOMPARE(pasted.pixelColor(60, 40), QColor(0x7c, 0x3a, 0xed));
    }

    void duoMessageSentences() {
        const QString site = BuildSettings::siteURL();
        dovrel::PersonInsights person;
        person.handleID = "+15551234567";
        person.report.sentCount = 1200;
        person.report.receivedCount = 34;
        // 2021-03-15 12:00 UTC: March in every time zone.
        person.report.firstMessage = dovrel::Date::fromUnix(1'615'809'600);
        person.report.theirMedianReplySeconds = 720;

        QCOMPARE(Messaging::duoMessage(QStringLiteral("Ann"), person, {"pizza", "rent", "work"}, 1),
                 QStringLiteral(
                     "murmora just read our texts: 1,234 messages since Mar 2021. you're officially my #1. "
                     "apparently we mostly talk about pizza and rent. your median reply time is 12 "
                     "minutes btw. get yours \u2192 ") +
                     site);
        QCOMPARE(Messaging::duoMessage(QStringLiteral("Ann"), person, {"pizza"}, 3),
                 QStringLiteral(
                     "murmora just read our texts: 1,234 messages since Mar 2021. you're #3 in my top "
                     "five. apparently we mostly talk about pizza. your median reply time is 12 minutes "
                     "btw. get yours \u2192 ") +
                     site);

        // No rank, no topics, no reply data: only the first and the last sentence, and no closing full stop.
        person.report.theirMedianReplySeconds.reset();
        person.report.sentCount = 7;
        person.report.receivedCount = 0;
        QCOMPARE(Messaging::duoMessage(QString(), person, {}, std::nullopt),
                 QStringLiteral("murmora just read our texts: 7 messages since Mar 2021. get yours \u2192 ") +
                     site);
    }

private:
    QList<QUrl> opened_;
};

QTEST_MAIN(MessagingTest)
#include "MessagingTest.moc"
