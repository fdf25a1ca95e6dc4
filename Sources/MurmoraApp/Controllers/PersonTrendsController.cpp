#include "Controllers/PersonTrendsController.h"

#include "Measurement/Topics.h"
#include "State/Insights.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QThreadPool>
#include <QTimeZone>

namespace murmora {

int MonthPointModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(points_.size());
}

QVariant MonthPointModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() < 0 || static_cast<std::size_t>(index.row()) >= points_.size()) {
        return {};
    }
    const dovrel::Trends::MonthPoint& point = points_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case MonthRole:
        return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(point.month.unixTime() * 1000.0),
                                              QTimeZone::utc());
    case CountRole:
        return point.count;
    case MyShareRole:
        return point.myShare;
    case WarmthRole:
        return point.warmth ? QVariant(*point.warmth) : QVariant();
    default:
        return {};
    }
}

QHash<int, QByteArray> MonthPointModel::roleNames() const {
    return {{MonthRole, "month"}, {CountRole, "count"}, {MyShareRole, "myShare"}, {WarmthRole, "warmth"}};
}

void MonthPointModel::reset(std::vector<dovrel::Trends::MonthPoint> points) {
    if (points == points_) {
        return;
    }
    beginResetModel();
    points_ = std::move(points);
    endResetModel();
}

PersonTrendsController::PersonTrendsController(QObject* parent)
    : QObject(parent)
    , points_(this) {}

void PersonTrendsController::setState(AppState* state) {
    if (state_ == state) {
        return;
    }
    if (state_) {
        disconnect(state_, nullptr, this, nullptr);
    }
    state_ = state;
    if (state != nullptr) {
        connect(state->insights(), &Insights::trendsChanged, this, &PersonTrendsController::showCached);
    }
    emit stateChanged();
    showCached();
}

void PersonTrendsController::setHandle(const QString& handle) {
    if (handle_ == handle) {
        return;
    }
    handle_ = handle;
    ++load_;
    topics_.clear();
    emit topicsChanged();
    setLoading(false);
    emit handleChanged();
    showCached();
}

void PersonTrendsController::showCached() {
    const AppState* state = state_.data();
    std::vector<dovrel::Trends::MonthPoint> points;
    if (state != nullptr) {
        if (const auto found = state->insights()->trendsCache().find(handle_.toStdString());
            found != state->insights()->trendsCache().end()) {
            points = found->second;
        }
    }
    points_.reset(std::move(points));
}

void PersonTrendsController::load() {
    AppState* state = state_.data();
    if (state == nullptr) {
        return;
    }
    const std::string handle = handle_.toStdString();
    // The thread is read on the worker from the shared threads; nothing of it is copied here.
    std::shared_ptr<const AppState::ThreadsByHandle> corpus = state->corpus();
    if (!corpus->contains(handle)) {
        return;
    }
    const bool needsMonths = !state->insights()->trendsCache().contains(handle);
    setLoading(true);
    const int load = ++load_;
    const QPointer<PersonTrendsController> self(this);
    QThreadPool::globalInstance()->start([self, load, handle, needsMonths, corpus = std::move(corpus),
                                          calendar = state->environment().calendar] {
        const dovrel::ContactThread& thread = corpus->at(handle);
        std::vector<dovrel::Trends::MonthPoint> points;
        if (needsMonths) {
            points = dovrel::Trends::monthly(thread.messages, calendar);
        }
        std::vector<std::string> mine;
        for (const dovrel::RawMessage& message : thread.messages) {
            if (message.isFromMe) {
                mine.push_back(message.text);
            }
        }
        QStringList words;
        for (const dovrel::Topics::WordCount& word : dovrel::Topics::topWords(mine, topicCount)) {
            words.append(QString::fromStdString(word.word));
        }
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, load, handle, needsMonths, points = std::move(points), words]() mutable {
                if (!self || load != self->load_) {
                    return; // gone, or showing someone else by now
                }
                if (needsMonths && self->state_) {
                    self->state_->insights()->storeTrends(handle, std::move(points));
                }
                self->topics_ = words;
                emit self->topicsChanged();
                self->setLoading(false);
            },
            Qt::QueuedConnection);
    });
}

void PersonTrendsController::setLoading(bool loading) {
    if (loading_ != loading) {
        loading_ = loading;
        emit loadingChanged();
    }
}

} // namespace murmora
