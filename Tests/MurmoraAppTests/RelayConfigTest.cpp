#ifndef Q_MOC_RUN
#include "AI/RelayConfig.h"

#include "AI/AIError.h"
#include "TestHome.h"
#endif

#include <QRegularExpression>
#include <QSettings>
#include <QTest>

using namespace murmora;

class RelayConfigTest : public QObject {
    Q_OBJECT

private slots:
    void init() { home_ = std::make_unique<TestHome>(); }
    void cleanup() {
        qunsetenv("MURMORA_RELAY_URL");
        qunsetenv("MURMORA_RELAY_SECRET");
        home_.reset();
    }

    // Both an address and a secret are needed; either alone is no relay.
    void configuredOnlyWithAddressAndSecret() {
        qputenv("MURMORA_RELAY_URL", "https://relay.example.com/");
        qputenv("MURMORA_RELAY_SECRET", "");
        QCOMPARE(RelayConfig::address(), QStringLiteral("https://relay.example.com"));
        QVERIFY(!RelayConfig::isConfigured());
        qputenv("MURMORA_RELAY_SECRET", "s3cret");
        QVERIFY(RelayConfig::isConfigured());
        QCOMPARE(RelayConfig::appSecret(), QStringLiteral("s3cret"));
        QCOMPARE(RelayConfig::endpoint(QStringLiteral("/v1/ai")),
                 QUrl(QStringLiteral("https://relay.example.com/v1/ai")));
        qputenv("MURMORA_RELAY_URL", "");
        QVERIFY(!RelayConfig::isConfigured());

        // An address that is no URL with a host gives no endpoint: the relay counts as unreachable.
        for (const char* address :
             {"relay.example.com", "https://", "https://exa mple.com", "ftp://relay.example"}) {
            qputenv("MURMORA_RELAY_URL", address);
            QVERIFY2(!RelayConfig::endpoint(QStringLiteral("/v1/chat")).isValid(), address);
        }
        qputenv("MURMORA_RELAY_URL", "http://127.0.0.1:5000");
        QCOMPARE(RelayConfig::endpoint(QStringLiteral("/v1/chat")),
                 QUrl(QStringLiteral("http://127.0.0.1:5000/v1/chat")));
    }

    // One installation keeps one identity: made once, stored, and read back by every later start.
    void deviceIDIsMadeOnceAndKept() {
        QVERIFY(!QSettings().contains(QStringLiteral("relayDeviceID")));
        const QString id = RelayConfig::deviceID();
        QVERIFY2(QRegularExpression(
                     QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$"))
                     .match(id)
                     .hasMatch(),
                 qPrintable(id));
        QCOMPARE(RelayConfig::deviceID(), id);
        QCOMPARE(QSettings().value(QStringLiteral("relayDeviceID")).toString(), id);

        QSettings().setValue(QStringLiteral("relayDeviceID"), QStringLiteral("KEPT-FROM-BEFORE"));
        QCOMPARE(RelayConfig::deviceID(), QStringLiteral("KEPT-FROM-BEFORE"));
    }

    void errorsSpeakToTheUser() {
        const AIError failed = AIError::relayFailed(401);
        QCOMPARE(failed.errorCase(), AIError::Case::relayFailed);
        QCOMPARE(failed.status(), std::optional<int>(401));
        QCOMPARE(failed.message(), QStringLiteral("Murmora AI had a hiccup \u2014 try again in a minute."));
        QCOMPARE(QString::fromUtf8(failed.what()), failed.message());

        const AIError cap = AIError::dailyCap();
        QCOMPARE(cap.errorCase(), AIError::Case::dailyCap);
        QCOMPARE(cap.status(), std::nullopt);
        QCOMPARE(QString::fromUtf8(cap.what()),
                 QStringLiteral("You've hit today's free-tier limit \u2014 it resets tomorrow."));

        QCOMPARE(QString::fromUtf8(AIError::unreachable().what()),
                 QStringLiteral("Couldn't reach Murmora AI \u2014 check your connection and try again."));
    }

private:
    std::unique_ptr<TestHome> home_;
};

QTEST_GUILESS_MAIN(RelayConfigTest)
#include "RelayConfigTest.moc"
