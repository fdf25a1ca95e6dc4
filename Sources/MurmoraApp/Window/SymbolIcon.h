#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// A symbol of the screens by its name ("sparkles", "person.crop.circle", …), drawn from the embedded icon set
// in `color`. The set draws its strokes in `currentColor`, which is replaced before rendering, so a symbol is
// crisp at any size and follows the text colour of light and dark appearance. "murmora" is the app's own
// icon, drawn in its own colours.
class SymbolIcon : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT

    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    // The edge of the square the symbol fills; sets the implicit size.
    Q_PROPERTY(qreal size READ size WRITE setSize NOTIFY sizeChanged)
    // Whether `name` is in the set.
    Q_PROPERTY(bool known READ known NOTIFY nameChanged)

public:
    explicit SymbolIcon(QQuickItem* parent = nullptr);

    QString name() const { return name_; }
    void setName(const QString& name);
    QColor color() const { return color_; }
    void setColor(const QColor& color);
    qreal size() const { return size_; }
    void setSize(qreal size);
    bool known() const;

    void paint(QPainter* painter) override;

    // The SVG text of a symbol in a colour; empty for a name not in the set.
    static QByteArray svg(const QString& name, const QColor& color);

signals:
    void nameChanged();
    void colorChanged();
    void sizeChanged();

private:
    QString name_;
    QColor color_ = Qt::black;
    qreal size_ = 16;
};

} // namespace murmora
