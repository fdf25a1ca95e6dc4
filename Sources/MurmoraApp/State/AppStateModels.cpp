// What QML reads: the models and values made from the state's fields.
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
    for (const auto& [handle, thread] : threadsByHandle_) {
        if (!thread.messages.empty()) {
            ends.emplace(
                handle, PeopleModel::ThreadEnd{thread.messages.back().date, thread.messages.back().isFromMe});
        }
    }
    return ends;
}

TranscriptModel* AppState::transcriptModel(const QString& qmlKey) {
    const std::string key = qmlKey.toStdString();
    auto [model, made] = transcriptModels_.try_emplace(key, nullptr);
    if (made) {
        model->second = new TranscriptModel(this);
        if (const auto found = coachTranscripts_.find(key); found != coachTranscripts_.end()) {
            model->second->setMessages(found->second);
        }
    }
    return kept(model->second);
}

MemoryModel* AppState::memoryModel(const QString& qmlKey) {
    const std::string key = qmlKey.toStdString();
    auto [model, made] = memoryModels_.try_emplace(key, nullptr);
    if (made) {
        model->second = new MemoryModel(this);
        if (const auto found = coachMemory_.find(key); found != coachMemory_.end()) {
            model->second->setEntries(found->second);
        }
    }
    return kept(model->second);
}

ThreadModel* AppState::threadModel(const QString& handle) {
    auto model = std::make_unique<ThreadModel>();
    const auto thread = threadsByHandle_.find(handle.toStdString());
    model->setMessages(thread == threadsByHandle_.end()
                           ? std::make_shared<const std::vector<dovrel::RawMessage>>()
                           : std::make_shared<const std::vector<dovrel::RawMessage>>(thread->second.messages),
                       environment_().calendar);
    return handedOver(std::move(model));
}

StoredDiveValue AppState::deepDive(const QString& handle) const {
    const auto found = deepDives_.find(handle.toStdString());
    return found == deepDives_.end() ? StoredDiveValue() : StoredDiveValue(found->second);
}

QVariantList AppState::trends(const QString& handle) const {
    QVariantList points;
    if (const auto found = trendsCache_.find(handle.toStdString()); found != trendsCache_.end()) {
        for (const dovrel::Trends::MonthPoint& point : found->second) {
            points.append(QVariant::fromValue(MonthPointValue(point)));
        }
    }
    return points;
}

GroupStatsValue AppState::groupStats(const QString& guid) {
    const std::string key = guid.toStdString();
    for (const dovrel::GroupThread& group : groups_) {
        if (group.guid == key) {
            return GroupStatsValue(stats(group));
        }
    }
    return {};
}

GroupMembersModel* AppState::groupMembers(const QString& guid) {
    auto model = std::make_unique<GroupMembersModel>();
    const std::string key = guid.toStdString();
    for (const dovrel::GroupThread& group : groups_) {
        if (group.guid == key) {
            model->setMembers(stats(group).members,
                              [this](const std::string& handle) { return name(handle); });
            break;
        }
    }
    return handedOver(std::move(model));
}

} // namespace murmora
