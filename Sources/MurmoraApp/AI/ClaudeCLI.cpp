#include "AI/ClaudeCLI.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QPromise>
#include <QStandardPaths>
#include <QStringDecoder>
#include <QThreadPool>
#include <exception>
#include <memory>

namespace murmora::ClaudeCLI {
namespace {

// Decodes UTF-8, or gives nothing when the bytes are not valid UTF-8.
std::optional<QString> decodeUtf8(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

bool isExecutableFile(const QString& path) {
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

std::optional<QString> searchPath() {
    const QString which = QStringLiteral("/usr/bin/which");
    if (!isExecutableFile(which)) {
        const QString found = QStandardPaths::findExecutable(QStringLiteral("claude"));
        return found.isEmpty() ? std::nullopt : std::optional<QString>(found);
    }
    QProcess process;
    process.setProgram(which);
    process.setArguments({QStringLiteral("claude")});
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(QIODevice::ReadOnly);
    if (!process.waitForStarted(-1)) {
        return std::nullopt;
    }
    process.waitForFinished(-1);
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        return std::nullopt;
    }
    const std::optional<QString> text = decodeUtf8(process.readAllStandardOutput());
    if (!text || text->trimmed().isEmpty()) {
        return std::nullopt;
    }
    return text->trimmed();
}

// Runs of `claude` block their thread for as long as the program takes, and a hung program blocks it
// forever. They get a pool of their own so that they never starve other background work. It is never
// destroyed: a program still running at exit must not hold the application open.
QThreadPool& runPool() {
    static QThreadPool* const pool = [] {
        auto* created = new QThreadPool;
        created->setMaxThreadCount(32);
        return created;
    }();
    return *pool;
}

} // namespace

CLIError::CLIError(Case errorCase, std::optional<int> status)
    : std::runtime_error(
          errorCase == Case::failed
              ? QStringLiteral("claude exited with status %1.").arg(status.value_or(0)).toStdString()
              : std::string("The claude CLI isn't installed."))
    , case_(errorCase)
    , status_(status) {}

QString CLIError::message() const {
    return QString::fromUtf8(what());
}

LaunchError::LaunchError(const QString& reason)
    : std::runtime_error(reason.toStdString()) {}

QStringList candidatePaths() {
    const QString home = QDir::homePath();
    return {home + QStringLiteral("/.local/bin/claude"), QStringLiteral("/usr/local/bin/claude"),
            QStringLiteral("/opt/homebrew/bin/claude"), home + QStringLiteral("/.claude/local/claude")};
}

std::optional<QString> detect() {
    for (const QString& candidate : candidatePaths()) {
        if (isExecutableFile(candidate)) {
            return candidate;
        }
    }
    return searchPath();
}

QString runProgram(const QString& program, const QString& prompt) {
    QProcess process;
    process.setProgram(program);
    // No shell in between: the prompt reaches the program byte for byte.
    process.setArguments({QStringLiteral("-p"), prompt});
    process.setInputChannelMode(QProcess::ForwardedInputChannel);
    // What the program says on standard error is not shown to anyone; sending it nowhere also means it can
    // never fill a pipe and stall the program.
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(QIODevice::ReadOnly);
    if (!process.waitForStarted(-1)) {
        throw LaunchError(process.errorString());
    }
    // Drain standard output while the program runs, and only then wait for its end, so that an output
    // larger than the pipe's buffer never blocks it.
    QByteArray output;
    while (process.waitForReadyRead(-1)) {
        output += process.readAllStandardOutput();
    }
    process.waitForFinished(-1);
    output += process.readAllStandardOutput();

    if (process.exitStatus() == QProcess::CrashExit || process.exitCode() != 0) {
        throw CLIError::failed(process.exitCode());
    }
    return decodeUtf8(output).value_or(QString());
}

QFuture<QString> run(const QString& prompt) {
    auto promise = std::make_shared<QPromise<QString>>();
    QFuture<QString> future = promise->future();
    promise->start();
    // Finding the program may run `which`, so it happens on the pool too.
    runPool().start([promise, prompt] {
        try {
            const std::optional<QString> program = detect();
            if (!program) {
                throw CLIError::notInstalled();
            }
            promise->addResult(runProgram(*program, prompt));
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    return future;
}

} // namespace murmora::ClaudeCLI
