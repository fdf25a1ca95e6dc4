// How long one share card takes to draw at scale 3, offscreen with the software renderer: each of the seven
// templates as a post, ten times over after one untimed round, median and slowest.
//
//   card-render-bench
#include "Models/WrappedStatsValue.h"
#include "State/AppState.h"
#include "Window/Appearance.h"
#include "Window/CardRenderer.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <vector>

int main(int argc, char* argv[]) {
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    murmora::prepareStyle();
    QGuiApplication app(argc, argv);
    murmora::applyAppearance(app, murmora::Appearance::light);
    murmora::AppState state(nullptr);

    dovrel::WrappedStats stats;
    stats.totalMessages = 48'213;
    stats.peopleCount = 212;
    for (int i = 0; i < 5; ++i) {
        stats.topContacts.push_back(
            {"+1555000000" + std::to_string(i), "Person " + std::to_string(i), 9000 - i * 900, 4000, 5000});
    }
    stats.laughter = {812, 95, 240, 1203};
    stats.myTopEmojis =
        std::vector<dovrel::TextStyle::EmojiCount>{{"\U0001F602", 1203}, {"\u2764\uFE0F", 700}};
    stats.medianLastTextMinute = 1402;
    stats.myMedianReplySeconds = 190;
    stats.myInitiationRate = 0.46;
    stats.longestStreak = dovrel::WrappedStats::ContactCount{"+15550000000", "Person 0", 41};
    stats.doubleTextChampion = dovrel::WrappedStats::ContactCount{"+15550000001", "Person 1", 320};
    const QVariant value = QVariant::fromValue(murmora::WrappedStatsValue(stats));

    QQmlEngine engine;
    murmora::addModuleImports(engine);
    murmora::CardRenderer renderer(engine);
    const QStringList templates = {"Archetype", "Laugh audit", "Night owl", "Top five",
                                   "Streak",    "Double-text", "Summary"};
    std::vector<double> milliseconds;
    for (int round = 0; round < 11; ++round) {
        for (const QString& name : templates) {
            QElapsedTimer clock;
            clock.start();
            const QImage image =
                renderer.render(QStringLiteral("CardCanvas { archetypeTitle: \"The Steady Presence\" }"),
                                {{QStringLiteral("template"), name}, {QStringLiteral("stats"), value}}, 3);
            if (image.isNull()) {
                std::fprintf(stderr, "card-render-bench: %s did not draw\n", qPrintable(name));
                return 1;
            }
            if (round > 0) {
                milliseconds.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
            }
        }
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    std::printf("card-render median %.1f ms, slowest %.1f ms over %zu cards at scale 3 (target < 150 ms)\n",
                milliseconds[milliseconds.size() / 2], milliseconds.back(), milliseconds.size());
    return 0;
}
