#include "Controllers/PriorityController.h"

#include "Foundation/Unicode.h"

#include <QCoreApplication>
#include <algorithm>

namespace murmora {
namespace {

constexpr std::size_t shownCharacters = 60;

// The first 60 user-perceived characters of a text that has more.
QString shortened(const std::string& text) {
    std::string kept;
    std::size_t taken = 0;
    dovrel::unicode::forEachGrapheme(text, [&](std::string_view grapheme) {
        if (taken++ < shownCharacters) {
            kept += grapheme;
        }
    });
    return QString::fromStdString(kept);
}

} // namespace

int PriorityModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant PriorityModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() < 0 || static_cast<std::size_t>(index.row()) >= rows_.size()) {
        return {};
    }
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case HandleRole:
        return QString::fromStdString(row.item.handleID);
    case NameRole:
        return row.name;
    case ReasonRole:
        return row.reason ? QVariant(*row.reason) : QVariant();
    case LastMessageRole:
        return shortened(row.item.lastMessage.text);
    case WaitingHoursRole:
        return row.item.waitingHours;
    case UnreadCountRole:
        return row.item.unreadCount;
    default:
        return {};
    }
}

QHash<int, QByteArray> PriorityModel::roleNames() const {
    return {{HandleRole, "handle"},
            {NameRole, "name"},
            {ReasonRole, "reason"},
            {LastMessageRole, "lastMessage"},
            {WaitingHoursRole, "waitingHours"},
            {UnreadCountRole, "unreadCount"}};
}

void PriorityModel::reset(std::vector<Row> rows) {
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
}

PriorityController::PriorityController(QObject* parent)
    : QObject(parent)
    , model_(this) {}

PriorityController::~PriorityController() {
    // Leaving the screen ends the choice; its answer is never read.
    call_.cancel();
}

void PriorityController::setState(AppState* state) {
    if (state_ != state) {
        state_ = state;
        emit stateChanged();
    }
}

QString PriorityController::nameOf(const dovrel::PriorityInbox::Item& item) const {
    return state_ ? QString::fromStdString(state_->name(item.handleID, item.displayName))
                  : QString::fromStdString(item.handleID);
}

void PriorityController::compute() {
    AppState* state = state_.data();
    if (state == nullptr || computed_) {
        return;
    }
    computed_ = true;
    // One thread at a time, so that the threads are read where they lie rather than copied into a list.
    const dovrel::Date now = state->environment().now.value_or(dovrel::Date::now());
    std::vector<dovrel::PriorityInbox::Item> found;
    for (const auto& [handle, thread] : state->threadsByHandle()) {
        for (dovrel::PriorityInbox::Item& item : dovrel::PriorityInbox::candidates({&thread, 1}, now, 1)) {
            found.push_back(std::move(item));
        }
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.score > b.score; });
    if (found.size() > static_cast<std::size_t>(candidateLimit)) {
        found.resize(candidateLimit);
    }
    candidates_ = std::move(found);
    emit candidatesChanged();
    showLocal();
    if (!candidates_.empty()) {
        select();
    }
}

void PriorityController::showLocal() {
    std::vector<PriorityModel::Row> rows;
    for (std::size_t i = 0; i < candidates_.size() && i < static_cast<std::size_t>(pickCount); ++i) {
        rows.push_back({candidates_[i], nameOf(candidates_[i]), std::nullopt});
    }
    model_.reset(std::move(rows));
}

void PriorityController::select() {
    AppState* state = state_.data();
    if (state == nullptr || picked_ || selecting_ || candidates_.empty()) {
        return;
    }
    setSelecting(true);
    const QPointer<PriorityController> self(this);
    state->whenAIDetected([self](bool available) {
        AppState* current = self ? self->state_.data() : nullptr;
        if (current == nullptr) {
            return;
        }
        if (!available) {
            self->setSelecting(false); // no model: the local order stands
            return;
        }
        const std::string prompt =
            dovrel::PriorityInbox::selectPrompt(self->candidates_, current->names(), pickCount);
        self->call_ = current->aiProvider()->run(QString::fromStdString(prompt), maxTokens);
        self->call_.then(QtFuture::Launch::Sync, [self](QFuture<QString> call) {
            std::optional<QString> reply;
            try {
                reply = call.result();
            } catch (...) {
                // the local list stands
            }
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [self, reply] {
                    if (!self) {
                        return;
                    }
                    if (reply) {
                        self->applyAnswer(*reply);
                    } else if (!self->failed_) {
                        self->failed_ = true;
                        emit self->failedChanged();
                    }
                    self->setSelecting(false);
                },
                Qt::QueuedConnection);
        });
    });
}

void PriorityController::applyAnswer(const QString& reply) {
    const std::vector<dovrel::PriorityInbox::Pick> picks =
        dovrel::PriorityInbox::parseSelection(reply.toStdString(), candidates_, pickCount);
    if (picks.empty()) {
        return;
    }
    std::vector<PriorityModel::Row> rows;
    for (const dovrel::PriorityInbox::Pick& pick : picks) {
        rows.push_back({pick.item, nameOf(pick.item), QString::fromStdString(pick.reason)});
    }
    model_.reset(std::move(rows));
    picked_ = true;
    emit pickedChanged();
}

void PriorityController::setSelecting(bool selecting) {
    if (selecting_ != selecting) {
        selecting_ = selecting;
        emit selectingChanged();
    }
}

} // namespace murmora
