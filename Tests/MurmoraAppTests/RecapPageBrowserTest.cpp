// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "DemoHomeGenerator.h"
#include "Output/WrappedHTML.h"
#include "State/Generator.h"
#endif

#include <QColor>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr std::int64_t kNowUnix = 1'780'000'000;
const QString kChromium = QStringLiteral("/usr/bin/chromium");
constexpr int kWidth = 820;
constexpr int kHeight = 1000;
constexpr int kChromiumTimeoutMs = 60'000;
constexpr std::size_t kParallelBrowsers = 4;

// One kind of section of the recap page and the text that marks it in the page.
struct SectionKind {
    const char* name;
    const char* marker;
    bool drawsAccent; // something on it is in the accent colour
    bool drawsCard;   // it sits on the chip-coloured card
};

const SectionKind kCover{"cover", "<section class=\"slide cover\">", false, false};
const SectionKind kTopContacts{"top-contacts", "<p class=\"eyebrow\">you texted <b>", true, false};
const SectionKind kBusiestDay{"busiest-day", "<p class=\"eyebrow\">the day your phone didn't sleep</p>",
                              false, false};
const SectionKind kReplyTime{"reply-time", "<p class=\"eyebrow\">median reply time</p>", true, false};
const SectionKind kLastText{"last-text", "<p class=\"eyebrow\">your last text of the day, typically</p>",
                            true, false};
const SectionKind kLaughs{"laughs", "<p class=\"eyebrow\">official laugh audit</p>", true, false};
const SectionKind kClingyCorner{"clingy-corner", "<p class=\"eyebrow\">the clingy corner</p>", false, false};
const SectionKind kMedianText{"median-text", "<p class=\"eyebrow\">your median text is</p>", true, false};
const SectionKind kArchetype{"archetype", "<section class=\"slide\" id=\"archetype\">", false, true};

const std::vector<const SectionKind*> kAllKinds{&kCover,        &kTopContacts, &kBusiestDay,
                                                &kReplyTime,    &kLastText,    &kLaughs,
                                                &kClingyCorner, &kMedianText,  &kArchetype};

// The sections a run's page must have, in page order, worked out from the run's numbers alone.
std::vector<const SectionKind*> expectedSections(const murmora::Generator::Result& result) {
    const dovrel::WrappedStats& stats = result.stats;
    std::vector<const SectionKind*> kinds{&kCover};
    if (!stats.topContacts.empty()) {
        kinds.push_back(&kTopContacts);
    }
    if (stats.busiestDay) {
        kinds.push_back(&kBusiestDay);
    }
    if (stats.myMedianReplySeconds) {
        kinds.push_back(&kReplyTime);
    }
    if (stats.medianLastTextMinute) {
        kinds.push_back(&kLastText);
    }
    if (stats.laughter.total() >= 1) {
        kinds.push_back(&kLaughs);
    }
    if (stats.doubleTextChampion || stats.longestStreak) {
        kinds.push_back(&kClingyCorner);
    }
    if (stats.myMedianLength) {
        kinds.push_back(&kMedianText);
    }
    kinds.push_back(&kArchetype); // a run always names a local archetype
    return kinds;
}

QString q(const std::string& text) {
    return QString::fromStdString(text);
}

// The page's sections as written, each from "<section" up to and including its "</section>".
QStringList splitSections(const QString& page) {
    QStringList sections;
    qsizetype from = 0;
    while (true) {
        const qsizetype start = page.indexOf(QStringLiteral("<section"), from);
        if (start < 0) {
            break;
        }
        const QString close = QStringLiteral("</section>");
        const qsizetype end = page.indexOf(close, start);
        if (end < 0) {
            sections.append(page.mid(start)); // unterminated; the caller's count check reports it
            break;
        }
        sections.append(page.mid(start, end + close.size() - start));
        from = end + close.size();
    }
    return sections;
}

std::string shownName(const std::string& handle, const std::optional<std::string>& displayName,
                      const std::map<std::string, std::string>& names) {
    if (const auto found = names.find(handle); found != names.end()) {
        return found->second;
    }
    return displayName.value_or(handle);
}

bool near(QRgb pixel, QColor colour, int tolerance) {
    return std::abs(qRed(pixel) - colour.red()) <= tolerance &&
           std::abs(qGreen(pixel) - colour.green()) <= tolerance &&
           std::abs(qBlue(pixel) - colour.blue()) <= tolerance;
}

struct PixelCounts {
    qsizetype differentFromCorner = 0;
    qsizetype ink = 0;    // fully opaque body text
    qsizetype accent = 0; // the accent blue
    qsizetype chip = 0;   // the card fill
};

PixelCounts countPixels(const QImage& image) {
    const QImage rgb = image.convertToFormat(QImage::Format_RGB32);
    const QRgb corner = rgb.pixel(0, 0);
    PixelCounts counts;
    for (int y = 0; y < rgb.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(rgb.constScanLine(y));
        for (int x = 0; x < rgb.width(); ++x) {
            const QRgb pixel = line[x];
            counts.differentFromCorner += pixel != corner ? 1 : 0;
            // The ink is #1B1D22. Text still fading in, and the grey footer, stay well above this.
            counts.ink += qRed(pixel) < 70 && qGreen(pixel) < 70 && qBlue(pixel) < 70 ? 1 : 0;
            counts.accent += near(pixel, QColor(0x0A, 0x84, 0xFF), 16) ? 1 : 0;
            counts.chip += near(pixel, QColor(0xF1, 0xF2, 0xF4), 1) ? 1 : 0;
        }
    }
    return counts;
}

// Headless Chromium, started on construction, saving the first screen of one page to a PNG. Each has a
// profile of its own, so several can run side by side.
class ChromiumScreenshot {
public:
    ChromiumScreenshot(const QString& page, const QString& png)
        : page_(page)
        , deadline_(kChromiumTimeoutMs) {
        QFile::remove(png);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), profile_.filePath(QStringLiteral("config")));
        environment.insert(QStringLiteral("XDG_CACHE_HOME"), profile_.filePath(QStringLiteral("cache")));
        process_.setProcessEnvironment(environment);
        process_.setProcessChannelMode(QProcess::MergedChannels);
        process_.start(
            kChromium,
            {QStringLiteral("--headless"), QStringLiteral("--no-sandbox"), QStringLiteral("--disable-gpu"),
             QStringLiteral("--no-first-run"), QStringLiteral("--disable-background-networking"),
             QStringLiteral("--disable-component-update"), QStringLiteral("--disable-sync"),
             QStringLiteral("--user-data-dir=%1").arg(profile_.filePath(QStringLiteral("profile"))),
             QStringLiteral("--window-size=%1,%2").arg(kWidth).arg(kHeight),
             // The page's reduced-motion rule shows each section as its entrance animation leaves
             // it. A virtual-time budget alone let a loaded machine take the picture mid-fade.
             QStringLiteral("--force-prefers-reduced-motion"), QStringLiteral("--virtual-time-budget=3000"),
             QStringLiteral("--screenshot=%1").arg(png), QUrl::fromLocalFile(page).toString()});
    }

    // Waits for Chromium to end. Empty when it exited with 0 within the time limit, else what went wrong.
    QString finish() {
        if (!profile_.isValid()) {
            return QStringLiteral("no temporary profile folder for %1").arg(page_);
        }
        if (!process_.waitForStarted(int(deadline_.remainingTime()))) {
            return QStringLiteral("chromium did not start: %1").arg(process_.errorString());
        }
        if (!process_.waitForFinished(int(deadline_.remainingTime()))) {
            process_.kill();
            process_.waitForFinished();
            return QStringLiteral("chromium did not finish %1 within %2 s")
                .arg(page_)
                .arg(kChromiumTimeoutMs / 1000);
        }
        if (process_.exitStatus() != QProcess::NormalExit || process_.exitCode() != 0) {
            return QStringLiteral("chromium exited with %1 on %2:\n%3")
                .arg(process_.exitCode())
                .arg(page_, QString::fromUtf8(process_.readAll()));
        }
        return {};
    }

private:
    QString page_;
    QDeadlineTimer deadline_;
    QTemporaryDir profile_;
    QProcess process_; // after the profile, so it is stopped before its folder goes
};

} // namespace

// One learning run over the demo home, and its recap page opened in a real browser: the page is
// self-contained, has exactly the sections the run's numbers call for, and each section draws. A screenshot
// of each section is left in the build folder for review.
class RecapPageBrowserTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        // Everything the run and the browser write to the temporary folder goes into one folder removed at
        // the end.
        scratch_ = std::make_unique<QTemporaryDir>();
        QVERIFY(scratch_->isValid());
        savedTmpdir_ = qgetenv("TMPDIR");
        qputenv("TMPDIR", scratch_->path().toUtf8());

        home_ = std::make_unique<QTemporaryDir>();
        QVERIFY(home_->isValid());
        demohome::DemoHomeOptions options;
        options.outDir = home_->path().toStdString();
        options.seed = 7;
        options.messages = 3000;
        options.nowUnixSeconds = kNowUnix;
        demohome::generateDemoHome(options);
    }

    void cleanupTestCase() {
        runs_.clear();
        home_.reset();
        scratch_.reset();
        if (savedTmpdir_.isNull()) {
            qunsetenv("TMPDIR");
        } else {
            qputenv("TMPDIR", savedTmpdir_);
        }
    }

    void pageIsTheRenderedRecapInTheTemporaryFolder() {
        const murmora::Generator::Result& result = run(365);
        const QFileInfo file(q(result.wrappedURL.string()));
        QCOMPARE(file.absolutePath(), QDir(scratch_->path()).absolutePath());
        QVERIFY2(QRegularExpression(
                     QStringLiteral("^murmora-wrapped-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\\.html$"))
                     .match(file.fileName())
                     .hasMatch(),
                 qPrintable(file.fileName()));
        QCOMPARE(page(result).toStdString(),
                 dovrel::WrappedHTML::render(result.stats, result.names, result.archetype,
                                             dovrel::Calendar("UTC")));
    }

    void pageFetchesNothingAndRunsNothing() {
        const QString text = page(run(365)).toLower();
        QVERIFY(text.startsWith(QStringLiteral("<!doctype html>")));
        QVERIFY(text.endsWith(QStringLiteral("</body></html>")));
        for (const QString& banned :
             {QStringLiteral("<script"), QStringLiteral("@import"), QStringLiteral("<link"),
              QStringLiteral("<img"), QStringLiteral("<iframe"), QStringLiteral("<object"),
              QStringLiteral("<embed"), QStringLiteral("<base"), QStringLiteral("<svg"),
              QStringLiteral("<video"), QStringLiteral("<audio"), QStringLiteral("<source"),
              QStringLiteral("http-equiv"), QStringLiteral("javascript:")}) {
            QVERIFY2(!text.contains(banned), qPrintable(banned));
        }
        // Any reference the page makes may only point inside itself or carry its own data.
        const QRegularExpression reference(
            QStringLiteral("\\b(?:src|href|srcset|action|poster|data)\\s*=\\s*[\"\']?([^\"\'\\s>]*)"
                           "|url\\(\\s*[\"\']?([^\"\')\\s]*)"));
        for (auto match = reference.globalMatch(text); match.hasNext();) {
            const QRegularExpressionMatch found = match.next();
            const QString target = found.captured(1).isEmpty() ? found.captured(2) : found.captured(1);
            QVERIFY2(target.startsWith(QLatin1Char('#')) || target.startsWith(QStringLiteral("data:")),
                     qPrintable(found.captured(0)));
        }
    }

    void pageHasTheSectionsItsStatsCallFor_data() {
        QTest::addColumn<int>("days");
        QTest::newRow("year") << 365;
        QTest::newRow("last day") << 1;
    }

    void pageHasTheSectionsItsStatsCallFor() {
        QFETCH(int, days);
        const murmora::Generator::Result& result = run(days);
        const dovrel::WrappedStats& stats = result.stats;
        const QString text = page(result);
        const std::vector<const SectionKind*> expected = expectedSections(result);
        const QStringList sections = splitSections(text);

        QCOMPARE(sections.size(), qsizetype(expected.size()));
        QCOMPARE(text.count(QStringLiteral("</section>")), qsizetype(expected.size()));
        for (std::size_t i = 0; i < expected.size(); ++i) {
            for (const SectionKind* kind : kAllKinds) {
                QVERIFY2(sections[qsizetype(i)].contains(QLatin1String(kind->marker)) ==
                             (kind == expected[i]),
                         qPrintable(QStringLiteral("section %1 should be %2; %3 is %4")
                                        .arg(i)
                                        .arg(QLatin1String(expected[i]->name), QLatin1String(kind->name),
                                             sections[qsizetype(i)].contains(QLatin1String(kind->marker))
                                                 ? QStringLiteral("there")
                                                 : QStringLiteral("missing"))));
            }
        }
        for (const SectionKind* kind : kAllKinds) {
            if (std::find(expected.begin(), expected.end(), kind) == expected.end()) {
                QVERIFY2(!text.contains(QLatin1String(kind->marker)), kind->name);
            }
        }

        const auto section = [&](const SectionKind& kind) {
            const auto at = std::find(expected.begin(), expected.end(), &kind);
            return at == expected.end() ? QString() : sections[at - expected.begin()];
        };
        QVERIFY(section(kCover).contains(QStringLiteral("<h1 class=\"mega\">%1</h1>")
                                             .arg(q(dovrel::WrappedHTML::thousands(stats.totalMessages)))));
        if (!stats.topContacts.empty()) {
            const QString top = section(kTopContacts);
            QCOMPARE(top.count(QStringLiteral("<li class=\"bubble-row")),
                     qsizetype(stats.topContacts.size()));
            QCOMPARE(top.count(QStringLiteral("bubble-row first")), qsizetype(1));
            for (const dovrel::WrappedStats::TopContact& contact : stats.topContacts) {
                QVERIFY(top.contains(QStringLiteral("<span class=\"bubble\">%1</span>")
                                         .arg(q(dovrel::WrappedHTML::escape(shownName(
                                             contact.handleID, contact.displayName, result.names))))));
            }
        }
        if (stats.myMedianReplySeconds) {
            QVERIFY(section(kReplyTime)
                        .contains(q(dovrel::WrappedHTML::escape(
                            dovrel::WrappedHTML::replySpeed(*stats.myMedianReplySeconds)))));
        }
        if (stats.medianLastTextMinute) {
            const QString lastText = section(kLastText);
            QCOMPARE(lastText.count(QStringLiteral("<div class=\"bar")),
                     qsizetype(stats.myHourlyHistogram.size()));
            QCOMPARE(lastText.count(QStringLiteral("class=\"bar-label\"")),
                     qsizetype(stats.peakHour ? 1 : 0));
        }
        if (stats.laughter.total() >= 1) {
            const dovrel::LaughterProfile& laughs = stats.laughter;
            const int kinds = int(laughs.hahaCount > 0) + int(laughs.capsHahaCount > 0) +
                              int(laughs.lolCount > 0) + int(laughs.laughEmojiCount > 0);
            QCOMPARE(section(kLaughs).count(QStringLiteral("<span class=\"laugh-label\">")),
                     qsizetype(kinds));
        }
        if (stats.doubleTextChampion || stats.longestStreak) {
            const QString clingy = section(kClingyCorner);
            QCOMPARE(
                clingy.count(QStringLiteral("<div class=\"fact\">")),
                qsizetype(int(stats.doubleTextChampion.has_value()) + int(stats.longestStreak.has_value())));
            if (const auto& champion = stats.doubleTextChampion) {
                QVERIFY(clingy.contains(q(dovrel::WrappedHTML::escape(
                    shownName(champion->handleID, champion->displayName, result.names)))));
            }
            if (const auto& streak = stats.longestStreak) {
                QVERIFY(clingy.contains(
                    QStringLiteral("%1 days").arg(q(dovrel::WrappedHTML::thousands(streak->count)))));
            }
        }
        QVERIFY(section(kArchetype)
                    .contains(QStringLiteral("<h1 class=\"arch-title\">%1</h1>")
                                  .arg(q(dovrel::WrappedHTML::escape(result.archetype.title)))));
    }

    void everySectionDrawsInChromium() {
        if (!QFileInfo(kChromium).isExecutable()) {
            QSKIP("/usr/bin/chromium is not installed (scripts/setup installs it); the page was not opened "
                  "in a browser");
        }
        const murmora::Generator::Result& result = run(365);
        const QString original = page(result);
        const std::vector<const SectionKind*> expected = expectedSections(result);
        QCOMPARE(splitSections(original).size(), qsizetype(expected.size()));
        QVERIFY(original.contains(QStringLiteral("</head>")));

        QTemporaryDir pages;
        QVERIFY(pages.isValid());
        struct Shot {
            QString page;
            QString png;
            const SectionKind* kind;
        };
        // The page as written, unchanged: the cover fills the first screen.
        std::vector<Shot> shots{{q(result.wrappedURL.string()),
                                 QStringLiteral(MURMORA_SCREENSHOT_DIR "/recap-page.png"), &kCover}};
        // Then one copy of the page per section with every other section hidden, so each fills the window
        // alone.
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const SectionKind& kind = *expected[i];
            const QString only =
                QStringLiteral("<style>body > section:not(:nth-of-type(%1)) { display: none !important; }"
                               "</style></head>")
                    .arg(i + 1);
            QString copy = original;
            copy.replace(copy.indexOf(QStringLiteral("</head>")), qsizetype(7), only);
            const QString file = pages.filePath(QStringLiteral("%1.html").arg(QLatin1String(kind.name)));
            QFile out(file);
            QVERIFY(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
            QCOMPARE(out.write(copy.toUtf8()), qint64(copy.toUtf8().size()));
            out.close();
            shots.push_back(
                {file, QStringLiteral(MURMORA_SCREENSHOT_DIR "/recap-%1.png").arg(QLatin1String(kind.name)),
                 &kind});
        }

        QElapsedTimer timer;
        timer.start();
        for (std::size_t from = 0; from < shots.size(); from += kParallelBrowsers) {
            const std::size_t to = std::min(shots.size(), from + kParallelBrowsers);
            std::vector<std::unique_ptr<ChromiumScreenshot>> running;
            for (std::size_t i = from; i < to; ++i) {
                running.push_back(std::make_unique<ChromiumScreenshot>(shots[i].page, shots[i].png));
            }
            for (std::size_t i = from; i < to; ++i) {
                const QString failure = running[i - from]->finish();
                QVERIFY2(failure.isEmpty(), qPrintable(failure));
                checkImage(shots[i].png, *shots[i].kind);
                if (QTest::currentTestFailed()) {
                    return;
                }
            }
        }
        qInfo("%zu screenshots in %lld ms", shots.size(), static_cast<long long>(timer.elapsed()));
    }

private:
    // The run over the demo home for the last `days` days, made once per test case.
    const murmora::Generator::Result& run(int days) {
        auto& slot = runs_[days];
        if (!slot) {
            murmora::Generator::Environment environment{
                home_->path().toStdString(), dovrel::Calendar("UTC"),
                dovrel::Date::fromUnix(static_cast<double>(kNowUnix))};
            slot = std::make_unique<murmora::Generator::Result>(murmora::Generator::run(
                days, [](const std::string&) {}, environment));
        }
        return *slot;
    }

    static QString page(const murmora::Generator::Result& result) {
        QFile file(q(result.wrappedURL.string()));
        if (!file.open(QIODevice::ReadOnly)) {
            return {};
        }
        return QString::fromUtf8(file.readAll());
    }

    static void checkImage(const QString& png, const SectionKind& kind) {
        QVERIFY2(QFileInfo::exists(png), qPrintable(png));
        const QImage image(png);
        QVERIFY2(!image.isNull(), qPrintable(png));
        QCOMPARE(image.size(), QSize(kWidth, kHeight));
        const PixelCounts counts = countPixels(image);
        const qsizetype area = qsizetype(kWidth) * kHeight;
        QVERIFY2(counts.differentFromCorner > area / 1000,
                 qPrintable(png + QStringLiteral(" is one flat colour")));
        QVERIFY2(counts.ink > 200, qPrintable(png + QStringLiteral(" has no text in full ink")));
        if (kind.drawsAccent) {
            QVERIFY2(counts.accent > 100,
                     qPrintable(png + QStringLiteral(" has nothing in the accent colour")));
        }
        if (kind.drawsCard) {
            QVERIFY2(counts.chip > area / 10, qPrintable(png + QStringLiteral(" has no card")));
        }
    }

    std::unique_ptr<QTemporaryDir> scratch_;
    QByteArray savedTmpdir_;
    std::unique_ptr<QTemporaryDir> home_;
    std::map<int, std::unique_ptr<murmora::Generator::Result>> runs_;
};

QTEST_GUILESS_MAIN(RecapPageBrowserTest)
#include "RecapPageBrowserTest.moc"
