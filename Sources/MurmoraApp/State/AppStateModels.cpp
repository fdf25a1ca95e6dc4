// What QML reads: the models and values made from the fields of the state and of the parts it owns.
#include "Models/MonthPointValue.h"
#include "State/AppState.h"

#include <QQmlEngine>
#include <memory>

namespace murmora {
namespace {

// A model QML asked for and the state keeps; the engine must not collect it.
template <typename Model> Model* kept(Model* model) {
    QQmlEngine::setObjectOwnership(model, QQmlEngine::CppOwnership);
    return model;
}

// A model made for the caller alone; QML collects it when nothing holds it any more.
template <typename Model> Model* handedOver(std::unique_ptr<Model> model) {
    QQmlEngine::setObjectOwnership(model.get(), QQmlEngine::JavaScriptOwnership);
    return model.release();
}

} // namespace

WrappedStatsValue AppState::qmlStats() const {
    return WrappedStatsValue(stats_);
}

ArchetypeValue AppState::qmlArchetype() const {
    return ArchetypeValue(archetype_);
}

QUrl AppState::qmlWrappedURL() const {
    return wrappedURL_ ? QUrl::fromLocalFile(QString::fromStdString(wrappedURL_->string())) : QUrl();
}

UpdateInfoValue AppState::qmlUpdate() const {
    return UpdateInfoValue(update_);
}

std::map<std::string, PeopleModel::ThreadEnd> AppState::threadEnds() const {
    std::map<std::string, PeopleModel::ThreadEnd> ends;
    for (const auto& [handle, thread] : *corpus_) {
        if (!thread.messages.empty()) {
            ends.emplace(
                handle, PeopleModel::ThreadEnd{thread.messages.back().date, thread.messages.back().isFromMe});
        }
    }
    return ends;
}

ThreadModel* AppState::threadModel(const QString& handle) {
    auto model = std::make_unique<ThreadModel>();
    std::shared_ptr<const std::vector<dovrel::RawMessage>> messages;
    if (const auto thread = corpus_->find(handle.toStdString()); thread != corpus_->end()) {
        // Shares ownership of the whole corpus, so the thread outlives a learn run that replaces it.
        messages = std::shared_ptr<const std::vector<dovrel::RawMessage>>(corpus_, &thread->second.messages);
    } else {
        messages = std::make_shared<const std::vector<dovrel::RawMessage>>();
    }
    model->setMessages(std::move(messages), environment_().calendar);
    return handedOver(std::move(model));
}

TranscriptModel* CoachStore::transcriptModel(const QString& qmlKey) {
    const std::string key = qmlKey.toStdString();
    auto [model, made] = transcriptModels_.try_emplace(key, nullptr);
    if (made) {
        model->second = new TranscriptModel(this);
        model->second->setMessages(transcript(key));
    }
    return kept(model->second);
}

MemoryModel* CoachStore::memoryModel(const QString& qmlKey) {
    const std::string key = qmlKey.toStdString();
    auto [model, made] = memoryModels_.try_emplace(key, nullptr);
    if (made) {
        model->second = new MemoryModel(this);
        model->second->setEntries(memory(key));
    }
    return kept(model->second);
}

StoredDiveValue CoachStore::deepDive(const QString& handle) const {
    const auto found = deepDives_.find(handle.toStdString());
    return found == deepDives_.end() ? StoredDiveValue() : StoredDiveValue(found->second);
}

QVariantList Insights::trends(const QString& handle) const {
    QVariantList points;
    if (const auto found = trendsCache_.find(handle.toStdString()); found != trendsCache_.end()) {
        for (const dovrel::Trends::MonthPoint& point : found->second) {
            points.append(QVariant::fromValue(MonthPointValue(point)));
        }
    }
    return points;
}

GroupStatsValue Insights::groupStats(const QString& guid) {
    const std::string key = guid.toStdString();
    for (const dovrel::GroupThread& group : *groups_) {
        if (group.guid == key) {
            const dovrel::GroupStats* stats = this->stats(group);
            return stats ? GroupStatsValue(*stats,
                                           [this](const std::string& handle) { return state_.name(handle); })
                         : GroupStatsValue();
        }
    }
    return {};
}

GroupMembersModel* Insights::groupMembers(const QString& guid) {
    auto model = std::make_unique<GroupMembersModel>();
    const std::string key = guid.toStdString();
    for (const dovrel::GroupThread& group : *groups_) {
        if (group.guid == key) {
            if (const dovrel::GroupStats* stats = this->stats(group)) {
                model->setMembers(stats->members,
                                  [this](const std::string& handle) { return state_.name(handle); });
            }
            break;
        }
    }
    return handedOver(std::move(model));
}

QString AppState::headline(const QString& handle, const QString& name) const {
    const std::string key = handle.toStdString();
    for (const dovrel::PersonInsights& person : people_) {
        if (person.handleID == key) {
            return QString::fromStdString(person.headline(name.toStdString()).value_or(""));
        }
    }
    return {};
}

} // namespace murmora
