#include "Cli/CommandLine.h"

#include "State/AppState.h"

#include <QDir>
#include <QEventLoop>
#include <algorithm>
#include <ostream>

namespace murmora {
namespace {

constexpr int exitFailed = 1;
constexpr int exitNoAccess = 2;
constexpr int exitUsage = 64;

const char* const usage = "usage: murmora-cli <command>\n"
                          "\n"
                          "commands:\n"
                          "  read    read the Messages database of $HOME and print what was found\n"
                          "  help    print this text\n";

// Runs the reading like the window does and waits for it: ready, needs access, or failed.
AppState::Phase readLikeTheWindow(AppState& state, std::ostream& out) {
    state.setRevealPause(std::chrono::milliseconds(0));
    QEventLoop loop;
    QObject::connect(&state, &AppState::factShown, &loop,
                     [&out](const QString& fact) { out << fact.toStdString() << std::endl; });
    QObject::connect(&state, &AppState::runFinished, &loop, [&loop] { loop.quit(); });
    state.checkAccess();
    if (state.phase() == AppState::Phase::NeedsAccess) {
        return state.phase();
    }
    loop.exec();
    return state.phase();
}

int readCommand(std::ostream& out, std::ostream& err) {
    AppState state(nullptr);
    switch (readLikeTheWindow(state, out)) {
    case AppState::Phase::NeedsAccess:
        err << "Cannot read " << Generator::messagesDatabasePath(QDir::homePath().toStdString()).string()
            << ": the file is missing or not readable. On a Mac, give Full Disk Access to this program; "
               "elsewhere, set HOME to a folder that holds Library/Messages/chat.db."
            << std::endl;
        return exitNoAccess;
    case AppState::Phase::Failed:
        err << state.failureText().toStdString() << std::endl;
        return exitFailed;
    default:
        break;
    }

    std::vector<const dovrel::ContactThread*> threads;
    for (const auto& [handle, thread] : state.threadsByHandle()) {
        threads.push_back(&thread);
    }
    std::sort(threads.begin(), threads.end(), [](const auto* a, const auto* b) {
        return a->messages.size() != b->messages.size() ? a->messages.size() > b->messages.size()
                                                        : a->handleID < b->handleID;
    });
    out << "People: " << threads.size() << "\n"
        << "Messages: " << state.messageCount() << "\n"
        << "Rows dropped: " << state.readCounts().dropped << " of " << state.readCounts().rows << "\n";
    const std::size_t shown = std::min<std::size_t>(threads.size(), 10);
    if (shown > 0) {
        out << "Most messages:\n";
    }
    for (std::size_t i = 0; i < shown; ++i) {
        const dovrel::ContactThread& thread = *threads[i];
        out << "  " << thread.handleID;
        if (thread.displayName) {
            out << " (" << *thread.displayName << ")";
        }
        out << ": " << thread.messages.size() << "\n";
    }
    out.flush();
    return 0;
}

} // namespace

int runCommandLine(const QStringList& arguments, std::ostream& out, std::ostream& err) {
    const QString command = arguments.size() > 1 ? arguments.at(1) : QString();
    if (command == QLatin1String("read")) {
        return readCommand(out, err);
    }
    if (command == QLatin1String("help") || command == QLatin1String("--help")) {
        out << usage;
        return 0;
    }
    err << (command.isEmpty() ? std::string("missing command") : "unknown command: " + command.toStdString())
        << "\n\n"
        << usage;
    return exitUsage;
}

} // namespace murmora
