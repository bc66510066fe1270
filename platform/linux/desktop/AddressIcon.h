#pragma once

#include "platform/linux/SniTypes.h"

#include <QImage>
#include <QString>

namespace lanterna
{

/// Draws an address into a square icon, for panels that show no text.
///
/// The digits are our own, three pixels wide, because no font stays readable at this size. They are scaled by whole numbers only, so that they are
/// sharp at every size. They stand on a dark plate of their own and so read on dark and on light panels alike.
class AddressIcon
{
public:
    enum class Style {
        fourOctets, ///< two by two, neighbours in different colours, since three-digit octets touch at 22 pixels
        lastOctets, ///< the last two, one above the other, as large as fits
    };

    /// Sizes in pixels that panels ask for: 22, 24 and 48 are usual, 16 in some, 44 and 64 on dense screens.
    static constexpr int sizes[] = {16, 22, 24, 32, 44, 48, 64};

    /// The text drawn at this size. Four octets need 22 pixels: smaller icons show the last two. "offline" and "unavailable" are drawn as short
    /// words, text that ends in dots as dots (after the octets that it may hold), anything else as a question mark.
    static QImage draw(const QString &text, int size, Style style);
};

/// The pixels as panels take them.
SniPixmap sniPixmap(const QImage &image);

} // namespace lanterna
