#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>

namespace lanterna
{

/// What the status item shows (`whichIP`). Any other number behaves as `firstLAN`; 0 means that nothing was chosen yet.
enum DisplayMode : qlonglong { firstLAN = 1, wan = 2, secondLAN = 3, iconOnly = 4 };

/// Whether `text` occurs in `searched`; the empty text never does.
bool containsString(const QString &searched, const QString &text);
bool containsString(const QString &searched, const QString &text, bool ignoringCase);

/// The texts joined by ", "; empty for an empty list.
QString toCommaString(const QStringList &texts);

/// Removes two characters at a time, the last two first, until `width` of the text is not greater than `limit` or fewer than two are left.
/// A text that fits is returned unchanged.
QString truncateForWidth(const QString &text, int limit, const std::function<double(const QString &)> &width);

/// The part after the first ": " of an interface text ("eth0: 192.168.1.20"), up to the next ": "; the text itself when there is none.
QString bareAddress(const QString &interfaceText);

/// How an address is written in title and menu: without interface name or with it, WAN addresses with "wan: " in front then; "offline" for no
/// address.
QString formatIPForDisplay(const QString &address, bool showInterface, bool isWAN);

/// The interface texts of an address dictionary that count as active, in the order of their names: empty ones, those holding "127.0.0.1" and the
/// interface named "lo0" are left out.
QStringList activeInterfaces(const QVariantMap &addresses);

/// The title for a display mode, from the three formatted texts; null for `iconOnly`.
struct ChosenTitle {
    QString text;
    bool fellBackToFirst = false; ///< the second address was asked for and there is none
};
ChosenTitle chooseTitle(qlonglong whichIP, const QString &first, const QString &second, const QString &wanText);

/// "offline" for an empty title; one of 26 characters or more becomes its first 22 and "...".
QString clippedTitle(const QString &title);

} // namespace lanterna
