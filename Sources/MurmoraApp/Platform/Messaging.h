#pragma once

#include <QImage>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <optional>

namespace dovrel {
struct PersonInsights;
}

// Hands drafts and share cards to the Messages application. Nothing is ever sent from here: the user
// presses send. Everything runs on the GUI thread.
namespace murmora::Messaging {

// "sms:{handle}&body={body}", the handle percent-encoded except letters, digits, "+", "@" and ".", the body
// except letters and digits. Invalid when the text does not parse.
QUrl threadURL(const QString& handle, const QString& body);

// Opens the conversation with `handle` in Messages with `body` typed in. Fails silently.
void openThread(const QString& handle, const QString& body);

// Offers `image` and `caption` to the system's message compose service, addressed to `recipients`. True
// when the service took them; false where there is no such service (everywhere but macOS), and the caller
// falls back: a text through openThread, or copyCard.
bool sendCard(const QImage& image, const QString& caption, const QStringList& recipients);

// Puts the card on the clipboard, for the user to paste into any conversation.
void copyCard(const QImage& image);

// The playful text sent with a share to one person: how many messages since when, the rank, the two top
// topics, their median reply time, and the product's address. `name` is not used.
QString duoMessage(const QString& name, const dovrel::PersonInsights& person, const QStringList& topics,
                   std::optional<int> rank);

} // namespace murmora::Messaging
