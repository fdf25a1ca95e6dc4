#include "Platform/ShareService.h"

#import <AppKit/AppKit.h>

// Compiled with ARC.
namespace murmora::ShareService {

bool composeMessage(const QImage& image, const QString& caption, const QStringList& recipients) {
    @autoreleasepool {
        NSSharingService* service = [NSSharingService sharingServiceNamed:NSSharingServiceNameComposeMessage];
        if (service == nil || image.isNull()) {
            return false;
        }
        NSMutableArray<NSString*>* handles =
            [NSMutableArray arrayWithCapacity:static_cast<NSUInteger>(recipients.size())];
        for (const QString& handle : recipients) {
            [handles addObject:handle.toNSString()];
        }
        service.recipients = handles;

        CGImageRef cgImage = image.convertToFormat(QImage::Format_ARGB32_Premultiplied).toCGImage();
        if (cgImage == nullptr) {
            return false;
        }
        NSImage* picture = [[NSImage alloc] initWithCGImage:cgImage size:NSZeroSize];
        CGImageRelease(cgImage);

        NSArray* items = @[ picture, caption.toNSString() ];
        if (![service canPerformWithItems:items]) {
            return false;
        }
        [service performWithItems:items];
        return true;
    }
}

} // namespace murmora::ShareService
