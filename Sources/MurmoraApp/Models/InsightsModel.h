#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/Proactive.h"
#endif

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>
#include <vector>

namespace murmora {

// The current proactive insights, at most one per kind, in the order waiting, warmth dip, neglected.
class InsightsModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application state owns the insights.")

public:
    enum Role {
        // "waiting", "warmthDip" or "neglected".
        KindRole = Qt::UserRole + 1,
        HandleIDRole,
        TextRole,
        StarterRole,
    };
    Q_ENUM(Role)

    explicit InsightsModel(QObject* parent = nullptr);

    void setInsights(std::vector<dovrel::Proactive::Insight> insights);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    std::vector<dovrel::Proactive::Insight> insights_;
};

} // namespace murmora
