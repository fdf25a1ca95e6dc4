#pragma once

#ifndef Q_MOC_RUN
#include "Coach/CoachMemory.h"
#endif

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>
#include <vector>

namespace murmora {

// The coach's memory of one chat key, oldest entry first, for the memory sheet.
class MemoryModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application state hands out memories.")

public:
    enum Role {
        EntryIDRole = Qt::UserRole + 1,
        // "fact", "goal", "commitment" or "session".
        KindRole,
        TextRole,
        DateRole,
        DoneRole,
    };
    Q_ENUM(Role)

    explicit MemoryModel(QObject* parent = nullptr);

    void setEntries(std::vector<dovrel::MemoryEntry> entries);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    std::vector<dovrel::MemoryEntry> entries_;
};

} // namespace murmora
