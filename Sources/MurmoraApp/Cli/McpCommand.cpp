#include "Cli/McpCommand.h"

#include "Cli/CommandStart.h"
#include "Coach/CoachEngine.h"
#include "Coach/CoachTools.h"
#include "Coach/McpServer.h"
#include "Foundation/Json.h"
#include "Platform/BuildSettings.h"
#include "State/AppState.h"
#include "State/Insights.h"

#include <QEventLoop>
#include <QObject>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <ostream>
#include <semaphore>
#include <thread>
#include <unistd.h>

namespace murmora {
namespace {

// Lines read but not yet answered: those waiting to be handled and the tool calls under way. The reader
// waits beyond this, so a client that floods the input costs at most this many capped lines of memory.
constexpr std::ptrdiff_t linesAhead = 32;
using Room = std::counting_semaphore<linesAhead>;

// One client's session, on the GUI thread: lines come in from the reader in order, tool calls wait for the
// threads (and for the group chats when they read them), run on the engine's workers, and come back here to
// be written.
class Session {
public:
    Session(AppState& state, std::ostream& out, QEventLoop& loop, Room& room)
        : state_(state)
        , out_(out)
        , loop_(loop)
        , room_(room)
        , server_(BuildSettings::version().toStdString(),
                  [this](const dovrel::Agent::ToolUse& use,
                         std::function<void(dovrel::Mcp::ToolAnswer)> done) { call(use, std::move(done)); }) {
        QObject::connect(state.insights(), &Insights::groupStatusChanged, &loop, [this] { groupsChanged(); });
    }

    // Handles one line, and makes room for the next one unless it started a call, which does when it ends.
    void receive(const dovrel::Mcp::LineSplitter::Line& line) {
        const auto reply = [this](const std::string& text) { write(text); };
        const int calls = calls_;
        if (line.oversized) {
            server_.receiveOversized(reply);
        } else {
            server_.receive(line.text, reply);
        }
        if (calls_ == calls) {
            room_.release();
        }
    }

    void inputEnded() {
        ended_ = true;
        quitWhenDone();
    }

    // The launch run is over: the threads are there, or the tools answer why not.
    void started(bool succeeded) {
        if (threadsRead_ || failure_) {
            return;
        }
        if (succeeded) {
            threadsRead_ = true;
        } else {
            failure_ = describe(state_.lastRunFailure()).text;
        }
        for (std::function<void()>& next : std::exchange(waitingForThreads_, {})) {
            next();
        }
    }

    const std::optional<std::string>& failure() const { return failure_; }

private:
    using Done = std::function<void(dovrel::Mcp::ToolAnswer)>;

    void call(const dovrel::Agent::ToolUse& use, Done done) {
        ++calls_;
        ++running_;
        Done finish = [this, done = std::move(done)](dovrel::Mcp::ToolAnswer answer) {
            done(std::move(answer));
            room_.release();
            --running_;
            quitWhenDone();
        };
        if (!threadsRead_ && !failure_) {
            waitingForThreads_.push_back([this, use, finish] { callWithThreads(use, finish); });
            return;
        }
        callWithThreads(use, finish);
    }

    void callWithThreads(const dovrel::Agent::ToolUse& use, const Done& finish) {
        if (failure_) {
            finish({std::string(dovrel::CoachTools::skippedStatus), *failure_, true});
            return;
        }
        const dovrel::json::Json input =
            dovrel::json::parseBounded(use.inputJSON).value_or(dovrel::json::Json::object());
        const bool hasGroup = input.is_object() && input.contains("group") && !input.at("group").is_null();
        Insights& insights = *state_.insights();
        if (dovrel::CoachTools::readsGroups(use.name, hasGroup) && !insights.groupsLoaded()) {
            insights.loadGroups();
            if (insights.groupsLoading()) {
                // Run once the load ends, found or failed: the tool says which.
                waitingForGroups_.push_back([this, use, finish] { runTool(use, finish); });
                return;
            }
        }
        runTool(use, finish);
    }

    void runTool(const dovrel::Agent::ToolUse& use, const Done& finish) {
        state_.coach()->runTool(use, std::nullopt, [finish](CoachEngine::ToolOutput output) {
            const bool skipped = output.status == dovrel::CoachTools::skippedStatus;
            finish({std::move(output.status), std::move(output.result), skipped});
        });
    }

    void groupsChanged() {
        if (state_.insights()->groupsLoading()) {
            return;
        }
        for (std::function<void()>& next : std::exchange(waitingForGroups_, {})) {
            next();
        }
    }

    void write(const std::string& line) {
        const std::lock_guard lock(writing_);
        out_ << line << '\n';
        out_.flush();
    }

    void quitWhenDone() {
        if (ended_ && running_ == 0) {
            loop_.quit();
        }
    }

    AppState& state_;
    std::ostream& out_;
    QEventLoop& loop_;
    Room& room_;
    std::mutex writing_;
    dovrel::Mcp::Server server_;
    bool threadsRead_ = false;
    std::optional<std::string> failure_;
    std::vector<std::function<void()>> waitingForThreads_;
    std::vector<std::function<void()>> waitingForGroups_;
    int calls_ = 0; // started
    int running_ = 0;
    bool ended_ = false;
};

// Reads standard input on its own thread, so that lines are taken while tools run, and hands each line to
// the session on the GUI thread, in order.
void readInput(QObject& context, Session& session, Room& room) {
    dovrel::Mcp::LineSplitter splitter;
    const auto post = [&](dovrel::Mcp::LineSplitter::Line line) {
        room.acquire();
        QMetaObject::invokeMethod(
            &context, [&session, line = std::move(line)] { session.receive(line); }, Qt::QueuedConnection);
    };
    char buffer[1 << 16];
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        splitter.feed(std::string_view(buffer, static_cast<std::size_t>(count)), post);
    }
    if (std::optional<dovrel::Mcp::LineSplitter::Line> last = splitter.finish()) {
        post(std::move(*last));
    }
    QMetaObject::invokeMethod(
        &context, [&session] { session.inputEnded(); }, Qt::QueuedConnection);
}

} // namespace

int mcpCommand(const cli::Invocation& invocation, std::ostream& out, std::ostream& err) {
    // A client that goes away closes the pipe; the write fails and the input ends, rather than a signal
    // ending the process mid-reply.
    std::signal(SIGPIPE, SIG_IGN);
    if (!canReadDatabase(err)) {
        return exitNoAccess;
    }
    AppState state(nullptr);
    state.setRevealPause(std::chrono::milliseconds(0));
    setLaunchRunDays(state, invocation);

    QEventLoop loop;
    QObject context;
    Room room(linesAhead);
    Session session(state, out, loop, room);
    QObject::connect(&state, &AppState::runFinished, &context, [&](bool succeeded) {
        session.started(succeeded);
        if (const std::optional<std::string>& failure = session.failure()) {
            err << *failure << std::endl;
        }
    });
    state.checkAccess();
    if (state.phase() == AppState::Phase::NeedsAccess) {
        canReadDatabase(err);
        return exitNoAccess;
    }

    // The client may initialize and list the tools while the threads are read; only calls wait for them.
    std::thread reader([&] { readInput(context, session, room); });
    loop.exec();
    reader.join();
    return 0;
}

} // namespace murmora
