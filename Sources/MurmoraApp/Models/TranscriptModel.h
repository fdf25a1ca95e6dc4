#pragma once

#ifndef Q_MOC_RUN
#include "Persistence/Artifacts.h"
#endif

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>
#include <vector>

namespace murmora {

// The coach conversation of one chat key, in order. A new message is one inserted row; only a transcript
// that changed otherwise (archived, started afresh) resets the model.
class TranscriptModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application state hands out transcripts.")

public:
    enum Role {
        MessageIDRole = Qt::UserRole + 1,
        // "user", "coach" or "note".
        RoleNameRole,
        TextRole,
        // Undefined for a message stored without a date.
        DateRole,
        SourcesRole,
    };
    Q_ENUM(Role)

    explicit TranscriptModel(QObject* parent = nullptr);

    // Takes the whole transcript, inserting only the new rows when it extends the one shown.
    void setMessages(std::vector<dovrel::CoachMessage> messages);
    void append(dovrel::CoachMessage message);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    std::vector<dovrel::CoachMessage> messages_;
};

} // namespace murmora
