#include "Platform/ShareCompose.h"

#include "Models/CardFactValues.h"
#include "Output/ShareCardFacts.h"
#include "Platform/BuildSettings.h"
#include "Platform/Messaging.h"
#include "State/AppState.h"
#include "Window/CardRenderer.h"

#include <QQmlEngine>

namespace murmora {
namespace {

const dovrel::PersonInsights* personWith(const QString& handle) {
    const AppState* state = AppState::instance();
    if (state == nullptr) {
        return nullptr;
    }
    const std::string key = handle.toStdString();
    for (const dovrel::PersonInsights& person : state->people()) {
        if (person.handleID == key) {
            return &person;
        }
    }
    return nullptr;
}

} // namespace

ShareCompose::ShareCompose(QObject* parent)
    : QObject(parent) {}

ShareCompose::~ShareCompose() = default;

ShareCompose::Outcome ShareCompose::message(const QString& source, const QVariantMap& properties,
                                            const QString& to) {
    return deliver(source, properties, 3.0,
                   QStringLiteral("Generated with Murmora \u2014 make your own: ") + BuildSettings::siteURL(),
                   to.isEmpty() ? QStringList() : QStringList{to}, true);
}

ShareCompose::Outcome ShareCompose::sendCard(const QString& source, const QVariantMap& properties,
                                             const QStringList& recipients, bool copyWithoutService) {
    return deliver(source, properties, 2.0,
                   QStringLiteral("get yours free \u2192 ") + BuildSettings::siteURL(), recipients,
                   copyWithoutService);
}

ShareCompose::Outcome ShareCompose::deliver(const QString& source, const QVariantMap& properties, qreal scale,
                                            const QString& caption, const QStringList& recipients,
                                            bool copyWithoutService) {
    QQmlEngine* engine = qmlEngine(this);
    if (engine == nullptr) {
        return Outcome::NotDrawn;
    }
    if (!renderer_) {
        renderer_ = std::make_unique<CardRenderer>(*engine);
    }
    const QImage image = renderer_->render(source, properties, scale);
    if (image.isNull()) {
        return Outcome::NotDrawn;
    }
    if (Messaging::sendCard(image, caption, recipients)) {
        return Outcome::Opened;
    }
    if (!copyWithoutService) {
        return Outcome::NoService;
    }
    Messaging::copyCard(image);
    return Outcome::Copied;
}

QVariantList ShareCompose::duoTiles(const QString& handle, const QString& name, int doubleTexts) const {
    QVariantList tiles;
    if (const dovrel::PersonInsights* person = personWith(handle)) {
        for (const auto& tile :
             dovrel::ShareCardFacts::duoTiles(person->report, name.toStdString(), doubleTexts)) {
            tiles.append(QVariant::fromValue(CardTileValue(tile)));
        }
    }
    return tiles;
}

void ShareCompose::openThread(const QString& handle) {
    Messaging::openThread(handle, {});
}

void ShareCompose::textPerson(const QString& handle, const QString& name, const QStringList& topics,
                              int rank) {
    const dovrel::PersonInsights* person = personWith(handle);
    if (person == nullptr) {
        return;
    }
    Messaging::openThread(
        handle, Messaging::duoMessage(name, *person, topics, rank >= 1 ? std::optional(rank) : std::nullopt));
}

} // namespace murmora
