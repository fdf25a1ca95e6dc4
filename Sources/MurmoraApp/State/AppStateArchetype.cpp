// The archetype sharpened by a model after a learn run the user watched.
#include "AI/AI.h"
#include "Coach/ArchetypePrompt.h"
#include "Foundation/Unicode.h"
#include "Output/WrappedHTML.h"
#include "State/AppState.h"

#include <QCoreApplication>
#include <QPointer>
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

void AppState::sharpenArchetype() {
    if (!AI::available() || !stats_) {
        return;
    }
    const std::string prompt = dovrel::ArchetypePrompt::build(*stats_);
    const QPointer<AppState> self(this);
    if (++sharpenings_ == 1) {
        emit sharpeningArchetypeChanged();
    }

    // The answer may come on any thread. It is carried back to the GUI thread by the application object,
    // since the state may be gone by then.
    AI::run(QString::fromStdString(prompt), 300)
        .then(QtFuture::Launch::Sync, [self](QFuture<QString> answer) {
            std::optional<QString> reply;
            try {
                reply = answer.result();
            } catch (...) {
                // the local archetype stands
            }
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [self, reply] {
                    if (!self) {
                        return;
                    }
                    self->applySharpened(reply ? fittingArchetype(*reply) : std::nullopt);
                    if (--self->sharpenings_ == 0) {
                        emit self->sharpeningArchetypeChanged();
                    }
                },
                Qt::QueuedConnection);
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
