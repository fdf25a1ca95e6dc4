#include "Cli/CommandLine.h"

#include "State/AppState.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <ostream>

namespace murmora {
namespace {

constexpr int exitFailed = 1;
constexpr int exitNoAccess = 2;
constexpr int exitUsage = 64;

const char* const usage =
    "usage: murmora-cli <command>\n"
    "\n"
    "commands:\n"
    "  learn [--days N]   learn from the Messages database of $HOME (default 365 days),\n"
    "                     save the profile and write the recap page\n"
    "  help               print this text\n";

// A learn run as the window's refresh starts it, printing each line as it would be shown.
int learnCommand(const QStringList& arguments, std::ostream& out, std::ostream& err) {
    int days = 365;
    for (qsizetype i = 2; i < arguments.size(); ++i) {
        bool ok = false;
        if (arguments.at(i) == QLatin1String("--days") && i + 1 < arguments.size()) {
            days = arguments.at(++i).toInt(&ok);
        }
        if (!ok || days < 1) {
            err << "learn: expected --days N with N a whole number of at least 1\n\n" << usage;
            return exitUsage;
        }
    }

    AppState state(nullptr);
    state.setRevealPause(std::chrono::milliseconds(0));
    const std::filesystem::path database =
        Generator::messagesDatabasePath(Generator::Environment::current().home);
    QFile probe(QString::fromStdString(database.string()));
    if (!probe.open(QIODevice::ReadOnly)) {
        err << "Cannot read " << database.string()
            << ": the file is missing or not readable. On a Mac, give Full Disk Access to this program; "
               "elsewhere, set HOME to a folder that holds Library/Messages/chat.db."
            << std::endl;
        return exitNoAccess;
    }
    probe.close();

    QEventLoop loop;
    QObject::connect(&state, &AppState::factShown, &loop,
                     [&out](const QString& fact) { out << fact.toStdString() << std::endl; });
    QObject::connect(&state, &AppState::runFinished, &loop, [&loop] { loop.quit(); });
    state.learn(days, false);
    loop.exec();

    if (state.phase() != AppState::Phase::Ready || !state.wrappedURL()) {
        err << state.failureText().toStdString() << std::endl;
        return exitFailed;
    }
    out << "Recap: " << std::filesystem::absolute(*state.wrappedURL()).string() << std::endl;
    return 0;
}

} // namespace

int runCommandLine(const QStringList& arguments, std::ostream& out, std::ostream& err) {
    const QString command = arguments.size() > 1 ? arguments.at(1) : QString();
    if (command == QLatin1String("learn")) {
        return learnCommand(arguments, out, err);
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
