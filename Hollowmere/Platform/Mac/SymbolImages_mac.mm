// SPDX-License-Identifier: MIT
// The system's own symbols (SF Symbols through NSImage), drawn in one colour.
#include "Platform/SymbolImages.h"

#import <AppKit/AppKit.h>

namespace SymbolImages {

QImage render(const QString& name, const QSize& pixelSize, const QColor& color) {
    if (pixelSize.isEmpty())
        return {};
    @autoreleasepool {
        NSImage* symbol = [NSImage imageWithSystemSymbolName:name.toNSString()
                                    accessibilityDescription:nil];
        if (!symbol)
            return {};
        const CGFloat side = qMin(pixelSize.width(), pixelSize.height());
        NSImageSymbolConfiguration* weight =
            [NSImageSymbolConfiguration configurationWithPointSize:side * 0.75
                                                            weight:NSFontWeightSemibold];
        symbol = [symbol imageWithSymbolConfiguration:weight];

        QImage image(pixelSize, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        CGColorSpaceRef space = CGColorSpaceCreateWithName(kCGColorSpaceSRGB);
        CGContextRef context = CGBitmapContextCreate(
            image.bits(), image.width(), image.height(), 8, image.bytesPerLine(), space,
            kCGImageAlphaPremultipliedFirst | kCGBitmapByteOrder32Host);
        CGColorSpaceRelease(space);
        if (!context)
            return {};
        NSGraphicsContext* graphics = [NSGraphicsContext graphicsContextWithCGContext:context
                                                                              flipped:NO];
        [NSGraphicsContext saveGraphicsState];
        NSGraphicsContext.currentContext = graphics;
        const NSSize drawn = symbol.size;
        const CGFloat scale =
            qMin(pixelSize.width() / drawn.width, pixelSize.height() / drawn.height);
        const NSRect target = NSMakeRect((pixelSize.width() - drawn.width * scale) / 2,
                                         (pixelSize.height() - drawn.height * scale) / 2,
                                         drawn.width * scale, drawn.height * scale);
        [symbol drawInRect:target];
        [[NSColor colorWithSRGBRed:color.redF()
                             green:color.greenF()
                              blue:color.blueF()
                             alpha:color.alphaF()] setFill];
        NSRectFillUsingOperation(NSMakeRect(0, 0, pixelSize.width(), pixelSize.height()),
                                 NSCompositingOperationSourceIn);
        [NSGraphicsContext restoreGraphicsState];
        CGContextRelease(context);
        return image;
    }
}

} // namespace SymbolImages
