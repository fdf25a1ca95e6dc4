#include "Window/CardGallery.h"

#include "Controllers/PersonCardFacts.h"
#include "Models/GroupStatsValue.h"
#include "Models/PersonInsightsValue.h"
#include "Output/StatCards.h"
#include "State/AppState.h"
#include "Window/Appearance.h"
#include "Window/CardRenderer.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQmlEngine>
#include <QTimer>
#include <ostream>

namespace murmora {
namespace {

constexpr qreal shareScale = 3;

QString slug(QString text) {
    return text.toLower().replace(QLatin1Char(' '), QLatin1Char('-'));
}

QVariantMap statCardProperties(const dovrel::StatCards::StatCard& card) {
    return {{QStringLiteral("caption"), QString::fromStdString(card.caption)},
            {QStringLiteral("value"), QString::fromStdString(card.value)},
            {QStringLiteral("line"), QString::fromStdString(card.line)},
            {QStringLiteral("extra"), QString::fromStdString(card.extra.value_or(""))}};
}

} // namespace

int renderCardGallery(AppState& state, const QString& outFolder, std::ostream& out, std::ostream& err) {
    if (!state.stats()) {
        err << "cards: nothing learned yet; run murmora-cli learn first" << std::endl;
        return 1;
    }
    if (!QDir().mkpath(outFolder)) {
        err << "cards: cannot make the folder " << outFolder.toStdString() << std::endl;
        return 1;
    }
    const QDir folder(outFolder);
    QQmlEngine engine;
    addModuleImports(engine);
    CardRenderer renderer(engine);
    QJsonArray listed;
    bool written = true;
    // Draws one card at `scale`, saves it and lists it, with the person's handle or the group's guid.
    const auto drawAt = [&](qreal scale, const QString& file, const QString& kind, const QString& source,
                            const QVariantMap& properties, const QString& who) {
        const QImage image = renderer.render(source, properties, scale);
        if (image.isNull() || !image.save(folder.filePath(file))) {
            err << "cards: could not draw " << file.toStdString() << std::endl;
            written = false;
            return;
        }
        out << folder.filePath(file).toStdString() << std::endl;
        QJsonObject entry{{QStringLiteral("file"), file},
                          {QStringLiteral("kind"), kind},
                          {QStringLiteral("width"), image.width()},
                          {QStringLiteral("height"), image.height()}};
        if (!who.isEmpty()) {
            entry.insert(kind == QStringLiteral("group") ? QStringLiteral("group") : QStringLiteral("person"),
                         who);
        }
        listed.append(entry);
    };
    const auto draw = [&](const QString& file, const QString& kind, const QString& source,
                          const QVariantMap& properties, const QString& person) {
        drawAt(shareScale, file, kind, source, properties, person);
    };

    const QString canvas = QStringLiteral("CardCanvas { stats: AppState.stats; archetypeTitle: "
                                          "AppState.archetype.valid ? AppState.archetype.title "
                                          ": \"\" }");
    for (const char* format : {"Post", "Story"}) {
        for (const char* name :
             {"Archetype", "Laugh audit", "Night owl", "Top five", "Streak", "Double-text", "Summary"}) {
            const QString template_ = QString::fromUtf8(name);
            draw(QStringLiteral("%1-%2.png").arg(slug(template_), slug(QString::fromUtf8(format))),
                 QStringLiteral("canvas"), canvas,
                 {{QStringLiteral("template"), template_},
                  {QStringLiteral("format"), QString::fromUtf8(format)}},
                 {});
        }
    }

    const dovrel::WrappedStats& stats = *state.stats();
    const QString statCard = QStringLiteral("StatShareCard {}");
    draw(QStringLiteral("stat-opening.png"), QStringLiteral("stat"), statCard,
         statCardProperties(dovrel::StatCards::opening(stats)), {});
    draw(QStringLiteral("stat-style.png"), QStringLiteral("stat"), statCard,
         statCardProperties(dovrel::StatCards::style(stats)), {});
    const auto spotlights = dovrel::StatCards::spotlights(
        stats, state.people(),
        [&state](const std::string& handle, const std::optional<std::string>& fallback) {
            return state.name(handle, fallback);
        });
    for (std::size_t i = 0; i < spotlights.size(); ++i) {
        draw(QStringLiteral("stat-spotlight-%1.png").arg(i + 1), QStringLiteral("stat"), statCard,
             statCardProperties(spotlights[i].card), QString::fromStdString(spotlights[i].handleID));
    }

    // The person cards of the top five, with the words and double texts their threads give.
    constexpr qreal personScale = 2;
    const std::vector<dovrel::PersonInsights>& people = state.people();
    for (std::size_t i = 0; i < people.size() && i < 5; ++i) {
        const QString handle = QString::fromStdString(people[i].handleID);
        PersonCardFacts facts;
        QEventLoop loop;
        QObject::connect(&facts, &PersonCardFacts::factsChanged, &loop, [&] {
            if (!facts.topics().isEmpty() || facts.doubleTexts() > 0) {
                loop.quit();
            }
        });
        QTimer::singleShot(5000, &loop, &QEventLoop::quit);
        facts.setHandleID(handle);
        loop.exec();
        drawAt(personScale, QStringLiteral("duo-%1.png").arg(i + 1), QStringLiteral("duo"),
               QStringLiteral("DuoCardCanvas {}"),
               {{QStringLiteral("name"), state.name(handle)},
                {QStringLiteral("person"), QVariant::fromValue(PersonInsightsValue(people[i]))},
                {QStringLiteral("topics"), facts.topics()},
                {QStringLiteral("doubleTexts"), facts.doubleTexts()}},
               handle);
    }

    // A card for each group chat, once the groups are read.
    Insights& insights = *state.insights();
    {
        QEventLoop loop;
        QObject::connect(&insights, &Insights::groupStatusChanged, &loop, [&] {
            if (!insights.groupsLoading()) {
                loop.quit();
            }
        });
        insights.loadGroups();
        if (insights.groupsLoading()) {
            loop.exec();
        }
    }
    GroupsModel& groups = *insights.groupsModel();
    for (int row = 0; row < groups.rowCount(); ++row) {
        const QModelIndex index = groups.index(row);
        const QString guid = index.data(GroupsModel::GuidRole).toString();
        const GroupStatsValue groupStats = insights.groupStats(guid);
        if (!groupStats.valid) {
            continue;
        }
        drawAt(personScale, QStringLiteral("group-%1.png").arg(row + 1), QStringLiteral("group"),
               QStringLiteral("GroupCardCanvas {}"),
               {{QStringLiteral("name"), index.data(GroupsModel::TitleRole).toString()},
                {QStringLiteral("stats"), QVariant::fromValue(groupStats)}},
               guid);
    }

    QFile index(folder.filePath(QStringLiteral("cards.json")));
    if (!index.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        index.write(QJsonDocument(listed).toJson()) < 0) {
        err << "cards: could not write cards.json" << std::endl;
        return 1;
    }
    return written ? 0 : 1;
}

} // namespace murmora
