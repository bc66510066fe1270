#include "app/AddressText.h"

namespace lanterna
{

namespace
{
constexpr qsizetype longestTitle = 25; // what a panel has room for
constexpr qsizetype keptOfLongTitle = 22;
const QString offline = QStringLiteral("offline");
const QString nameSeparator = QStringLiteral(": ");
} // namespace

bool containsString(const QString &searched, const QString &text)
{
    return containsString(searched, text, false);
}

bool containsString(const QString &searched, const QString &text, bool ignoringCase)
{
    return !text.isEmpty() && searched.contains(text, ignoringCase ? Qt::CaseInsensitive : Qt::CaseSensitive);
}

QString toCommaString(const QStringList &texts)
{
    return texts.join(QStringLiteral(", "));
}

QString truncateForWidth(const QString &text, int limit, const std::function<double(const QString &)> &width)
{
    QString shorter = text;
    while (shorter.size() >= 2 && width(shorter) > limit)
        shorter.chop(2);
    return shorter;
}

QString bareAddress(const QString &interfaceText)
{
    return interfaceText.contains(nameSeparator) ? interfaceText.split(nameSeparator).at(1) : interfaceText;
}

QString formatIPForDisplay(const QString &address, bool showInterface, bool isWAN)
{
    const QString prefix = isWAN && showInterface ? QStringLiteral("wan: ") : QString();
    if (address.isEmpty())
        return prefix + offline;
    if (isWAN)
        return prefix + address;
    return showInterface ? address : bareAddress(address);
}

QStringList activeInterfaces(const QVariantMap &addresses)
{
    QStringList active;
    for (auto entry = addresses.begin(); entry != addresses.end(); ++entry) { // a QVariantMap is sorted by plain comparison of its keys
        const QString text = entry.value().toString();
        if (!text.isEmpty() && !text.contains(QLatin1String("127.0.0.1")) && entry.key() != QLatin1String("lo0"))
            active.append(text);
    }
    return active;
}

ChosenTitle chooseTitle(qlonglong whichIP, const QString &first, const QString &second, const QString &wanText)
{
    switch (whichIP) {
    case wan:
        return {wanText.isNull() ? offline : wanText};
    case secondLAN:
        if (!second.isEmpty() && second != offline)
            return {second};
        if (!first.isEmpty())
            return {first, true};
        return {offline};
    case iconOnly:
        return {};
    default:
        return {first.isNull() ? offline : first};
    }
}

QString clippedTitle(const QString &title)
{
    if (title.isEmpty())
        return offline;
    return title.size() > longestTitle ? title.left(keptOfLongTitle) + QStringLiteral("...") : title;
}

} // namespace lanterna
