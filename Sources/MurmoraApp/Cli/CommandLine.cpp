#include "Cli/CommandLine.h"

#include "AI/AIError.h"
#include "Cli/Arguments.h"
#include "Cli/CommandStart.h"
#include "Cli/McpCommand.h"
#include "Coach/CoachEngine.h"
#include "Foundation/Json.h"
#include "Foundation/TemporaryFolder.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/SQLiteError.h"
#include "State/AppState.h"
#include "Window/Appearance.h"
#include "Window/CardGallery.h"
#include "Window/ScreenGallery.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>
#include <cerrno>
#include <functional>
#include <iostream>
#include <ostream>

namespace murmora {
namespace {

// Said when the database cannot be opened at all, with what to do about it.
void sayNoAccess(const std::filesystem::path& database, Generator::DatabaseAccess access, std::ostream& err) {
    err << "Cannot read " << database.string();
    if (access == Generator::DatabaseAccess::notAFile) {
        err << ": it is not a regular file (a folder, pipe or device has its name). Set HOME to a folder "
               "that holds a copy of Library/Messages/chat.db."
            << std::endl;
        return;
    }
    err << ": the file is missing or not readable. On a Mac, give Full Disk Access to this program; "
           "elsewhere, set HOME to a folder that holds Library/Messages/chat.db."
        << std::endl;
}

} // namespace

bool canReadDatabase(std::ostream& err) {
    const std::filesystem::path database =
        Generator::messagesDatabasePath(Generator::Environment::current().home);
    const Generator::DatabaseAccess access = Generator::databaseAccess(database);
    if (access != Generator::DatabaseAccess::readable) {
        sayNoAccess(database, access, err);
        return false;
    }
    return true;
}

namespace {

bool isUnder(const std::filesystem::path& path, const std::filesystem::path& folder) {
    const std::filesystem::path inner = path.lexically_normal();
    const std::filesystem::path outer = folder.lexically_normal();
    auto part = inner.begin();
    for (const std::filesystem::path& name : outer) {
        if (name.empty()) {
            continue; // a trailing separator
        }
        if (part == inner.end() || *part != name) {
            return false;
        }
        ++part;
    }
    return true;
}

} // namespace

Failure describe(const std::exception_ptr& failure) {
    if (!failure) {
        return {exitFailed, "Could not read your messages."};
    }
    try {
        std::rethrow_exception(failure);
    } catch (const dovrel::MissingSchemaError& error) {
        return {exitNoAccess, error.explanation() + " (" + error.what() + ")"};
    } catch (const dovrel::SQLiteError& error) {
        return {exitNoAccess, "The Messages database cannot be read: it is damaged, or not a database. (" +
                                  std::string(error.what()) + ")"};
    } catch (const std::filesystem::filesystem_error& error) {
        const int code = error.code().value();
        const std::string technical = " (" + std::string(error.what()) + ")";
        const std::string temporary = dovrel::temporaryFolder().string();
        if (code == ENOSPC) {
            return {exitFailed, "The temporary folder " + temporary +
                                    " is full: there is no room for a copy of your Messages database. Free "
                                    "some space and try again." +
                                    technical};
        }
        if (isUnder(error.path1(), dovrel::temporaryFolder())) {
            return {exitFailed, "The temporary folder " + temporary + " cannot be written." + technical};
        }
        const std::string file = error.path1().string();
        if (code == ENOENT || code == ENOTDIR) {
            return {exitNoAccess, "Cannot read " + file + ": the file is missing." + technical};
        }
        if (code == EINVAL) {
            return {exitNoAccess, "Cannot read " + file +
                                      ": it is not a regular file (a folder, pipe or device has its name)." +
                                      technical};
        }
        return {exitNoAccess, "Cannot read " + file +
                                  ". On a Mac, give Full Disk Access to this program; elsewhere, make the "
                                  "Messages files readable." +
                                  technical};
    } catch (const DomainError& error) {
        return {exitFailed, error.description()};
    } catch (const std::exception& error) {
        return {exitFailed, "Learning failed: " + std::string(error.what())};
    } catch (...) {
        return {exitFailed, "Could not read your messages."};
    }
}

void setLaunchRunDays(AppState& state, const cli::Invocation& invocation) {
    if (invocation.days) {
        state.setLaunchRunDays(*invocation.days);
    } else if (const std::optional<dovrel::Snapshot> snapshot = Store().readSnapshot()) {
        state.setLaunchRunDays(std::clamp(snapshot->days, cli::fewestDays, cli::mostDays));
    }
}

namespace {

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
int learnCommand(const cli::Invocation& invocation, std::ostream& out, std::ostream& err) {
    AppState state(nullptr);
    state.setRevealPause(std::chrono::milliseconds(0));
    if (!canReadDatabase(err)) {
        return exitNoAccess;
    }

    QEventLoop loop;
    QObject::connect(&state, &AppState::factShown, &loop,
                     [&out](const QString& fact) { out << fact.toStdString() << std::endl; });
    QObject::connect(&state, &AppState::runFinished, &loop, [&loop] { loop.quit(); });
    state.learn(invocation.days.value_or(365), false);
    loop.exec();
    waitForArchetype(state);

    if (state.phase() != AppState::Phase::Ready || !state.wrappedURL()) {
        const Failure failure = describe(state.lastRunFailure());
        err << failure.text << std::endl;
        return failure.code;
    }
    out << "Recap: " << std::filesystem::absolute(*state.wrappedURL()).string() << std::endl;
    return 0;
}

// Starts the state as the window does: the stored files restored, the access checked, and the threads read by
// the run that follows (silent when there was a profile). Threads are never stored, so a run always comes.
// The run reads the days of `--days`, else those the saved profile was learned over, so that a profile
// learned over a long history is read back whole. Returns 0 when the threads are there, else the exit code,
// with the reason on `err`.
int startLikeTheWindow(AppState& state, const cli::Invocation& invocation, std::ostream& err) {
    state.setRevealPause(std::chrono::milliseconds(0));
    if (!canReadDatabase(err)) {
        return exitNoAccess;
    }
    setLaunchRunDays(state, invocation);
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
        const Failure failure = describe(state.lastRunFailure());
        err << failure.text << std::endl;
        return failure.code;
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
std::optional<dovrel::PersonInsights> focusedPerson(CoachEngine& engine, const QString& name,
                                                    const char* command, std::ostream& err) {
    const dovrel::CoachTools::CorpusView view = engine.corpusView();
    if (const dovrel::PersonInsights* found = view.findPerson(name.toStdString())) {
        return *found;
    }
    err << command << ": no one found named " << name.toStdString() << std::endl;
    return std::nullopt;
}

// One tool call of the coach, run by the same code as in a coach turn, over the state the window would have:
// the stored files restored, the access checked, and the threads read by the run that follows.
int toolCommand(const cli::Invocation& invocation, std::ostream& out, std::ostream& err) {
    const std::optional<QString> personName =
        invocation.person ? std::optional(QString::fromStdString(*invocation.person)) : std::nullopt;
    const QString name = QString::fromStdString(invocation.toolName);
    const std::string& inputJSON = invocation.toolInput;

    AppState state(nullptr);
    if (const int failure = startLikeTheWindow(state, invocation, err)) {
        return failure;
    }

    CoachEngine& engine = *state.coach();
    std::optional<dovrel::PersonInsights> person;
    if (personName && !(person = focusedPerson(engine, *personName, "tool", err))) {
        return exitFailed;
    }

    // The group tools answer "still loading" until the group chats are read; the command waits for them.
    const dovrel::json::Json parsed =
        dovrel::json::parseBounded(inputJSON).value_or(dovrel::json::Json::object());
    if (dovrel::CoachTools::readsGroups(name.toStdString(),
                                        parsed.contains("group") && !parsed.at("group").is_null())) {
        loadGroupsAndWait(state);
    }

    QEventLoop loop;
    CoachEngine::ToolOutput output;
    engine.runTool(dovrel::Agent::ToolUse{"cli-0", name.toStdString(), inputJSON}, person,
                   [&](CoachEngine::ToolOutput ran) {
                       output = std::move(ran);
                       loop.quit();
                   });
    loop.exec();
    out << output.status << "\n" << output.result << std::endl;
    return 0;
}

// One coach turn, as the coach screen sends it: the answer is stored in the transcript like any other, and
// the command ends only when the memory update or session note the turn started is stored too.
int coachCommand(const cli::Invocation& invocation, std::ostream& out, std::ostream& err) {
    const std::optional<QString> personName =
        invocation.person ? std::optional(QString::fromStdString(*invocation.person)) : std::nullopt;
    const std::string& text = invocation.text;

    AppState state(nullptr);
    if (const int failure = startLikeTheWindow(state, invocation, err)) {
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

// Pictures of every screen or every share card, drawn by the window's own QML over the state the window would
// have.
int screensCommand(const cli::Invocation& invocation, std::ostream& out, std::ostream& err) {
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr) {
        err << "screens: needs a graphical application (run it from murmora-cli)" << std::endl;
        return exitFailed;
    }
    // Pictures never change what is saved: the state works on a copy of the data folder, so a deep dive drawn
    // for a picture, or a run the pictures needed, is gone with it.
    QTemporaryDir scratch;
    if (!scratch.isValid()) {
        err << "screens: cannot make a temporary folder" << std::endl;
        return exitFailed;
    }
    const QDir saved(Store().folder());
    for (const QString& file : saved.entryList(QDir::Files)) {
        QFile::copy(saved.filePath(file), scratch.filePath(file));
    }
    AppState state(nullptr, Store(scratch.path()));
    if (const int failure = startLikeTheWindow(state, invocation, err)) {
        return failure;
    }
    if (invocation.command == cli::Command::cards) {
        return renderCardGallery(state, QString::fromStdString(invocation.outFolder), out, err);
    }
    ScreenGalleryOptions options;
    options.outFolder = QString::fromStdString(invocation.outFolder);
    options.windowSize = QSize(invocation.width, invocation.height);
    return renderScreenGallery(state, options, out, err);
}

} // namespace

int runCommandLineApplication(int argc, char* argv[]) {
    const bool draws =
        argc > 1 && (std::string_view(argv[1]) == "screens" || std::string_view(argv[1]) == "cards");
    if (!draws) {
        QCoreApplication app(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("Murmora"));
        QCoreApplication::setOrganizationName(QStringLiteral("Murmora"));
        return runCommandLine(QCoreApplication::arguments(), std::cout, std::cerr);
    }
    // The scale and the platform are read when the application object is made, so the options come first.
    const std::variant<cli::Invocation, cli::UsageError> parsed =
        cli::parseArguments(std::vector<std::string>(argv + 1, argv + argc));
    const auto* invocation = std::get_if<cli::Invocation>(&parsed);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Cards are drawn at their own scale; screens at the one asked for.
    if (invocation && invocation->command == cli::Command::screens) {
        qputenv("QT_SCALE_FACTOR", QByteArray::number(invocation->scale));
    }
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    prepareStyle();
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Murmora"));
    QCoreApplication::setOrganizationName(QStringLiteral("Murmora"));
    applyAppearance(app, invocation && invocation->dark ? Appearance::dark : Appearance::light);
    return runCommandLine(QCoreApplication::arguments(), std::cout, std::cerr);
}

int runCommandLine(const QStringList& arguments, std::ostream& out, std::ostream& err) {
    // Copies left behind by a process that ended before it could remove them.
    dovrel::DatabaseCopier::removeStaleCopies();

    std::vector<std::string> words;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        words.push_back(arguments.at(i).toStdString());
    }
    const std::variant<cli::Invocation, cli::UsageError> parsed = cli::parseArguments(words);
    if (const auto* misuse = std::get_if<cli::UsageError>(&parsed)) {
        err << misuse->message << "\n\n" << cli::usage(misuse->command);
        return exitUsage;
    }
    const cli::Invocation& invocation = std::get<cli::Invocation>(parsed);
    if (invocation.help) {
        out << cli::usage(invocation.command == cli::Command::help ? std::nullopt
                                                                   : std::optional(invocation.command));
        return 0;
    }
    switch (invocation.command) {
    case cli::Command::learn:
        return learnCommand(invocation, out, err);
    case cli::Command::tool:
        return toolCommand(invocation, out, err);
    case cli::Command::coach:
        return coachCommand(invocation, out, err);
    case cli::Command::screens:
    case cli::Command::cards:
        return screensCommand(invocation, out, err);
    case cli::Command::mcp:
        return mcpCommand(invocation, out, err);
    case cli::Command::help:
        break;
    }
    out << cli::usage();
    return 0;
}

} // namespace murmora
