#include "Models/PeopleModel.h"

#include "Models/PersonInsightsValue.h"
#include "Models/ValueConversions.h"

namespace murmora {

PeopleModel::PeopleModel(QObject* parent)
    : QAbstractListModel(parent) {}

QString PeopleModel::nameOf(const dovrel::PersonInsights& person) const {
    if (const auto found = nameMap_.find(person.handleID); found != nameMap_.end()) {
        return qml::text(found->second);
    }
    return qml::text(person.displayName.value_or(person.handleID));
}

void PeopleModel::setPeople(std::vector<dovrel::PersonInsights> people,
                            const std::map<std::string, std::string>& names) {
    beginResetModel();
    people_ = std::move(people);
    nameMap_ = names;
    names_.clear();
    names_.reserve(people_.size());
    for (const dovrel::PersonInsights& person : people_) {
        names_.push_back(nameOf(person));
    }
    endResetModel();
}

void PeopleModel::setNames(const std::map<std::string, std::string>& names) {
    nameMap_ = names;
    for (std::size_t row = 0; row < people_.size(); ++row) {
        QString name = nameOf(people_[row]);
        if (name != names_[row]) {
            names_[row] = std::move(name);
            const QModelIndex at = index(static_cast<int>(row));
            emit dataChanged(at, at, {NameRole});
        }
    }
}

void PeopleModel::setThreadEnds(std::map<std::string, ThreadEnd> ends) {
    ends_ = std::move(ends);
    changedAll({LastDateRole, HasThreadRole, LastFromMeRole});
}

void PeopleModel::setInsights(const std::vector<dovrel::Proactive::Insight>& insights) {
    attention_.clear();
    for (std::size_t i = 0; i < insights.size(); ++i) {
        attention_.try_emplace(insights[i].handleID, static_cast<int>(i),
                               qml::text(dovrel::Proactive::Insight::rawValue(insights[i].kind)));
    }
    changedAll({AttentionRole, InsightKindRole});
}

void PeopleModel::changedAll(const QList<int>& roles) {
    if (!people_.empty()) {
        emit dataChanged(index(0), index(static_cast<int>(people_.size()) - 1), roles);
    }
}

int PeopleModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(people_.size());
}

QVariant PeopleModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const dovrel::PersonInsights& person = people_[static_cast<std::size_t>(index.row())];
    const auto end = ends_.find(person.handleID);
    const auto attention = attention_.find(person.handleID);
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return names_[static_cast<std::size_t>(index.row())];
    case HandleIDRole:
        return qml::text(person.handleID);
    case TotalRole:
        return person.report.sentCount + person.report.receivedCount;
    case LastDateRole:
        return qml::date(end != ends_.end() ? end->second.date : person.report.lastMessage);
    case HasThreadRole:
        return end != ends_.end();
    case LastFromMeRole:
        return end != ends_.end() ? QVariant(end->second.fromMe) : QVariant();
    case AttentionRole:
        return attention != attention_.end() ? attention->second.first : -1;
    case InsightKindRole:
        return attention != attention_.end() ? attention->second.second : QString();
    case PersonRole:
        return QVariant::fromValue(PersonInsightsValue(person));
    default:
        return {};
    }
}

QHash<int, QByteArray> PeopleModel::roleNames() const {
    return {{HandleIDRole, "handleID"},   {NameRole, "name"},
            {TotalRole, "total"},         {LastDateRole, "lastDate"},
            {HasThreadRole, "hasThread"}, {LastFromMeRole, "lastFromMe"},
            {AttentionRole, "attention"}, {InsightKindRole, "insightKind"},
            {PersonRole, "person"}};
}

} // namespace murmora
