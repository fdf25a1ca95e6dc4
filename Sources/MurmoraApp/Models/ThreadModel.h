#pragma once

#ifndef Q_MOC_RUN
#include "Foundation/Calendar.h"
#include "MessageSources/MessageRecords.h"
#endif

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>
#include <memory>
#include <optional>
#include <vector>

namespace murmora {

// One person's messages for the thread pane, newest first: row 0 is the last message, and each fetchMore
// adds the next older page at the end. A view that lays rows out bottom to top therefore shows the thread
// oldest first and opens at the newest message, having read one page of however long a thread.
class ThreadModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application state hands out threads.")

    // Messages of the whole thread, loaded or not.
    Q_PROPERTY(int totalCount READ totalCount NOTIFY totalCountChanged)

public:
    enum Role {
        TextRole = Qt::UserRole + 1,
        DateRole,
        IsFromMeRole,
        // The message is the first of its calendar day; the pane puts a day separator before it.
        StartsDayRole,
    };
    Q_ENUM(Role)

    static constexpr int pageSize = 200;

    explicit ThreadModel(QObject* parent = nullptr);

    // The thread's messages, oldest first as they are read, shared rather than copied.
    void setMessages(std::shared_ptr<const std::vector<dovrel::RawMessage>> messages,
                     dovrel::Calendar calendar);

    int totalCount() const { return messages_ ? static_cast<int>(messages_->size()) : 0; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;
    bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;

signals:
    void totalCountChanged();

private:
    const dovrel::RawMessage& messageAt(int row) const;

    std::shared_ptr<const std::vector<dovrel::RawMessage>> messages_;
    std::optional<dovrel::Calendar> calendar_;
    int loaded_ = 0;
};

} // namespace murmora
