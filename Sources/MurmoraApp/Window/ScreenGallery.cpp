#include "Window/ScreenGallery.h"

#include "AI/AIProvider.h"
#include "State/AppState.h"
#include "Window/Appearance.h"

#include <QDir>
#include <QEventLoop>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>
#include <functional>
#include <ostream>
#include <vector>

namespace murmora {
namespace {

struct Shot {
    QString name;
    std::function<void()> show;
};

// Long enough for the cross-fades (0.3 s) and a first layout of lazy lists.
void settle(int milliseconds = 500) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

bool save(QQuickWindow& window, const QString& path, std::ostream& out, std::ostream& err) {
    const QImage image = window.grabWindow();
    if (image.isNull() || !image.save(path)) {
        err << "screens: could not write " << path.toStdString() << std::endl;
        return false;
    }
    out << path.toStdString() << std::endl;
    return true;
}

// An object by name anywhere under `root`, also below items a repeater made (which no QObject owns).
QObject* findNamed(QQuickItem* root, const QString& name) {
    QList<QQuickItem*> pending{root};
    while (!pending.isEmpty()) {
        QQuickItem* item = pending.takeFirst();
        if (item->objectName() == name) {
            return item;
        }
        if (QObject* found = item->findChild<QObject*>(name)) {
            return found;
        }
        pending.append(item->childItems());
    }
    return nullptr;
}

// The handle of the person with the most messages, for the pieces that show one person.
QString busiestHandle(const AppState& state) {
    return state.people().empty() ? QString() : QString::fromStdString(state.people().front().handleID);
}

// A model for pictures only: it picks three of the conversations waiting on a reply, with reasons, writes a
// short deep dive, and has nothing to say to anything else. Real answers would differ from run to run.
class PictureProvider : public AIProvider {
public:
    bool detect() override { return true; }
    QFuture<QString> run(const QString& prompt, int) override {
        if (prompt.startsWith(QStringLiteral("Below are conversations where someone texted me last"))) {
            return QtFuture::makeReadyFuture(
                QStringLiteral("2. Asked when you're free this week\n"
                               "1. Wants a call back later today\n"
                               "4. Still waiting on your answer about Saturday"));
        }
        if (prompt.contains(QStringLiteral("relationship observer"))) {
            return QtFuture::makeReadyFuture(QStringLiteral(
                "## The dynamic\nQuick, light check-ins with the occasional long evening thread.\n"
                "## How conflict looks\nDisagreements are short and **mostly about plans**; they settle "
                "within "
                "the hour.\n## The trajectory\nSteady. The replies got quicker this autumn.\n"
                "## Unresolved\nThe trip you both keep mentioning and never book.\n"
                "## One suggestion\nPick a date for it."));
        }
        return QtFuture::makeReadyFuture(QString());
    }
    QFuture<std::vector<dovrel::Agent::Block>> chat(const ChatRound&, DeltaHandler) override {
        return QtFuture::makeReadyFuture(std::vector<dovrel::Agent::Block>{});
    }
};

} // namespace

int renderScreenGallery(AppState& state, const ScreenGalleryOptions& options, std::ostream& out,
                        std::ostream& err) {
    if (!QDir().mkpath(options.outFolder)) {
        err << "screens: cannot make the folder " << options.outFolder.toStdString() << std::endl;
        return 1;
    }
    const QDir folder(options.outFolder);
    QQmlApplicationEngine engine;
    addModuleImports(engine);
    engine.setInitialProperties({{QStringLiteral("startsItself"), false}});
    engine.load(QUrl(QStringLiteral("qrc:/Murmora/qml/Main.qml")));
    auto* window =
        engine.rootObjects().isEmpty() ? nullptr : qobject_cast<QQuickWindow*>(engine.rootObjects().first());
    if (window == nullptr) {
        err << "screens: the window did not load" << std::endl;
        return 1;
    }
    window->resize(options.windowSize);
    window->show();

    const QString firstReveal = QStringLiteral("Reading your conversations\u2026");
    using Phase = AppState::Phase;
    using Tab = AppState::Tab;
    const auto ready = [&state](Tab tab) {
        return [&state, tab] {
            state.preview(Phase::Ready);
            state.setTab(tab);
        };
    };
    // The people tab in another order or with a search typed.
    const auto peopleShown = [&state, window](int sortMode, const QString& query) {
        return [&state, window, sortMode, query] {
            state.preview(Phase::Ready);
            state.setTab(Tab::People);
            settle(100);
            if (QObject* people = window->findChild<QObject*>(QStringLiteral("peopleView"))) {
                people->setProperty("sortMode", sortMode);
                people->setProperty("query", query);
            }
        };
    };
    const std::vector<Shot> shots = {
        {QStringLiteral("phase-checking-access"), [&] { state.preview(Phase::CheckingAccess); }},
        {QStringLiteral("phase-needs-access"), [&] { state.preview(Phase::NeedsAccess); }},
        {QStringLiteral("phase-learning"), [&] { state.preview(Phase::Learning, firstReveal); }},
        {QStringLiteral("phase-failed"),
         [&] {
             state.preview(Phase::Failed,
                           QStringLiteral("The Messages database cannot be read: it is damaged, or not a "
                                          "database. (file is not a database)"));
         }},
        {QStringLiteral("walkthrough"), [&] { state.preview(Phase::Ready, {}, true); }},
        {QStringLiteral("tab-coach"), ready(Tab::Coach)},
        {QStringLiteral("tab-profile"), ready(Tab::Profile)},
        {QStringLiteral("tab-people"), ready(Tab::People)},
        {QStringLiteral("tab-groups"), ready(Tab::Groups)},
        {QStringLiteral("tab-wrapped"), ready(Tab::Wrapped)},
        {QStringLiteral("people-recent"), peopleShown(1, {})},
        {QStringLiteral("people-attention"), peopleShown(2, {})},
        {QStringLiteral("people-search"), peopleShown(0, QStringLiteral("ma"))},
    };
    bool written = true;
    for (const Shot& shot : shots) {
        shot.show();
        settle();
        written = save(*window, folder.filePath(shot.name + QStringLiteral(".png")), out, err) && written;
    }
    // The profile once a model has picked from the conversations waiting on a reply.
    state.setAIProvider(std::make_shared<PictureProvider>());
    state.preview(Phase::Ready);
    state.setTab(Tab::Coach);
    settle(200);
    state.setTab(Tab::Profile);
    settle(1200);
    written = save(*window, folder.filePath(QStringLiteral("tab-profile-ai-pick.png")), out, err) && written;

    // The pieces screens hold, each in a window of its own on the same state.
    const QString handle = busiestHandle(state);
    struct Piece {
        QString name;
        QString show;
        QSize size;
        int personIndex = 0;
    };
    const std::vector<Piece> pieces = {
        {QStringLiteral("thread-pane"), QStringLiteral("threadPane"),
         QSize(420, options.windowSize.height())},
        {QStringLiteral("person-picker"), QStringLiteral("personPicker"), QSize(420, 520)},
        {QStringLiteral("consent-sheet"), QStringLiteral("consentSheet"), QSize(560, 420)},
        {QStringLiteral("components"), QStringLiteral("components"), QSize(760, options.windowSize.height())},
        {QStringLiteral("share-sections"), QStringLiteral("shareSections"), QSize(620, 700)},
        {QStringLiteral("person-detail"), QStringLiteral("personDetail"),
         QSize(1080, options.windowSize.height())},
        // A person with little history: no warmth chart.
        {QStringLiteral("person-detail-quiet"), QStringLiteral("personDetail"),
         QSize(1080, options.windowSize.height()), static_cast<int>(state.people().size()) - 1},
    };
    for (const Piece& piece : pieces) {
        QQmlApplicationEngine pieceEngine;
        addModuleImports(pieceEngine);
        pieceEngine.setInitialProperties({{QStringLiteral("show"), piece.show},
                                          {QStringLiteral("handleID"), handle},
                                          {QStringLiteral("personIndex"), std::max(0, piece.personIndex)},
                                          {QStringLiteral("width"), piece.size.width()},
                                          {QStringLiteral("height"), piece.size.height()}});
        pieceEngine.load(QUrl(QStringLiteral("qrc:/Murmora/qml/preview/PiecePreview.qml")));
        auto* pieceWindow = pieceEngine.rootObjects().isEmpty()
                                ? nullptr
                                : qobject_cast<QQuickWindow*>(pieceEngine.rootObjects().first());
        if (pieceWindow == nullptr) {
            err << "screens: the preview of " << piece.name.toStdString() << " did not load" << std::endl;
            written = false;
            continue;
        }
        pieceWindow->show();
        settle();
        written =
            save(*pieceWindow, folder.filePath(piece.name + QStringLiteral(".png")), out, err) && written;
        if (QObject* scroll = findNamed(pieceWindow->contentItem(), QStringLiteral("personScroll"))) {
            QMetaObject::invokeMethod(scroll, "showTrends");
            settle(300);
            written =
                save(*pieceWindow, folder.filePath(piece.name + QStringLiteral("-trends.png")), out, err) &&
                written;
        }
        // The same page once the user agreed to a deep dive and the model answered.
        if (QObject* consent = findNamed(pieceWindow->contentItem(), QStringLiteral("deepDiveConsent"))) {
            QMetaObject::invokeMethod(consent, "accepted");
            settle(1500);
            if (QObject* scroll = findNamed(pieceWindow->contentItem(), QStringLiteral("personScroll"))) {
                QMetaObject::invokeMethod(scroll, "showDeepDive");
                settle(300);
            }
            written =
                save(*pieceWindow, folder.filePath(piece.name + QStringLiteral("-dive.png")), out, err) &&
                written;
        }
        pieceWindow->close();
    }
    return written ? 0 : 1;
}

} // namespace murmora
