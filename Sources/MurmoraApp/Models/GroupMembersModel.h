#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/GroupStats.h"
#endif

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <string>
#include <vector>

namespace murmora {

// The members of one group chat as its statistics rank them, most messages first.
class GroupMembersModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application state hands out group members.")

public:
    enum Role {
        KeyRole = Qt::UserRole + 1,
        NameRole,
        IsMeRole,
        CountRole,
        ShareRole,
        LaughsRole,
        LaughRateRole,
        InitiationsRole,
    };
    Q_ENUM(Role)

    using NameResolver = std::function<std::string(const std::string& handle)>;

    explicit GroupMembersModel(QObject* parent = nullptr);

    // `resolve` names everybody but the user, whose row is named "You".
    void setMembers(std::vector<dovrel::GroupStats::Member> members, const NameResolver& resolve);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    std::vector<dovrel::GroupStats::Member> members_;
    std::vector<QString> names_;
};

} // namespace murmora
