#pragma once

// moc of Qt 6.4 cannot parse the C++20 standard headers the core pulls in; it needs none of them.
#ifndef Q_MOC_RUN
#include "Measurement/LocalArchetype.h"
#include "Persistence/Artifacts.h"
#include "State/Store.h"
#endif

#include "Models/MemoryModel.h"
#include "Models/StoredDiveValue.h"
#include "Models/TranscriptModel.h"

#include <QObject>
#include <QString>
#include <QThreadPool>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace murmora {

// What the coach keeps across launches: transcripts and memory by coach key (a handle, or "" for the general
// coach), deep dives by handle, and the writing of "artifacts.json". Owned by the application state; lives on
// the GUI thread.
//
// Saves are coalesced: at most one write is in flight, on a worker, and a save asked for meanwhile waits for
// it and then writes the state as it is by then. A burst of messages thus costs one or two writes, and the
// last state is on disk once `flush()` returns, which the destructor does too.
class CoachStore : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application state owns the coach store.")

public:
    using Transcripts = std::map<std::string, std::vector<dovrel::CoachMessage>>;
    using Memory = std::map<std::string, std::vector<dovrel::MemoryEntry>>;
    // The archetype goes into the same file; its owner answers for it at each save.
    using ArchetypeSource = std::function<std::optional<dovrel::Archetype>()>;

    // Takes what was read from `store` at start; `damaged` says the file was there but could not be read,
    // so the first save sets it aside instead of replacing it.
    CoachStore(Store store, const std::optional<dovrel::Artifacts>& restored, bool damaged,
               ArchetypeSource archetype, QObject* parent);
    ~CoachStore() override;

    const Transcripts& coachTranscripts() const { return coachTranscripts_; }
    const Memory& coachMemory() const { return coachMemory_; }
    const std::map<std::string, dovrel::StoredDive>& deepDives() const { return deepDives_; }
    // The list of one key, empty when it has none.
    const std::vector<dovrel::CoachMessage>& transcript(const std::string& key) const;
    const std::vector<dovrel::MemoryEntry>& memory(const std::string& key) const;

    // Adds one message at the end of a transcript (transcriptAppended); replaces a whole one
    // (transcriptReset).
    void append(const std::string& key, dovrel::CoachMessage message);
    void setTranscript(const std::string& key, std::vector<dovrel::CoachMessage> messages);
    void setMemory(const std::string& key, std::vector<dovrel::MemoryEntry> entries);
    void setDeepDive(const std::string& handle, dovrel::StoredDive dive);

    // Writes "artifacts.json" from the current fields, soon and off the GUI thread.
    Q_INVOKABLE void saveArtifacts();
    // Waits for the write in flight and writes what is still pending, here. Nothing is pending after it.
    void flush();
    // Files written so far.
    int writes() const { return writes_; }

    // What QML reads. A key's model is made at the first ask, kept, and follows every change of the key.
    Q_INVOKABLE murmora::TranscriptModel* transcriptModel(const QString& key);
    Q_INVOKABLE murmora::MemoryModel* memoryModel(const QString& key);
    // The stored deep dive of a handle; invalid when there is none.
    Q_INVOKABLE murmora::StoredDiveValue deepDive(const QString& handle) const;

signals:
    void transcriptAppended(const QString& key);
    void transcriptReset(const QString& key);
    void memoryChanged(const QString& key);
    void deepDivesChanged();

private:
    dovrel::Artifacts artifacts() const;
    void startWrite();
    void writeEnded(int generation);
    // Keeps a damaged file beside the new one before the first save replaces it, and says so once.
    void setAsideDamagedFile();

    Store store_;
    ArchetypeSource archetype_;
    Transcripts coachTranscripts_;
    Memory coachMemory_;
    std::map<std::string, dovrel::StoredDive> deepDives_;
    std::map<std::string, TranscriptModel*> transcriptModels_;
    std::map<std::string, MemoryModel*> memoryModels_;
    bool damaged_ = false;
    bool writing_ = false;
    bool pending_ = false;
    int generation_ = 0; // of the write in flight; a flush makes an older one's end stale
    int writes_ = 0;
    QThreadPool writer_;
};

} // namespace murmora
