#ifndef Q_MOC_RUN
#include "AI/UpdateCheck.h"

#include "LocalHttpServer.h"
#include "State/AppState.h"
#include "TestHome.h"
#endif

#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <optional>
#include <tuple>

using namespace murmora;
using Info = UpdateCheck::Info;

namespace {

// A version one major step beyond this build's.
QString newerVersion() {
    const QString current = UpdateCheck::currentVersion().value_or(QString());
    return QString::number(current.section(QLatin1Char('.'), 0, 0).toInt() + 1) + QStringLiteral(".0");
}

QByteArray versionFile(const QString& version, const QString& url) {
    return QStringLiteral("{\"version\": \"%1\", \"url\": \"%2\"}").arg(version, url).toUtf8();
}

} // namespace

class UpdateCheckTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init() {
        server_ = std::make_unique<LocalHttpServer>();
        qputenv("MURMORA_VERSION_HOST", server_->origin().toUtf8());
    }

    void cleanup() {
        server_.reset();
        qunsetenv("MURMORA_VERSION_HOST");
    }

    void comparesVersionsPieceByPiece() {
        const QList<std::tuple<QString, QString, bool>> cases{
            {"1.10", "1.9", true},   {"1.9", "1.10", false},        {"1.2", "1.2.0", false}, // a missing zero
            {"1.2.0", "1.2", false}, {"1.2.1", "1.2", true},        {"3.4.5", "3.4.5", false},
            {"2-beta", "1", false},  {"1.2-beta", "1.1", false},    // a word or a suffixed piece counts as 0
            {"+2", "1", false},      {"1..3", "1.2", true},         // empty pieces are dropped
            {"", "0", false},        {"1.9999999999", "1.2", true}, // larger than 32 bits
        };
        for (const auto& [version, than, newer] : cases) {
            QVERIFY2(UpdateCheck::isNewer(version, than) == newer, qPrintable(version + " vs " + than));
        }
    }

    void theVersionFileLiesOnItsHost() {
        qputenv("MURMORA_VERSION_HOST", "updates.example.com");
        QCOMPARE(UpdateCheck::versionFileURL(),
                 QUrl(QStringLiteral("https://updates.example.com/version.json")));
        qputenv("MURMORA_VERSION_HOST", "http://127.0.0.1:8123/");
        QCOMPARE(UpdateCheck::versionFileURL(), QUrl(QStringLiteral("http://127.0.0.1:8123/version.json")));
        QCOMPARE(UpdateCheck::currentVersion(), std::optional<QString>(QStringLiteral(MURMORA_TEST_VERSION)));

        // Without a host there is no request and no update.
        qputenv("MURMORA_VERSION_HOST", "");
        QVERIFY(!UpdateCheck::versionFileURL().isValid());
        QCOMPARE(fetch(), std::nullopt);
        QCOMPARE(server_->requestCount(), 0);
    }

    // What the answer of the server means; the status does not count, only whether the body decodes.
    void answers_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("offered");
        const QString newer = newerVersion();
        const QString current = UpdateCheck::currentVersion().value_or(QString());
        const QString link = QStringLiteral("https://murmora.example/download");
        QTest::newRow("newer") << 200 << versionFile(newer, link) << true;
        QTest::newRow("newer, extra keys")
            << 200
            << QStringLiteral("{\"version\":\"%1\",\"url\":\"%2\",\"notes\":\"x\"}").arg(newer, link).toUtf8()
            << true;
        QTest::newRow("newer behind a 404") << 404 << versionFile(newer, link) << true;
        QTest::newRow("newer behind a 500") << 500 << versionFile(newer, link) << true;
        QTest::newRow("same") << 200 << versionFile(current, link) << false;
        QTest::newRow("older") << 200 << versionFile(QStringLiteral("0.0.1"), link) << false;
        QTest::newRow("same with a trailing zero")
            << 200 << versionFile(current + QStringLiteral(".0"), link) << false;
        QTest::newRow("an http link")
            << 200 << versionFile(newer, QStringLiteral("http://murmora.example/dl")) << false;
        QTest::newRow("an upper-case scheme")
            << 200 << versionFile(newer, QStringLiteral("HTTPS://murmora.example/dl")) << false;
        QTest::newRow("a link that does not parse")
            << 200 << versionFile(newer, QStringLiteral("https://exa mple.com/%zz")) << false;
        QTest::newRow("no url") << 200 << QStringLiteral("{\"version\":\"%1\"}").arg(newer).toUtf8() << false;
        QTest::newRow("version as a number")
            << 200 << QByteArray("{\"version\":99,\"url\":\"https://a.b/c\"}") << false;
        QTest::newRow("bad JSON") << 200 << QByteArray("{\"version\": \"9.0\", ") << false;
        QTest::newRow("an HTML error page")
            << 404 << QByteArray("<html><body>Not Found</body></html>") << false;
        QTest::newRow("an array") << 200 << QByteArray("[]") << false;
    }
    void answers() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(bool, offered);
        server_->setResponse("/version.json", LocalHttpServer::Response::json(body, status));

        const std::optional<Info> info = fetch();
        QCOMPARE(info.has_value(), offered);
        if (offered) {
            const QJsonObject expected = QJsonDocument::fromJson(body).object();
            QCOMPARE(*info, (Info{expected.value("version").toString(), expected.value("url").toString()}));
        }
        QCOMPARE(server_->requestCount(), 1);
        const LocalHttpServer::Request request = server_->requests().first();
        QCOMPARE(request.method, QByteArray("GET"));
        QCOMPARE(request.target, QByteArray("/version.json"));
    }

    void noAnswerGivesNothing() {
        const QByteArray body = versionFile(newerVersion(), QStringLiteral("https://murmora.example/dl"));
        LocalHttpServer::Response broken = LocalHttpServer::Response::json(body);
        broken.dropMidBody = true;
        server_->setResponse("/version.json", broken);
        QCOMPARE(fetch(), std::nullopt);

        server_->setResponse("/version.json", LocalHttpServer::Response::hangingUp());
        QCOMPARE(fetch(), std::nullopt);

        // Nobody listens on the port any more.
        server_.reset();
        QCOMPARE(fetch(), std::nullopt);
    }

    // The state asks once, keeps the answer in `update` for the screens, and drops an answer that comes after
    // it is gone.
    void theStateKeepsTheOffer() {
        TestHome home;
        const QString link = QStringLiteral("https://murmora.example/download");
        server_->setResponse("/version.json",
                             LocalHttpServer::Response::json(versionFile(newerVersion(), link)));
        {
            AppState state(nullptr);
            QCOMPARE(state.update(), std::nullopt);
            QVERIFY(!state.property("update").value<murmora::UpdateInfoValue>().valid);
            QSignalSpy changed(&state, &AppState::updateChanged);
            state.checkForUpdates();
            state.checkForUpdates();
            QVERIFY(changed.wait(10000));
            QCOMPARE(state.update(), std::optional<Info>(Info{newerVersion(), link}));
            const auto offer = state.property("update").value<murmora::UpdateInfoValue>();
            QCOMPARE(offer.version, newerVersion());
            QCOMPARE(offer.url, link);
            QTest::qWait(100);
            QCOMPARE(changed.count(), 1);
            QCOMPARE(server_->requestCount(), 1);
        }
        {
            LocalHttpServer::Response late =
                LocalHttpServer::Response::json(versionFile(newerVersion(), link));
            late.delayMs = 300;
            server_->setResponse("/version.json", late);
            auto state = std::make_unique<AppState>(nullptr);
            state->checkForUpdates();
            QVERIFY(server_->waitForRequests(2));
            state.reset();
            QTest::qWait(500);
        }
        {
            // Nothing to offer leaves `update` absent and silent.
            server_->setResponse("/version.json", LocalHttpServer::Response::json("{}", 200));
            AppState state(nullptr);
            QSignalSpy changed(&state, &AppState::updateChanged);
            state.checkForUpdates();
            QVERIFY(server_->waitForRequests(3));
            QTest::qWait(200);
            QCOMPARE(changed.count(), 0);
            QCOMPARE(state.update(), std::nullopt);
        }
    }

private:
    static std::optional<Info> fetch() {
        QObject context;
        QNetworkAccessManager network;
        bool done = false;
        std::optional<Info> result;
        UpdateCheck::check(network, &context, [&](std::optional<Info> info) {
            result = std::move(info);
            done = true;
        });
        if (!QTest::qWaitFor([&done] { return done; }, 20000)) {
            QTest::qFail("the update check never answered", __FILE__, __LINE__);
        }
        return result;
    }

    std::unique_ptr<LocalHttpServer> server_;
};

QTEST_MAIN(UpdateCheckTest)
#include "UpdateCheckTest.moc"
