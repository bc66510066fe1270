#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

namespace lanterna
{

/// The forgiving reads of the settings store: what a stored value means to a reader who asks for another kind. Pure functions over canonical values
/// (see SettingsValue.h); any thread. A list, a dictionary or a date counts as absent under a read of one of the three simple kinds.

/// Text as it is; the decimal text of a number; "1" or "0" for a boolean; null when absent.
QString settingAsText(const QVariant &value);

/// Of text: blanks, a sign and ASCII digits from the front, whatever follows; 0 without digits. Reals lose their fraction, booleans are 0 and 1, what
/// lies outside 64 bits becomes the nearest number inside. 0 when absent.
qlonglong settingAsInteger(const QVariant &value);

/// Of a number: not 0. Of text: whether after blanks, a sign and zeros it begins with Y, y, T, t or 1 to 9. False when absent.
bool settingAsBoolean(const QVariant &value);

/// Null unless the value is a date.
QDateTime settingAsDate(const QVariant &value);

} // namespace lanterna
