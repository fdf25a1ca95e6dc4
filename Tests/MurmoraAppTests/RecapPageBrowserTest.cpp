// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "DemoHomeGenerator.h"
#include "State/Generator.h"
#endif

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <optional>

namespace {

constexpr std::int64_t kNowUnix = 1'780'000'000;
const QString kChromium = QStringLiteral("/usr/bin/chromium");

// Runs headless Chromium on a local page with a profile of its own; returns what it printed, or nothing
// when it did not end well within a minute.
std::optional<QString> chromium(const QString& page, const QStringList& arguments) {
    QTemporaryDir profile;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), profile.filePath(QStringLiteral("config")));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), profile.filePath(QStringLiteral("cache")));
    process.setProcessEnvironment(environment);
    process.start(kChromium, QStringList{QStringLiteral("--headless"), QStringLiteral("--no-sandbox"),
                                         QStringLiteral("--disable-gpu"), QStringLiteral("--no-first-run"),
                                         QStringLiteral("--disable-background-networking"),
                                         QStringLiteral("--force-prefers-reduced-motion"),
                                         QStringLiteral("--virtual-time-budget=3000"),
                                         QStringLiteral("--user-data-dir=") + profile.path()} +
                                 arguments + QStringList{QUrl::fromLocalFile(page).toString()});
    if (!process.waitForFinished(60'000) || process.exitCode() != 0) {
        process.kill();
        process.waitForFinished();
        return std::nullopt;
    }
    return QString::fromUtf8(process.readAllStandardOutput());
}

} // namespace

// The recap page of a learning run over the demo home, opened in a real browser: it fetches and runs
// nothing, and the browser shows every section the run's numbers call for.
class RecapPageBrowserTest : public QObject {
    Q_OBJECT

private slots:
    void opensSelfContainedWithItsSections() {
        QTemporaryDir scratch;
        QVERIFY(scratch.isValid());
        const QByteArray savedTmpdir = qgetenv("TMPDIR");
        qputenv("TMPDIR", scratch.path().toUtf8());
        demohome::DemoHomeOptions options;
        options.outDir = scratch.filePath(QStringLiteral("home")).toStdString();
        options.seed = 7;
        options.messages = 3000;
        options.nowUnixSeconds = kNowUnix;
        demohome::generateDemoHome(options);
        const murmora::Generator::Result result = murmora::Generator::run(
            365, [](const std::string&) {},
            {options.outDir, dovrel::Calendar("UTC"), dovrel::Date::fromUnix(double(kNowUnix))});
        savedTmpdir.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", savedTmpdir);

        const QString path = QString::fromStdString(result.wrappedURL.string());
        QCOMPARE(QFileInfo(path).absolutePath(), QFileInfo(scratch.path()).absoluteFilePath());
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll()).toLower();
        for (const char* banned : {"<script", "@import", "<link", "<img", "<iframe", "<object", "<embed",
                                   "<svg", "<video", "<audio", "http-equiv", "javascript:"}) {
            QVERIFY2(!text.contains(QLatin1String(banned)), banned);
        }
        const QRegularExpression reference(
            QStringLiteral("\\b(?:src|href|srcset|action|poster|data)\\s*=\\s*[\"\']?([^\"\'\\s>]*)"
                           "|url\\(\\s*[\"\']?([^\"\')\\s]*)"));
        for (auto match = reference.globalMatch(text); match.hasNext();) {
            const QRegularExpressionMatch found = match.next();
            const QString target = found.captured(1) + found.captured(2);
            QVERIFY2(target.startsWith(QLatin1Char('#')) || target.startsWith(QStringLiteral("data:")),
                     qPrintable(found.captured(0)));
        }

        const dovrel::WrappedStats& stats = result.stats;
        // Cover and archetype card always, the others when their numbers are there; the demo home has all.
        QVERIFY(!stats.topContacts.empty() && stats.busiestDay && stats.myMedianReplySeconds &&
                stats.medianLastTextMinute && stats.laughter.total() > 0 &&
                (stats.doubleTextChampion || stats.longestStreak) && stats.myMedianLength);
        if (!QFileInfo(kChromium).isExecutable()) {
            QSKIP("/usr/bin/chromium is not installed (scripts/setup installs it)");
        }
        const QString dom = chromium(path, {QStringLiteral("--dump-dom")}).value_or(QString());
        QCOMPARE(dom.count(QStringLiteral("<section")), qsizetype(9));
        QVERIFY(dom.contains(QString::fromStdString(result.archetype.title)));

        const QString png = QStringLiteral(MURMORA_SCREENSHOT_DIR "/recap-page.png");
        QFile::remove(png);
        QVERIFY(chromium(path,
                         {QStringLiteral("--window-size=820,1000"), QStringLiteral("--screenshot=") + png}));
        const QImage image = QImage(png).convertToFormat(QImage::Format_RGB32);
        QCOMPARE(image.size(), QSize(820, 1000));
        qsizetype inked = 0; // the cover's text in the ink colour, #1B1D22
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb pixel = image.pixel(x, y);
                inked += qRed(pixel) < 70 && qGreen(pixel) < 70 && qBlue(pixel) < 70 ? 1 : 0;
            }
        }
        QVERIFY2(inked > 200, "the first screen shows no text");
    }
};

QTEST_GUILESS_MAIN(RecapPageBrowserTest)
#include "RecapPageBrowserTest.moc"
