#include "Models/InsightsModel.h"

#include "Models/ValueConversions.h"

namespace murmora {

InsightsModel::InsightsModel(QObject* parent)
    : QAbstractListModel(parent) {}

void InsightsModel::setInsights(std::vector<dovrel::Proactive::Insight> insights) {
    if (insights == insights_) {
        return;
    }
    beginResetModel();
    insights_ = std::move(insights);
    endResetModel();
}

int InsightsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(insights_.size());
}

QVariant InsightsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const dovrel::Proactive::Insight& insight = insights_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case KindRole:
        return qml::text(dovrel::Proactive::Insight::rawValue(insight.kind));
    case HandleIDRole:
        return qml::text(insight.handleID);
    case Qt::DisplayRole:
    case TextRole:
        return qml::text(insight.text);
    case StarterRole:
        return qml::text(insight.starter);
    default:
        return {};
    }
}

QHash<int, QByteArray> InsightsModel::roleNames() const {
    return {{KindRole, "kind"}, {HandleIDRole, "handleID"}, {TextRole, "text"}, {StarterRole, "starter"}};
}

} // namespace murmora
