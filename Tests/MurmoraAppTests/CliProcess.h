#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

// The murmora-cli binary run as a user runs it, in the test's environment.
struct CliRun {
    int code = -1; // -1 when it did not end in time
    QString out;
    QString err;

    static CliRun of(const QString& program, const QStringList& arguments, int timeoutMs = 90000) {
        QProcess process;
        process.start(program, arguments);
        if (!process.waitForFinished(timeoutMs)) {
            process.kill();
            process.waitForFinished();
            return {};
        }
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }
};
