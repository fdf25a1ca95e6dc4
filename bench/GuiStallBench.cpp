// How long the GUI thread stops answering while the application does its heaviest work. A 4 ms timer on the
// GUI thread records the longest gap between its ticks, through each step in turn:
//   launch    the state made over a stored snapshot (construction reads it), checkAccess, and the silent run
//             with the proactive insights it starts;
//   groups    a group load, with the statistics of every group;
//   search    one `search` tool call, as a coach turn runs it;
//   count     one `count` tool call;
//   proactive a proactive refresh;
//   window    the window loaded over the ready state (offscreen, software rendering): compiling the QML
//             happens once, before the window first shows, so it is reported but not held to the target;
//   tabs      each of the five tabs shown, twice round, each drawn;
//   thread    the thread pane of the busiest person opened and drawn, then scrolled to its oldest page;
//   person    the page of the busiest person opened and drawn, its trends and topics read on workers.
// A first, untimed launch learns and leaves the snapshot. The data folder and the temporary folder are
// private and removed at the end.
//
//   gui-stall-bench HOME
#include "Coach/CoachEngine.h"
#include "Models/PersonInsightsValue.h"
#include "State/AppState.h"
#include "Window/Appearance.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string_view>

namespace {

constexpr double targetMs = 50.0;

// The 4 ms timer and the longest gap between two of its ticks since the last reset.
class StallMeter {
public:
    StallMeter() {
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.setInterval(4);
        QObject::connect(&timer_, &QTimer::timeout, [this] { tick(); });
        clock_.start();
        timer_.start();
    }
    void reset() {
        last_ = clock_.nsecsElapsed();
        longest_ = 0;
    }
    double longestMs() {
        tick();
        return static_cast<double>(longest_) / 1e6;
    }

private:
    void tick() {
        const qint64 now = clock_.nsecsElapsed();
        longest_ = std::max(longest_, now - last_);
        last_ = now;
    }

    QTimer timer_;
    QElapsedTimer clock_;
    qint64 last_ = 0;
    qint64 longest_ = 0;
};

// Runs the event loop from `start` until `done` holds, checked at each `changed` signal of `sender`.
template <typename Sender, typename Signal>
void runUntil(Sender* sender, Signal changed, const std::function<void()>& start,
              const std::function<bool()>& done) {
    QEventLoop loop;
    QObject::connect(sender, changed, &loop, [&] {
        if (done()) {
            loop.quit();
        }
    });
    QTimer::singleShot(0, &loop, [&] {
        start();
        if (done()) {
            loop.quit();
        }
    });
    loop.exec();
}

struct Step {
    const char* name;
    double seconds;
    double longestMs;
};

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2) {
        std::cerr << "usage: gui-stall-bench HOME\n";
        return 64;
    }
    const std::filesystem::path home = std::filesystem::absolute(argv[1]);
    const nlohmann::json summary = nlohmann::json::parse(std::ifstream(home / "summary.json"));
    const dovrel::Date now{summary.at("now").get<double>()};

    QTemporaryDir scratch;
    qputenv("HOME", QByteArray::fromStdString(home.string()));
    qputenv("XDG_DATA_HOME", (scratch.path() + QStringLiteral("/data")).toUtf8());
    qputenv("TMPDIR", scratch.path().toUtf8());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    murmora::prepareStyle();
    QGuiApplication app(argc, argv);
    const auto environment = [home, now] {
        murmora::Generator::Environment current = murmora::Generator::Environment::current();
        current.home = home;
        current.now = now;
        return current;
    };

    {
        murmora::AppState first(nullptr);
        first.setEnvironment(environment);
        first.setRevealPause(std::chrono::milliseconds(0));
        bool finished = false;
        QObject::connect(&first, &murmora::AppState::runFinished, [&finished] { finished = true; });
        runUntil(
            &first, &murmora::AppState::runFinished, [&] { first.learn(365, false); },
            [&finished] { return finished; });
        if (first.phase() != murmora::AppState::Phase::Ready) {
            std::cerr << "gui-stall-bench: the first learn run failed: " << first.failureText().toStdString()
                      << "\n";
            return 1;
        }
    }

    StallMeter meter;
    std::vector<Step> steps;
    const auto measure = [&](const char* name, const std::function<void()>& step) {
        QElapsedTimer wall;
        meter.reset();
        wall.start();
        step();
        steps.push_back({name, static_cast<double>(wall.nsecsElapsed()) / 1e9, meter.longestMs()});
    };

    std::unique_ptr<murmora::AppState> state;
    measure("launch", [&] {
        QEventLoop loop;
        QTimer::singleShot(0, &loop, [&] {
            state = std::make_unique<murmora::AppState>(nullptr);
            state->setEnvironment(environment);
            QObject::connect(state->insights(), &murmora::Insights::proactiveLoadingChanged, &loop, [&] {
                if (!state->insights()->proactiveLoading()) {
                    loop.quit();
                }
            });
            state->checkAccess();
        });
        loop.exec();
    });
    if (state->threadCount() == 0) {
        std::cerr << "gui-stall-bench: the silent run brought no threads\n";
        return 1;
    }
    murmora::Insights& insights = *state->insights();
    measure("groups", [&] {
        runUntil(
            &insights, &murmora::Insights::groupStatusChanged, [&] { insights.loadGroups(); },
            [&] { return !insights.groupsLoading(); });
    });
    // The engine's tool operation, as a coach turn calls it: the tool runs on a worker and answers on the
    // event loop.
    const auto tool = [&](const char* name, const char* input) {
        QEventLoop loop;
        QTimer::singleShot(0, &loop, [&] {
            state->coach()->runTool({"bench", name, input}, std::nullopt,
                                    [&](murmora::CoachEngine::ToolOutput) { loop.quit(); });
        });
        loop.exec();
    };
    measure("search tool", [&] { tool("search", R"({"terms":"dinner|drinks","limit":10})"); });
    measure("count tool", [&] { tool("count", R"({"terms":"love you"})"); });
    measure("proactive", [&] {
        runUntil(
            &insights, &murmora::Insights::proactiveLoadingChanged, [&] { insights.refreshProactive(); },
            [&] { return !insights.proactiveLoading(); });
    });

    // The window: the same QML as the application, over the same state.
    QQmlApplicationEngine engine;
    murmora::addModuleImports(engine);
    engine.setInitialProperties({{QStringLiteral("startsItself"), false}});
    QQuickWindow* window = nullptr;
    const auto drawn = [](int frames) {
        for (int i = 0; i < frames; ++i) {
            QEventLoop loop;
            QTimer::singleShot(16, &loop, &QEventLoop::quit);
            loop.exec();
        }
    };
    measure("window", [&] {
        engine.load(QUrl(QStringLiteral("qrc:/Murmora/qml/Main.qml")));
        window = qobject_cast<QQuickWindow*>(engine.rootObjects().value(0));
        if (window != nullptr) {
            window->resize(1280, 820);
            window->show();
        }
        drawn(10);
    });
    if (window == nullptr) {
        std::cerr << "gui-stall-bench: the window did not load\n";
        return 1;
    }
    state->preview(murmora::AppState::Phase::Ready);
    drawn(10);
    measure("tabs", [&] {
        for (int round = 0; round < 2; ++round) {
            for (int tab = 0; tab < 5; ++tab) {
                state->setTab(static_cast<murmora::AppState::Tab>(tab));
                drawn(6);
            }
        }
    });
    std::string busiest;
    std::size_t busiestCount = 0;
    for (const auto& [handle, thread] : state->threadsByHandle()) {
        if (thread.messages.size() > busiestCount) {
            busiest = handle;
            busiestCount = thread.messages.size();
        }
    }
    QQmlComponent paneComponent(&engine);
    paneComponent.setData("import QtQuick\nimport Murmora\nThreadPane { x: 900; width: 380; height: 820 }",
                          QUrl());
    measure("thread", [&] {
        auto* pane = qobject_cast<QQuickItem*>(paneComponent.createWithInitialProperties(
            {{QStringLiteral("handleID"), QString::fromStdString(busiest)},
             {QStringLiteral("name"), state->name(QString::fromStdString(busiest))}}));
        if (pane == nullptr) {
            return;
        }
        pane->setParentItem(window->contentItem());
        drawn(10);
        // Up to the oldest message, a page at a time, as someone holding the scroll bar at the top would.
        auto* list = pane->findChild<QQuickItem*>(QStringLiteral("threadList"));
        for (int i = 0; list != nullptr && i < 40; ++i) {
            QMetaObject::invokeMethod(list, "positionViewAtEnd");
            drawn(1);
        }
    });

    const auto busiestPerson =
        std::find_if(state->people().begin(), state->people().end(),
                     [&busiest](const dovrel::PersonInsights& p) { return p.handleID == busiest; });
    QQmlComponent personComponent(&engine);
    personComponent.setData("import QtQuick\nimport Murmora\nPersonDetailView { width: 1080; height: 820 }",
                            QUrl());
    measure("person", [&] {
        if (busiestPerson == state->people().end()) {
            return;
        }
        auto* page = qobject_cast<QQuickItem*>(personComponent.createWithInitialProperties(
            {{QStringLiteral("person"), QVariant::fromValue(murmora::PersonInsightsValue(*busiestPerson))},
             {QStringLiteral("name"), state->name(QString::fromStdString(busiest))}}));
        if (page == nullptr) {
            std::cerr << "gui-stall-bench: " << personComponent.errorString().toStdString() << "\n";
            return;
        }
        page->setParentItem(window->contentItem());
        // Until the trends have come back and are drawn.
        for (int i = 0; i < 60 && state->insights()->trends(QString::fromStdString(busiest)).isEmpty(); ++i) {
            drawn(1);
        }
        drawn(10);
    });

    double longest = 0.0;
    std::string load;
    std::getline(std::ifstream("/proc/loadavg"), load);
    std::printf("GUI thread over %d threads and %zu groups, a thread pane of %zu messages (load: %s)\n",
                state->threadCount(), insights.groups().size(), busiestCount,
                load.substr(0, load.find(' ', load.find(' ', load.find(' ') + 1) + 1)).c_str());
    for (const Step& step : steps) {
        std::printf("  %-12s %8.3f s   longest gap %7.1f ms\n", step.name, step.seconds, step.longestMs);
        if (std::string_view(step.name) != "window") {
            longest = std::max(longest, step.longestMs);
        }
    }
    std::printf("gui-stall longest gap %.1f ms (target <= %.0f ms)\n", longest, targetMs);
    state.reset();
    return 0;
}
