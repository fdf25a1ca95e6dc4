#pragma once

class QGuiApplication;
class QQmlEngine;

namespace murmora {

enum class Appearance { system, light, dark };

// Before the application object exists: the Quick Controls style the screens are drawn in.
void prepareStyle();
// The text font (Inter on Linux, where fontconfig falls back to Noto Color Emoji for emoji; the system font
// on macOS) and, unless `system`, a light or dark palette in place of the system's.
void applyAppearance(QGuiApplication& app, Appearance appearance);

// Lets `engine` find the app's QML module in the resources (Qt 6.4 does not look there by itself).
void addModuleImports(QQmlEngine& engine);

} // namespace murmora
