#include "Window/CardRenderer.h"

#include <QEventLoop>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickItemGrabResult>
#include <QQuickWindow>
#include <QTimer>

namespace murmora {

CardRenderer::CardRenderer(QQmlEngine& engine)
    : engine_(engine)
    , window_(std::make_unique<QQuickWindow>()) {
    window_->setFlag(Qt::Tool);
    window_->setColor(Qt::white);
}

CardRenderer::~CardRenderer() = default;

QImage CardRenderer::render(const QString& source, const QVariantMap& properties, qreal scale) {
    QQmlComponent component(&engine_);
    component.setData(("import QtQuick\nimport Murmora\n" + source).toUtf8(),
                      QUrl(QStringLiteral("card.qml")));
    if (!component.isReady()) {
        // Qt 6.4 crashes when a component that did not compile is asked for an object.
        qWarning() << "card:" << component.errorString();
        return {};
    }
    std::unique_ptr<QObject> object(component.createWithInitialProperties(properties));
    auto* card = qobject_cast<QQuickItem*>(object.get());
    if (card == nullptr) {
        qWarning() << "card:" << component.errorString();
        return {};
    }
    card->setParentItem(window_->contentItem());
    const QSize points(qRound(card->width()), qRound(card->height()));
    if (points.isEmpty()) {
        qWarning() << "card: no size";
        return {};
    }
    window_->resize(points);
    window_->show();

    QImage image;
    QEventLoop loop;
    // The grab renders the card alone, at its size times the scale, so text and icons are drawn at that
    // resolution rather than enlarged.
    const QSharedPointer<QQuickItemGrabResult> grab = card->grabToImage(points * scale);
    if (!grab) {
        return {};
    }
    QObject::connect(grab.data(), &QQuickItemGrabResult::ready, &loop, [&] {
        image = grab->image();
        loop.quit();
    });
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    loop.exec();
    card->setParentItem(nullptr);
    return image;
}

} // namespace murmora
