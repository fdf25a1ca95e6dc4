#include "Window/SymbolIcon.h"

#include <QFile>
#include <QHash>
#include <QPainter>
#include <QSvgRenderer>

namespace murmora {
namespace {

QString resourceOf(const QString& name) {
    return QStringLiteral(":/Murmora/symbols/%1.svg").arg(name);
}

const QByteArray& source(const QString& name) {
    // Read once per name on the GUI thread, where all items paint with the software renderer.
    static QHash<QString, QByteArray> cache;
    auto found = cache.constFind(name);
    if (found == cache.constEnd()) {
        QFile file(resourceOf(name));
        found = cache.insert(name, file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
    }
    return *found;
}

} // namespace

SymbolIcon::SymbolIcon(QQuickItem* parent)
    : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    setImplicitSize(size_, size_);
}

void SymbolIcon::setName(const QString& name) {
    if (name_ == name) {
        return;
    }
    name_ = name;
    update();
    emit nameChanged();
}

void SymbolIcon::setColor(const QColor& color) {
    if (color_ == color) {
        return;
    }
    color_ = color;
    update();
    emit colorChanged();
}

void SymbolIcon::setSize(qreal size) {
    if (qFuzzyCompare(size_, size)) {
        return;
    }
    size_ = size;
    setImplicitSize(size, size);
    emit sizeChanged();
}

bool SymbolIcon::known() const {
    return !source(name_).isEmpty();
}

QByteArray SymbolIcon::svg(const QString& name, const QColor& color) {
    QByteArray text = source(name);
    if (text.isEmpty() || name == QStringLiteral("murmora")) {
        return text;
    }
    const QByteArray paint = QStringLiteral("\"%1\" stroke-opacity=\"%2\" fill-opacity=\"%2\"")
                                 .arg(color.name(QColor::HexRgb))
                                 .arg(color.alphaF())
                                 .toUtf8();
    // Only the root element names currentColor once; the fill of a symbol stays "none".
    return text.replace("\"currentColor\"", paint);
}

void SymbolIcon::paint(QPainter* painter) {
    QSvgRenderer renderer(svg(name_, color_));
    if (!renderer.isValid()) {
        return;
    }
    const qreal edge = std::min(width(), height());
    renderer.render(painter, QRectF((width() - edge) / 2, (height() - edge) / 2, edge, edge));
}

} // namespace murmora
