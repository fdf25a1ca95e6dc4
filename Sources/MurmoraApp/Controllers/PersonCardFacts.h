#pragma once

#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// What a duo card says beyond the stored report, read from the person's thread on a worker: the user's top
// words with them and how often the user double-texted them. Empty and 0 for a handle with no thread.
class PersonCardFacts : public QObject {
    Q_OBJECT
    QML_ELEMENT

    Q_PROPERTY(QString handleID READ handleID WRITE setHandleID NOTIFY handleIDChanged)
    // How many top words to keep: 6 on the card, 3 in the quick text.
    Q_PROPERTY(int topicLimit READ topicLimit WRITE setTopicLimit NOTIFY handleIDChanged)
    Q_PROPERTY(QStringList topics READ topics NOTIFY factsChanged)
    Q_PROPERTY(int doubleTexts READ doubleTexts NOTIFY factsChanged)

public:
    explicit PersonCardFacts(QObject* parent = nullptr);

    QString handleID() const { return handleID_; }
    void setHandleID(const QString& handle);
    int topicLimit() const { return topicLimit_; }
    void setTopicLimit(int limit);
    QStringList topics() const { return topics_; }
    int doubleTexts() const { return doubleTexts_; }

signals:
    void handleIDChanged();
    void factsChanged();

private:
    void read();

    QString handleID_;
    int topicLimit_ = 6;
    QStringList topics_;
    int doubleTexts_ = 0;
    int generation_ = 0;
};

} // namespace murmora
