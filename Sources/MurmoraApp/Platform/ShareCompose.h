#pragma once

#include <QObject>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>
#include <memory>

namespace murmora {

class CardRenderer;

// Turns a card into a picture and hands it to Messages with a caption; where there is no message compose
// service (everywhere but macOS) the picture goes to the clipboard, or the caller falls back on plain text.
// A card is QML source that makes one card item ("DuoCardCanvas { … }") and its properties.
class ShareCompose : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    enum class Outcome { NotDrawn, Opened, Copied, NoService };
    Q_ENUM(Outcome)

    explicit ShareCompose(QObject* parent = nullptr);
    ~ShareCompose() override;

    // A recap card at scale 3 with "Generated with Murmora — make your own: …", addressed to `to` when given;
    // the clipboard when there is no compose service.
    Q_INVOKABLE murmora::ShareCompose::Outcome message(const QString& source, const QVariantMap& properties,
                                                       const QString& to = {});
    // A person or group card at scale 2 with "get yours free → …" to `recipients`. Without a compose service:
    // the clipboard when `copyWithoutService`, else nothing (NoService), and the caller sends text.
    Q_INVOKABLE murmora::ShareCompose::Outcome sendCard(const QString& source, const QVariantMap& properties,
                                                        const QStringList& recipients,
                                                        bool copyWithoutService);
    // The duo card's figures (CardTileValue) for the person with `handle`, at most four.
    Q_INVOKABLE QVariantList duoTiles(const QString& handle, const QString& name, int doubleTexts) const;
    // Opens the thread with `handle` with the text of the two of you typed in: the fall-back of a card, and
    // the profile's quick send. `rank` below 1 is none.
    // Opens the conversation with `handle` in Messages, nothing typed.
    Q_INVOKABLE void openThread(const QString& handle);
    Q_INVOKABLE void textPerson(const QString& handle, const QString& name, const QStringList& topics,
                                int rank);

private:
    Outcome deliver(const QString& source, const QVariantMap& properties, qreal scale, const QString& caption,
                    const QStringList& recipients, bool copyWithoutService);

    std::unique_ptr<CardRenderer> renderer_;
};

} // namespace murmora
