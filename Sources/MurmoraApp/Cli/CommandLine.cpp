#include "Cli/CommandLine.h"

#include "Coach/CoachEngine.h"
#include "State/AppState.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <nlohmann/json.hpp>
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
    "  tool NAME [INPUT-JSON] [--person NAME]\n"
    "                     run one of the coach's tools (search, count, sample, timeline,\n"
    "                     window, person_stats, compare, overview, unanswered, groups,\n"
    "                     group_stats) with its JSON input, in a chat focused on the person\n"
    "                     --person names; print the status line, then the result\n"
    "  help               print this text\n";

// Opening the file is the only test of the permission to read it; says how to get it when it fails.
bool canReadDatabase(std::ostream& err) {
    const std::filesystem::path database =
        Generator::messagesDatabasePath(Generator::Environment::current().home);
    QFile probe(QString::fromStdString(database.string()));
    if (!probe.open(QIODevice::ReadOnly)) {
        err << "Cannot read " << database.string()
            << ": the file is missing or not readable. On a Mac, give Full Disk Access to this program; "
               "elsewhere, set HOME to a folder that holds Library/Messages/chat.db."
            << std::endl;
        return false;
    }
    return true;
}

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
    if (!canReadDatabase(err)) {
        return exitNoAccess;
    }

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

// One tool call of the coach, run by the same code as in a coach turn, over the state the window would have:
// the stored files restored, the access checked, and the threads read by the run that follows.
int toolCommand(const QStringList& arguments, std::ostream& out, std::ostream& err) {
    QString name;
    std::optional<QString> input;
    std::optional<QString> personName;
    for (qsizetype i = 2; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == QLatin1String("--person")) {
            if (i + 1 == arguments.size()) {
                err << "tool: expected a name after --person\n\n" << usage;
                return exitUsage;
            }
            personName = arguments.at(++i);
        } else if (name.isEmpty()) {
            name = argument;
        } else if (!input) {
            input = argument;
        } else {
            err << "tool: unexpected argument " << argument.toStdString() << "\n\n" << usage;
            return exitUsage;
        }
    }
    if (name.isEmpty()) {
        err << "tool: expected the name of a tool\n\n" << usage;
        return exitUsage;
    }
    const std::string inputJSON = input ? input->toStdString() : std::string("{}");
    try {
        if (!nlohmann::json::parse(inputJSON).is_object()) {
            err << "tool: INPUT-JSON must be a JSON object, such as '{\"terms\":\"dinner\"}'" << std::endl;
            return exitUsage;
        }
    } catch (const nlohmann::json::exception& error) {
        err << "tool: INPUT-JSON is not valid JSON: " << error.what() << std::endl;
        return exitUsage;
    }

    AppState state(nullptr);
    state.setRevealPause(std::chrono::milliseconds(0));
    if (!canReadDatabase(err)) {
        return exitNoAccess;
    }
    // Threads are never stored: whatever the files held, a run brings them, silent when there was a profile.
    bool succeeded = false;
    {
        QEventLoop loop;
        QObject::connect(&state, &AppState::runFinished, &loop, [&](bool ok) {
            succeeded = ok;
            loop.quit();
        });
        state.checkAccess();
        if (state.phase() == AppState::Phase::NeedsAccess) {
            canReadDatabase(err);
            return exitNoAccess;
        }
        loop.exec();
    }
    if (!succeeded) {
        const QString reason = state.failureText();
        err << (reason.isEmpty() ? std::string("Could not read your messages.") : reason.toStdString())
            << std::endl;
        return exitFailed;
    }

    CoachEngine engine;
    engine.setState(&state);
    std::optional<dovrel::PersonInsights> person;
    if (personName) {
        const dovrel::PersonInsights* found = engine.findPerson(personName->toStdString());
        if (found == nullptr) {
            err << "tool: no one found named " << personName->toStdString() << std::endl;
            return exitFailed;
        }
        person = *found;
    }

    // The group tools answer "still loading" until the group chats are read; the command waits for them.
    const nlohmann::json parsed = nlohmann::json::parse(inputJSON);
    const bool readsGroups = name == QLatin1String("groups") || name == QLatin1String("group_stats") ||
                             (parsed.contains("group") && !parsed.at("group").is_null());
    if (readsGroups) {
        QEventLoop loop;
        QObject::connect(&state, &AppState::groupsLoadingChanged, &loop, [&] {
            if (!state.groupsLoading()) {
                loop.quit();
            }
        });
        state.loadGroups();
        if (state.groupsLoading()) {
            loop.exec();
        }
    }

    const CoachEngine::ToolOutput output =
        engine.execute(dovrel::Agent::ToolUse{"cli-0", name.toStdString(), inputJSON}, person);
    out << output.status << "\n" << output.result << std::endl;
    return 0;
}

} // namespace

int runCommandLine(const QStringList& arguments, std::ostream& out, std::ostream& err) {
    const QString command = arguments.size() > 1 ? arguments.at(1) : QString();
    if (command == QLatin1String("learn")) {
        return learnCommand(arguments, out, err);
    }
    if (command == QLatin1String("tool")) {
        return toolCommand(arguments, out, err);
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
