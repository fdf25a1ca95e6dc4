#pragma once

#include "DemoHomeGenerator.h"
#include "State/Generator.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <memory>

// A temporary home folder that HOME points at while it lives, optionally holding a generated demo home.
class TestHome {
public:
    // 2026-01-01 00:00 UTC: the demo home's 14 months end here, so the last 365 days are full of messages.
    static constexpr std::int64_t nowUnix = 1'767'225'600;

    TestHome()
        : dir_(std::make_unique<QTemporaryDir>(systemTemp() + QStringLiteral("/murmora-home-XXXXXX"))) {
        QDir().mkpath(dir_->path() + QStringLiteral("/tmp"));
        use();
    }

    // Points the environment at this home again, after another one took it over.
    void use() const {
        qputenv("HOME", dir_->path().toUtf8());
        // Runs leave their database copies and recap pages in the temporary folder on purpose; keep them
        // inside this home so they go with it.
        qputenv("TMPDIR", (dir_->path() + QStringLiteral("/tmp")).toUtf8());
        qunsetenv("XDG_DATA_HOME");
        qunsetenv("XDG_CONFIG_HOME");
        // The `claude` program is looked for only where a test puts one, never in the machine's own places.
        qputenv("MURMORA_CLAUDE_PATHS", (dir_->path() + QStringLiteral("/.local/bin/claude")).toUtf8());
    }

    QString path() const { return dir_->path(); }
    std::filesystem::path home() const { return dir_->path().toStdString(); }
    QString databasePath() const { return path() + QStringLiteral("/Library/Messages/chat.db"); }

    demohome::DemoHomeResult generate(std::uint64_t seed = 5, std::int64_t messages = 1500) const {
        demohome::DemoHomeOptions options;
        options.outDir = home();
        options.seed = seed;
        options.messages = messages;
        options.nowUnixSeconds = nowUnix;
        options.force = true;
        return demohome::generateDemoHome(options);
    }

    // The surroundings of a run at the fixed "now", in UTC, or `daysLater` after it.
    std::function<murmora::Generator::Environment()> environment(int daysLater = 0) const {
        const std::filesystem::path folder = home();
        return [folder, daysLater] {
            return murmora::Generator::Environment{
                folder, dovrel::Calendar("UTC"),
                dovrel::Date::fromUnix(static_cast<double>(nowUnix) + daysLater * 86400.0)};
        };
    }

    void damageDatabase() const {
        QFile::remove(databasePath() + QStringLiteral("-wal"));
        QFile::remove(databasePath() + QStringLiteral("-shm"));
        QFile file(databasePath());
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            file.write(QByteArray(8192, 'x'));
        }
    }

    static QByteArray contents(const QString& file) {
        QFile f(file);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

private:
    // The temporary folder the process started with, before any home pointed TMPDIR into itself.
    static const QString& systemTemp() {
        static const QString folder = QDir::tempPath();
        return folder;
    }

    std::unique_ptr<QTemporaryDir> dir_;
};
