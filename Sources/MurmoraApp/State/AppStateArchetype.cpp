// The AI provider of the application, whether there is one, and the archetype sharpened by a model after a
// learn run the user watched.
#include "Coach/ArchetypePrompt.h"
#include "Foundation/Unicode.h"
#include "Output/WrappedHTML.h"
#include "State/AppState.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QThreadPool>
#include <exception>
#include <optional>
#include <string>

namespace murmora {
namespace {

// Longer titles are no title: a model that ignored the brief wrote a sentence.
constexpr std::size_t maxTitleLength = 60;

// The archetype in a model's reply, or nothing when its title is empty or too long.
std::optional<dovrel::Archetype> fittingArchetype(const QString& reply) {
    dovrel::Archetype archetype = dovrel::ArchetypePrompt::parse(reply.toStdString());
    archetype.title = std::string(dovrel::unicode::trimmed(archetype.title));
    if (archetype.title.empty() || dovrel::unicode::graphemeCount(archetype.title) > maxTitleLength) {
        return std::nullopt;
    }
    return archetype;
}

} // namespace

QNetworkAccessManager* AppState::network() {
    if (network_ == nullptr) {
        network_ = new QNetworkAccessManager(this);
    }
    return network_;
}

void AppState::setAIProvider(std::shared_ptr<AIProvider> provider) {
    aiProvider_ = std::move(provider);
    const int search = ++aiSearch_;
    const bool wasAvailable = aiAvailable();
    aiAvailable_.reset();
    if (wasAvailable) {
        emit aiAvailableChanged();
    }
    // Looking for the `claude` program may start `which`; the GUI thread never waits for it.
    const QPointer<AppState> self(this);
    QThreadPool::globalInstance()->start([self, search, provider = aiProvider_] {
        const bool available = provider->detect();
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, search, available] {
                if (!self || search != self->aiSearch_) {
                    return; // the state is gone, or has another provider by now
                }
                self->aiAvailable_ = available;
                if (available) {
                    emit self->aiAvailableChanged();
                }
                for (const std::function<void(bool)>& then : std::exchange(self->aiWaiting_, {})) {
                    then(available);
                }
            },
            Qt::QueuedConnection);
    });
}

void AppState::whenAIDetected(std::function<void(bool)> then) {
    if (aiAvailable_) {
        then(*aiAvailable_);
    } else {
        aiWaiting_.push_back(std::move(then));
    }
}

void AppState::sharpenArchetype() {
    if (!stats_) {
        return;
    }
    const std::string prompt = dovrel::ArchetypePrompt::build(*stats_);
    const QPointer<AppState> self(this);
    // Counted from now on, so that a command waiting for the archetype also waits for the provider search.
    if (++sharpenings_ == 1) {
        emit sharpeningArchetypeChanged();
    }
    const auto finished = [self] {
        if (self && --self->sharpenings_ == 0) {
            emit self->sharpeningArchetypeChanged();
        }
    };

    whenAIDetected([self, prompt, finished](bool available) {
        if (!available) {
            finished();
            return;
        }
        // The answer may come on any thread. It is carried back to the GUI thread by the application object,
        // since the state may be gone by then.
        self->aiProvider_->run(QString::fromStdString(prompt), 300)
            .then(QtFuture::Launch::Sync, [self, finished](QFuture<QString> answer) {
                std::optional<QString> reply;
                try {
                    reply = answer.result();
                } catch (...) {
                    // the local archetype stands
                }
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [self, reply, finished] {
                        if (self) {
                            self->applySharpened(reply ? fittingArchetype(*reply) : std::nullopt);
                        }
                        finished();
                    },
                    Qt::QueuedConnection);
            });
    });
}

void AppState::applySharpened(std::optional<dovrel::Archetype> sharpened) {
    if (!sharpened || !stats_) {
        return;
    }
    setArchetype(std::move(sharpened));
    saveArtifacts();
    try {
        const std::string page =
            dovrel::WrappedHTML::render(*stats_, names_, archetype_, environment_().calendar);
        wrappedURL_ = dovrel::WrappedHTML::writeToTemporaryFolder(page);
        emit wrappedURLChanged();
    } catch (const std::exception&) {
        // The run's page stays; the new archetype shows on the next one.
    }
}

} // namespace murmora
