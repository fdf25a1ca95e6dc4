#pragma once

#include <QImage>
#include <QString>
#include <QStringList>

// The platform's message compose service. Only macOS has one (MessagingMac.mm).
namespace murmora::ShareService {

// Addresses the compose service to `recipients` and performs it with the image and then the caption. True
// when it could perform with these items.
bool composeMessage(const QImage& image, const QString& caption, const QStringList& recipients);

} // namespace murmora::ShareService
