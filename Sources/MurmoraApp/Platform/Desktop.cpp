#include "Platform/Desktop.h"

#include "Platform/BuildSettings.h"
#include "State/AppState.h"
#include "State/Generator.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QProcess>
#include <pwd.h>
#include <unistd.h>

namespace murmora {
namespace {

std::function<bool(const QUrl&)>& urlOpener() {
    static std::function<bool(const QUrl&)> opener = [](const QUrl& url) {
        return QDesktopServices::openUrl(url);
    };
    return opener;
}

} // namespace

bool Desktop::isMac() {
#ifdef Q_OS_MACOS
    return true;
#else
    return false;
#endif
}

QString Desktop::deviceWord() {
    return isMac() ? QStringLiteral("Mac") : QStringLiteral("computer");
}

QString Desktop::siteAddress() {
    QString address = BuildSettings::siteURL();
    for (const QString& scheme : {QStringLiteral("https://"), QStringLiteral("http://")}) {
        if (address.startsWith(scheme, Qt::CaseInsensitive)) {
            address.remove(0, scheme.size());
        }
    }
    return address.endsWith(QLatin1Char('/')) ? address.chopped(1) : address;
}

QString Desktop::userFullName() {
    // The comment field is "Full Name,room,phone,…" on Linux; macOS keeps the full name there too.
    const passwd* entry = getpwuid(getuid());
    if (entry == nullptr || entry->pw_gecos == nullptr) {
        return {};
    }
    return QString::fromLocal8Bit(entry->pw_gecos).section(QLatin1Char(','), 0, 0).trimmed();
}

bool Desktop::openUrl(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.isRelative() || (url.host().isEmpty() && !url.isLocalFile())) {
        return false;
    }
    return urlOpener()(url);
}

void Desktop::openAccessSettings() {
    if (isMac()) {
        urlOpener()(
            QUrl(QStringLiteral("x-apple.systempreferences:com.apple.preference.security?Privacy_AllFiles")));
        return;
    }
    const QString folder = messagesFolder();
    QDir().mkpath(folder);
    urlOpener()(QUrl::fromLocalFile(folder));
}

QString Desktop::messagesFolder() const {
    const AppState* state = AppState::instance();
    const std::filesystem::path home =
        state ? state->environment().home : std::filesystem::path(QDir::homePath().toStdString());
    return QString::fromStdString(Generator::messagesDatabasePath(home).parent_path().string());
}

void Desktop::relaunch() {
    // A permission granted in System Settings reaches only processes started after it.
    if (isMac()) {
        const QString bundle =
            QDir(QCoreApplication::applicationDirPath() + QStringLiteral("/../..")).canonicalPath();
        QProcess::startDetached(QStringLiteral("/usr/bin/open"), {QStringLiteral("-n"), bundle});
    } else {
        QProcess::startDetached(QCoreApplication::applicationFilePath(), {});
    }
    QCoreApplication::quit();
}

void Desktop::setUrlOpener(std::function<bool(const QUrl&)> opener) {
    urlOpener() = std::move(opener);
}

} // namespace murmora
