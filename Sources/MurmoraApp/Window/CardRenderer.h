#pragma once

#include <QImage>
#include <QString>
#include <QVariantMap>
#include <memory>

class QQmlEngine;
class QQuickWindow;

namespace murmora {

// Draws share cards to images offscreen: a card type of the QML module, its properties, a scale. The card is
// laid out at its own size in points and rendered at `scale` device pixels per point, in a window nobody
// sees. Runs on the GUI thread and waits for the render (it spins the event loop).
class CardRenderer {
public:
    explicit CardRenderer(QQmlEngine& engine);
    ~CardRenderer();

    // `source` is QML that makes one card, e.g. "CardCanvas { stats: AppState.stats }"; `properties` are set
    // as it is made. A null image when the card cannot be made or drawn; the reason goes to the log.
    QImage render(const QString& source, const QVariantMap& properties, qreal scale);

private:
    QQmlEngine& engine_;
    std::unique_ptr<QQuickWindow> window_;
};

} // namespace murmora
