#include "Controllers/PersonCardFacts.h"

#include "Measurement/Metrics.h"
#include "Measurement/Topics.h"
#include "Platform/PostTo.h"
#include "State/AppState.h"

#include <QThreadPool>

namespace murmora {

PersonCardFacts::PersonCardFacts(QObject* parent)
    : QObject(parent) {}

void PersonCardFacts::setHandleID(const QString& handle) {
    if (handleID_ == handle) {
        return;
    }
    handleID_ = handle;
    emit handleIDChanged();
    read();
}

void PersonCardFacts::setTopicLimit(int limit) {
    if (topicLimit_ == limit) {
        return;
    }
    topicLimit_ = limit;
    emit handleIDChanged();
    read();
}

void PersonCardFacts::read() {
    const int generation = ++generation_;
    topics_.clear();
    doubleTexts_ = 0;
    emit factsChanged();
    const AppState* state = AppState::instance();
    if (state == nullptr || handleID_.isEmpty()) {
        return;
    }
    auto corpus = state->corpus();
    const std::string handle = handleID_.toStdString();
    const int limit = topicLimit_;
    QThreadPool::globalInstance()->start([self = QPointer(this), corpus, handle, limit, generation] {
        QStringList topics;
        int doubleTexts = 0;
        if (const auto found = corpus->find(handle); found != corpus->end()) {
            const std::vector<dovrel::RawMessage>& messages = found->second.messages;
            std::vector<std::string> mine;
            for (const dovrel::RawMessage& message : messages) {
                if (message.isFromMe) {
                    mine.push_back(message.text);
                }
            }
            for (const dovrel::Topics::WordCount& word : dovrel::Topics::topWords(mine, limit)) {
                topics.append(QString::fromStdString(word.word));
            }
            doubleTexts = dovrel::Metrics::myDoubleTextCount(messages);
        }
        postTo(self, [topics, doubleTexts, generation](PersonCardFacts& facts) {
            if (facts.generation_ != generation) {
                return; // a later handle asked since
            }
            facts.topics_ = topics;
            facts.doubleTexts_ = doubleTexts;
            emit facts.factsChanged();
        });
    });
}

} // namespace murmora
