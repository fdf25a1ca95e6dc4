#include "AI/ClaudeCLI.h"

#include "Coach/AgentTools.h"

#include <QDeadlineTimer>
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

namespace {

std::string errorText(CLIError::Case errorCase, std::optional<int> status) {
    switch (errorCase) {
    case CLIError::Case::failed:
        return QStringLiteral("claude exited with status %1.").arg(status.value_or(0)).toStdString();
    case CLIError::Case::notInstalled:
        return "The claude CLI isn't installed.";
    case CLIError::Case::timedOut:
        return "claude took too long to answer and was stopped.";
    }
    return {};
}

// Runs `work` on the pool and keeps its outcome in `promise`.
template <typename T, typename Work> void runOnPool(std::shared_ptr<QPromise<T>> promise, Work work) {
    runPool().start([promise, work = std::move(work)] {
        try {
            T result = work(*promise);
            if (!promise->isCanceled()) {
                promise->addResult(std::move(result));
            }
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
}

const std::string userLabel = "Me";
const std::string coachLabel = "Coach";

} // namespace

CLIError::CLIError(Case errorCase, std::optional<int> status)
    : std::runtime_error(errorText(errorCase, status))
    , case_(errorCase)
    , status_(status) {}

QString CLIError::message() const {
    return QString::fromUtf8(what());
}

LaunchError::LaunchError(const QString& reason)
    : std::runtime_error(reason.toStdString()) {}

Locator::Locator(QStringList paths)
    : paths_(std::move(paths)) {}

QStringList Locator::candidates() const {
    if (paths_) {
        return *paths_;
    }
    if (qEnvironmentVariableIsSet("MURMORA_CLAUDE_PATHS")) {
        return qEnvironmentVariable("MURMORA_CLAUDE_PATHS").split(QLatin1Char(':'), Qt::SkipEmptyParts);
    }
    const QString home = QDir::homePath();
    return {home + QStringLiteral("/.local/bin/claude"), QStringLiteral("/usr/local/bin/claude"),
            QStringLiteral("/opt/homebrew/bin/claude"), home + QStringLiteral("/.claude/local/claude")};
}

std::optional<QString> Locator::locate() const {
    for (const QString& candidate : candidates()) {
        if (isExecutableFile(candidate)) {
            return candidate;
        }
    }
    if (paths_ || qEnvironmentVariableIsSet("MURMORA_CLAUDE_PATHS")) {
        return std::nullopt;
    }
    return searchPath();
}

QString runProgram(const QString& program, const QString& prompt, std::chrono::milliseconds timeLimit,
                   const std::function<bool()>& cancelled) {
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
    // larger than the pipe's buffer never blocks it. The short waits let a stop or the time limit in.
    const QDeadlineTimer deadline(timeLimit);
    QByteArray output;
    while (process.state() != QProcess::NotRunning) {
        if (cancelled && cancelled()) {
            process.kill();
            process.waitForFinished(-1);
            return {};
        }
        if (deadline.hasExpired()) {
            process.kill();
            process.waitForFinished(-1);
            throw CLIError::timedOut();
        }
        process.waitForReadyRead(50);
        output += process.readAllStandardOutput();
    }
    process.waitForFinished(-1);
    output += process.readAllStandardOutput();

    if (process.exitStatus() == QProcess::CrashExit || process.exitCode() != 0) {
        throw CLIError::failed(process.exitCode());
    }
    return decodeUtf8(output).value_or(QString());
}

Provider::Provider(Locator locator, std::chrono::milliseconds timeLimit)
    : locator_(std::move(locator))
    , timeLimit_(timeLimit) {}

bool Provider::detect() {
    return locator_.locate().has_value();
}

QFuture<QString> Provider::run(const QString& prompt, int /*maxTokens*/) {
    auto promise = std::make_shared<QPromise<QString>>();
    promise->start();
    // Finding the program may run `which`, so it happens on the pool too.
    runOnPool(promise, [locator = locator_, limit = timeLimit_, prompt](QPromise<QString>& running) {
        const std::optional<QString> program = locator.locate();
        if (!program) {
            throw CLIError::notInstalled();
        }
        return runProgram(*program, prompt, limit, [&running] { return running.isCanceled(); });
    });
    return promise->future();
}

QFuture<std::vector<dovrel::Agent::Block>> Provider::chat(const ChatRound& round, DeltaHandler onDelta) {
    std::string system = round.system;
    if (system.find(dovrel::AgentTools::fenceOpener) == std::string::npos) {
        system += "\n\n";
        system += dovrel::AgentTools::instructions();
    }
    const QString prompt =
        QString::fromStdString(dovrel::Agent::flatten(system, round.messages, userLabel, coachLabel));
    auto promise = std::make_shared<QPromise<std::vector<dovrel::Agent::Block>>>();
    promise->start();
    runOnPool(promise, [locator = locator_, limit = timeLimit_, prompt, number = round.round,
                        onDelta = std::move(onDelta)](QPromise<std::vector<dovrel::Agent::Block>>& running) {
        const std::optional<QString> program = locator.locate();
        if (!program) {
            throw CLIError::notInstalled();
        }
        const QString text = runProgram(*program, prompt, limit, [&running] { return running.isCanceled(); });
        std::vector<dovrel::Agent::Block> blocks =
            dovrel::Agent::parseFlatResponse(text.toStdString(), number);
        if (onDelta && !running.isCanceled() && !blocks.empty()) {
            if (const dovrel::Agent::Block::Text* first = blocks.front().asText()) {
                onDelta(QString::fromStdString(first->text));
            }
        }
        return blocks;
    });
    return promise->future();
}

} // namespace murmora::ClaudeCLI
