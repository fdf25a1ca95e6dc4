#pragma once

#include <QObject>
#include <QString>
#include <QUrl>
#include <QtQml/qqmlregistration.h>
#include <functional>

namespace murmora {

// What the window asks of the desktop: opening links and folders, the system's privacy settings, a fresh
// process, and the words that differ between a Mac and other systems.
class Desktop : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

    // True on macOS, where reading the Messages database needs Full Disk Access.
    Q_PROPERTY(bool isMac READ isMac CONSTANT)
    // "Mac" on macOS, "computer" elsewhere: where the data stays.
    Q_PROPERTY(QString deviceWord READ deviceWord CONSTANT)
    // The product's web address as shown on cards ("murmora.app"): the build setting without its scheme.
    Q_PROPERTY(QString siteAddress READ siteAddress CONSTANT)
    // The account's full name as the system keeps it (the passwd entry's comment field); empty when unset.
    Q_PROPERTY(QString userFullName READ userFullName CONSTANT)

public:
    explicit Desktop(QObject* parent = nullptr)
        : QObject(parent) {}

    static bool isMac();
    static QString deviceWord();
    static QString siteAddress();
    static QString userFullName();

    // Opens `url` when it parses as an absolute URL; returns whether it was handed to the system.
    Q_INVOKABLE bool openUrl(const QString& url);
    // On macOS the Full Disk Access pane of System Settings; elsewhere the folder the Messages database is
    // copied into (made first when missing).
    Q_INVOKABLE void openAccessSettings();
    // The folder that holds chat.db, for the words of the first-run screen.
    Q_INVOKABLE QString messagesFolder() const;
    // Starts a new process of the application and quits this one.
    Q_INVOKABLE void relaunch();

    // Where URLs go instead of the system (tests): returns whether it took the URL.
    static void setUrlOpener(std::function<bool(const QUrl&)> opener);
};

} // namespace murmora
