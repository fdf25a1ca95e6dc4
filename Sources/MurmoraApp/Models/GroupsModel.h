#pragma once

#ifndef Q_MOC_RUN
#include "MessageSources/GroupRecords.h"
#endif

#include <QAbstractListModel>
#include <QStringList>
#include <QVariant>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <string>
#include <vector>

namespace murmora {

// The group chats, as loaded (most messages first). Messages stay with the state; a row carries what the
// list shows.
class GroupsModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application state owns the groups.")

public:
    enum Role {
        GuidRole = Qt::UserRole + 1,
        // The group's own name, empty when it has none.
        GroupNameRole,
        // The own name, else the first names of the first members.
        TitleRole,
        ParticipantsRole,
        MessageCountRole,
        // Undefined for a group without messages.
        LastMessageRole,
    };
    Q_ENUM(Role)

    using NameResolver = std::function<std::string(const std::string& handle)>;

    explicit GroupsModel(QObject* parent = nullptr);

    void setGroups(const std::vector<dovrel::GroupThread>& groups, const NameResolver& resolve);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    struct Row {
        QString guid;
        QString name;
        QString title;
        QStringList participants;
        int messageCount = 0;
        QVariant lastMessage;
    };
    std::vector<Row> rows_;
};

} // namespace murmora
