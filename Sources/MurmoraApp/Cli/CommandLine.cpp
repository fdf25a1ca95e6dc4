#include "Cli/CommandLine.h"

#include "AI/AIError.h"
#include "Coach/CoachEngine.h"
#include "Foundation/Unicode.h"
#include "State/AppState.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QTimer>
#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>

namespace murmora {
namespace {

constexpr int exitFailed = 1;
constexpr int exitNoAccess = 2;
constexpr int exitDailyCap = 3;
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
    "  coach [--person NAME] TEXT\n"
    "                     ask the coach, in the chat with the person --person names or the\n"
    "                     general one; tool status lines go to standard error, the answer\n"
    "                     to standard output (exit 3 when the relay's daily cap is used up)\n"
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

// Waits while `busy` holds, for as long as the `changed` signal of `sender` keeps it busy, at most `limit`.
template <typename Sender, typename Signal>
void waitWhile(Sender& sender, Signal changed, const std::function<bool()>& busy,
               std::chrono::milliseconds limit = std::chrono::hours(24)) {
    if (!busy()) {
        return;
    }
    QEventLoop loop;
    QObject::connect(&sender, changed, &loop, [&] {
        if (!busy()) {
            loop.quit();
        }
    });
    QTimer::singleShot(limit, &loop, &QEventLoop::quit);
    loop.exec();
}

// A run the user watched asks a model for a sharper archetype and writes the page again with it. The
// command waits for that, as the window would show it, but not for a model that never answers.
void waitForArchetype(AppState& state) {
    waitWhile(
        state, &AppState::sharpeningArchetypeChanged, [&] { return state.sharpeningArchetype(); },
        std::chrono::minutes(3));
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
    waitForArchetype(state);

    if (state.phase() != AppState::Phase::Ready || !state.wrappedURL()) {
        err << state.failureText().toStdString() << std::endl;
        return exitFailed;
    }
    out << "Recap: " << std::filesystem::absolute(*state.wrappedURL()).string() << std::endl;
    return 0;
}

// Starts the state as the window does: the stored files restored, the access checked, and the threads read by
// the run that follows (silent when there was a profile). Threads are never stored, so a run always comes.
// Returns 0 when the threads are there, else the exit code, with the reason on `err`.
int startLikeTheWindow(AppState& state, std::ostream& err) {
    state.setRevealPause(std::chrono::milliseconds(0));
    if (!canReadDatabase(err)) {
        return exitNoAccess;
    }
    bool succeeded = false;
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
    if (!succeeded) {
        const QString reason = state.failureText();
        err << (reason.isEmpty() ? std::string("Could not read your messages.") : reason.toStdString())
            << std::endl;
        return exitFailed;
    }
    waitForArchetype(state);
    return 0;
}

// The group chats are read in the background; the tools that need them answer "still loading" until then.
void loadGroupsAndWait(AppState& state) {
    Insights& insights = *state.insights();
    insights.loadGroups();
    waitWhile(insights, &Insights::groupStatusChanged, [&] { return insights.groupsLoading(); });
}

// The person `--person` names, found as the coach's person picker finds one; says so when there is none.
std::optional<dovrel::PersonInsights> focusedPerson(const CoachEngine& engine, const QString& name,
                                                    const char* command, std::ostream& err) {
    if (const dovrel::PersonInsights* found = engine.findPerson(name.toStdString())) {
        return *found;
    }
    err << command << ": no one found named " << name.toStdString() << std::endl;
    return std::nullopt;
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
    if (const int failure = startLikeTheWindow(state, err)) {
        return failure;
    }

    CoachEngine& engine = *state.coach();
    std::optional<dovrel::PersonInsights> person;
    if (personName && !(person = focusedPerson(engine, *personName, "tool", err))) {
        return exitFailed;
    }

    // The group tools answer "still loading" until the group chats are read; the command waits for them.
    const nlohmann::json parsed = nlohmann::json::parse(inputJSON);
    const bool readsGroups = name == QLatin1String("groups") || name == QLatin1String("group_stats") ||
                             (parsed.contains("group") && !parsed.at("group").is_null());
    if (readsGroups) {
        loadGroupsAndWait(state);
    }

    const CoachEngine::ToolOutput output =
        engine.execute(dovrel::Agent::ToolUse{"cli-0", name.toStdString(), inputJSON}, person);
    out << output.status << "\n" << output.result << std::endl;
    return 0;
}

// One coach turn, as the coach screen sends it: the answer is stored in the transcript like any other, and
// the command ends only when the memory update or session note the turn started is stored too.
int coachCommand(const QStringList& arguments, std::ostream& out, std::ostream& err) {
    std::optional<QString> personName;
    QStringList words;
    for (qsizetype i = 2; i < arguments.size(); ++i) {
        if (arguments.at(i) == QLatin1String("--person")) {
            if (i + 1 == arguments.size()) {
                err << "coach: expected a name after --person\n\n" << usage;
                return exitUsage;
            }
            personName = arguments.at(++i);
        } else {
            words.append(arguments.at(i));
        }
    }
    const std::string text(dovrel::unicode::trimmed(words.join(QLatin1Char(' ')).toStdString()));
    if (text.empty()) {
        err << "coach: expected a message\n\n" << usage;
        return exitUsage;
    }

    AppState state(nullptr);
    if (const int failure = startLikeTheWindow(state, err)) {
        return failure;
    }
    CoachEngine& engine = *state.coach();
    std::optional<dovrel::PersonInsights> person;
    if (personName && !(person = focusedPerson(engine, *personName, "coach", err))) {
        return exitFailed;
    }
    // The coach may ask about group chats; they are read first so that its tools can answer. Today's insight
    // goes into the system prompt, so it is awaited too.
    loadGroupsAndWait(state);
    waitWhile(*state.insights(), &Insights::proactiveLoadingChanged,
              [&] { return state.insights()->proactiveLoading(); });

    QEventLoop loop;
    QObject::connect(&engine, &CoachEngine::toolRan, &loop,
                     [&err](const QString& status) { err << status.toStdString() << std::endl; });
    // Checked a moment after each change, so that work a turn starts as it ends is counted.
    const auto quitWhenIdle = [&] {
        QTimer::singleShot(0, &loop, [&] {
            if (!engine.thinking() && engine.backgroundWork() == 0) {
                loop.quit();
            }
        });
    };
    QObject::connect(&engine, &CoachEngine::thinkingChanged, &loop, quitWhenIdle);
    QObject::connect(&engine, &CoachEngine::backgroundWorkChanged, &loop, quitWhenIdle);
    engine.send(text, person);
    if (engine.thinking() || engine.backgroundWork() > 0) {
        loop.exec();
    }

    if (engine.capHit()) {
        err << AIError::message(AIError::Case::dailyCap).toStdString() << std::endl;
        return exitDailyCap;
    }
    if (engine.errorText()) {
        err << *engine.errorText() << std::endl;
        return exitFailed;
    }
    const std::string key = person ? person->handleID : std::string();
    const std::vector<dovrel::CoachMessage>& transcript = state.coachStore()->transcript(key);
    if (transcript.empty() || transcript.back().role != dovrel::CoachMessage::Role::coach) {
        err << "coach: no answer" << std::endl;
        return exitFailed;
    }
    out << transcript.back().text << std::endl;
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
    if (command == QLatin1String("coach")) {
        return coachCommand(arguments, out, err);
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
