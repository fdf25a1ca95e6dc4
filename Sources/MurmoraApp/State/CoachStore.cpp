#include "State/CoachStore.h"

#include "Coach/CoachMemory.h"

#include <QPointer>
#include <QtGlobal>

namespace murmora {

CoachStore::CoachStore(Store store, const std::optional<dovrel::Artifacts>& restored, bool damaged,
                       ArchetypeSource archetype, QObject* parent)
    : QObject(parent)
    , store_(std::move(store))
    , archetype_(std::move(archetype))
    , damaged_(damaged) {
    writer_.setMaxThreadCount(1);
    if (!restored) {
        return;
    }
    deepDives_ = restored->deepDives;
    coachTranscripts_ = restored->transcripts;
    coachMemory_ = restored->memory.value_or(Memory{});
    const dovrel::Date now = dovrel::Date::now();
    for (const auto& [key, note] : restored->memoryNotes) {
        // Entries already in the new format win over an old note of the same key.
        coachMemory_.try_emplace(key, dovrel::CoachMemory::migrate(note, now));
    }
}

CoachStore::~CoachStore() {
    flush();
}

const std::vector<dovrel::CoachMessage>& CoachStore::transcript(const std::string& key) const {
    static const std::vector<dovrel::CoachMessage> none;
    const auto found = coachTranscripts_.find(key);
    return found == coachTranscripts_.end() ? none : found->second;
}

const std::vector<dovrel::MemoryEntry>& CoachStore::memory(const std::string& key) const {
    static const std::vector<dovrel::MemoryEntry> none;
    const auto found = coachMemory_.find(key);
    return found == coachMemory_.end() ? none : found->second;
}

void CoachStore::append(const std::string& key, dovrel::CoachMessage message) {
    std::vector<dovrel::CoachMessage>& transcript = coachTranscripts_[key];
    transcript.push_back(std::move(message));
    if (const auto model = transcriptModels_.find(key); model != transcriptModels_.end()) {
        model->second->append(transcript.back());
    }
    emit transcriptAppended(QString::fromStdString(key));
}

void CoachStore::setTranscript(const std::string& key, std::vector<dovrel::CoachMessage> messages) {
    const auto stored = coachTranscripts_.insert_or_assign(key, std::move(messages)).first;
    if (const auto model = transcriptModels_.find(key); model != transcriptModels_.end()) {
        model->second->setMessages(stored->second);
    }
    emit transcriptReset(QString::fromStdString(key));
}

void CoachStore::setMemory(const std::string& key, std::vector<dovrel::MemoryEntry> entries) {
    const auto stored = coachMemory_.insert_or_assign(key, std::move(entries)).first;
    if (const auto model = memoryModels_.find(key); model != memoryModels_.end()) {
        model->second->setEntries(stored->second);
    }
    emit memoryChanged(QString::fromStdString(key));
}

void CoachStore::setDeepDive(const std::string& handle, dovrel::StoredDive dive) {
    deepDives_.insert_or_assign(handle, std::move(dive));
    emit deepDivesChanged();
}

dovrel::Artifacts CoachStore::artifacts() const {
    dovrel::Artifacts artifacts;
    if (const std::optional<dovrel::Archetype> archetype = archetype_ ? archetype_() : std::nullopt) {
        artifacts.archetypeTitle = archetype->title;
        artifacts.archetypeBody = archetype->body;
    }
    artifacts.deepDives = deepDives_;
    artifacts.transcripts = coachTranscripts_;
    artifacts.memory = coachMemory_;
    return artifacts;
}

void CoachStore::saveArtifacts() {
    pending_ = true;
    if (!writing_) {
        startWrite();
    }
}

void CoachStore::setAsideDamagedFile() {
    if (!damaged_) {
        return;
    }
    damaged_ = false;
    const QString kept = store_.setAsideArtifacts(QDate::currentDate());
    if (!kept.isEmpty()) {
        qWarning().noquote() << "Could not read the saved coach data; kept it as" << kept
                             << "and started afresh.";
    }
}

void CoachStore::startWrite() {
    setAsideDamagedFile();
    pending_ = false;
    writing_ = true;
    ++writes_;
    const int generation = ++generation_;
    const QPointer<CoachStore> self(this);
    // The copy is taken here, on the GUI thread; only encoding and writing happen on the worker.
    writer_.start([self, store = store_, artifacts = artifacts(), generation] {
        store.save(artifacts);
        QMetaObject::invokeMethod(
            self.data(),
            [self, generation] {
                if (self) {
                    self->writeEnded(generation);
                }
            },
            Qt::QueuedConnection);
    });
}

void CoachStore::writeEnded(int generation) {
    if (generation != generation_ || !writing_) {
        return; // a flush has already seen this write end
    }
    writing_ = false;
    if (pending_) {
        startWrite();
    }
}

void CoachStore::flush() {
    writer_.waitForDone();
    writing_ = false;
    ++generation_;
    if (pending_) {
        setAsideDamagedFile();
        pending_ = false;
        ++writes_;
        store_.save(artifacts());
    }
}

} // namespace murmora
