#pragma once

// moc of Qt 6.4 cannot parse the C++20 standard headers the core pulls in; it needs none of them.
#ifndef Q_MOC_RUN
#include "Measurement/PriorityInbox.h"
#endif

#include "State/AppState.h"

#include <QAbstractListModel>
#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>
#include <optional>
#include <vector>

namespace murmora {

// The rows of the priority list: who waits, since when, and why a model thinks they deserve an answer.
class PriorityModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The priority controller owns its list.")

public:
    enum Role {
        HandleRole = Qt::UserRole + 1,
        NameRole,
        // The model's reason to reply; undefined when there is none.
        ReasonRole,
        // The last message, cut to its first 60 characters when it is longer.
        LastMessageRole,
        WaitingHoursRole,
        UnreadCountRole,
    };

    struct Row {
        dovrel::PriorityInbox::Item item;
        QString name;
        std::optional<QString> reason;
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    const std::vector<Row>& rows() const { return rows_; }
    void reset(std::vector<Row> rows);

private:
    std::vector<Row> rows_;
};

// The "needs your reply" list of the profile screen: the local candidates at once, then one model call that
// picks at most five of them, each with a reason. A failed or empty pick leaves the local list.
class PriorityController : public QObject {
    Q_OBJECT
    QML_ELEMENT

    Q_PROPERTY(murmora::AppState* state READ state WRITE setState NOTIFY stateChanged)
    Q_PROPERTY(murmora::PriorityModel* items READ items CONSTANT)
    // How many conversations wait, before any pick.
    Q_PROPERTY(int candidateCount READ candidateCount NOTIFY candidatesChanged)
    // The model is choosing.
    Q_PROPERTY(bool selecting READ selecting NOTIFY selectingChanged)
    // The list shows the model's picks rather than the local order.
    Q_PROPERTY(bool picked READ picked NOTIFY pickedChanged)
    // The model's call failed; the local list stands and nothing is shown for it.
    Q_PROPERTY(bool failed READ failed NOTIFY failedChanged)

public:
    // Candidates read from the threads, and picks asked of a model.
    static constexpr int candidateLimit = 15;
    static constexpr int pickCount = 5;
    static constexpr int maxTokens = 300;

    explicit PriorityController(QObject* parent = nullptr);
    ~PriorityController() override;

    AppState* state() const { return state_.data(); }
    void setState(AppState* state);
    PriorityModel* items() { return &model_; }
    int candidateCount() const { return static_cast<int>(candidates_.size()); }
    bool selecting() const { return selecting_; }
    bool picked() const { return picked_; }
    bool failed() const { return failed_; }
    const std::vector<dovrel::PriorityInbox::Item>& candidates() const { return candidates_; }

    // Reads the candidates once and shows the first five, then starts the selection. Later calls do nothing.
    Q_INVOKABLE void compute();
    // Asks the model to choose, when a model is there, nothing was picked yet and no choice is running.
    Q_INVOKABLE void select();

signals:
    void stateChanged();
    void candidatesChanged();
    void selectingChanged();
    void pickedChanged();
    void failedChanged();

private:
    void showLocal();
    void applyAnswer(const QString& reply);
    void setSelecting(bool selecting);
    QString nameOf(const dovrel::PriorityInbox::Item& item) const;

    QPointer<AppState> state_;
    PriorityModel model_;
    std::vector<dovrel::PriorityInbox::Item> candidates_;
    bool computed_ = false;
    bool selecting_ = false;
    bool picked_ = false;
    bool failed_ = false;
    QFuture<QString> call_;
};

} // namespace murmora
