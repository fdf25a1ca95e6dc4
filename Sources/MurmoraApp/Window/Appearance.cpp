#include "Window/Appearance.h"

#include <QFont>
#include <QGuiApplication>
#include <QPalette>
#include <QQmlEngine>
#include <QQuickStyle>

namespace murmora {
namespace {

QPalette palette(bool dark) {
    const QColor window = dark ? QColor(0x1e, 0x1e, 0x1e) : QColor(0xf5, 0xf5, 0xf7);
    const QColor text = dark ? QColor(0xec, 0xec, 0xec) : QColor(0x1d, 0x1d, 0x1f);
    const QColor base = dark ? QColor(0x28, 0x28, 0x28) : QColor(0xff, 0xff, 0xff);
    const QColor button = dark ? QColor(0x3a, 0x3a, 0x3c) : QColor(0xff, 0xff, 0xff);
    const QColor accent = dark ? QColor(0x0a, 0x84, 0xff) : QColor(0x00, 0x7a, 0xff);
    QPalette p(button, window);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, window);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, button);
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::Highlight, accent);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::PlaceholderText, dark ? QColor(0x8e, 0x8e, 0x93) : QColor(0x8a, 0x8a, 0x8e));
    p.setColor(QPalette::ToolTipBase, base);
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::Link, accent);
    p.setColor(QPalette::Mid, dark ? QColor(0x48, 0x48, 0x4a) : QColor(0xd1, 0xd1, 0xd6));
    return p;
}

} // namespace

void prepareStyle() {
#ifndef Q_OS_MACOS
    // Fusion draws from the palette, so light and dark both follow it.
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
#endif
}

void applyAppearance(QGuiApplication& app, Appearance appearance) {
#ifndef Q_OS_MACOS
    // Emoji come from Noto Color Emoji before any other fallback: DejaVu Sans, on most Linux systems, draws
    // some emoji in black and white.
    QFont font;
    font.setFamilies({QStringLiteral("Inter"), QStringLiteral("Noto Color Emoji")});
    font.setPixelSize(13);
    font.setHintingPreference(QFont::PreferNoHinting);
    QGuiApplication::setFont(font);
#endif
    if (appearance != Appearance::system) {
        QGuiApplication::setPalette(palette(appearance == Appearance::dark));
    }
    Q_UNUSED(app);
}

void addModuleImports(QQmlEngine& engine) {
    engine.addImportPath(QStringLiteral("qrc:/"));
}

} // namespace murmora
