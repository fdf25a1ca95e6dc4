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

    // The answer may come on any thread. It is carried back to the GUI thread by the application object,
    // since the state may be gone by then.
    AI::run(QString::fromStdString(prompt), 300)
        .then(QtFuture::Launch::Sync, [self](QFuture<QString> answer) {
            QString reply;
            try {
                reply = answer.result();
            } catch (...) {
                return; // the local archetype stands
            }
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [self, reply] {
                    std::optional<dovrel::Archetype> sharpened = fittingArchetype(reply);
                    if (!sharpened || !self || !self->stats_) {
                        return;
                    }
                    self->setArchetype(std::move(sharpened));
                    self->saveArtifacts();
                    try {
                        const std::string page = dovrel::WrappedHTML::render(
                            *self->stats_, self->names_, self->archetype_, self->environment_().calendar);
                        self->wrappedURL_ = dovrel::WrappedHTML::writeToTemporaryFolder(page);
                        emit self->wrappedURLChanged();
                    } catch (const std::exception&) {
                        // The run's page stays; the new archetype shows on the next one.
                    }
                },
                Qt::QueuedConnection);
        });
}

} // namespace murmora
