#include "platform/SettingsConversions.h"

#include <QLocale>

#include <limits>

namespace lanterna
{

namespace
{

bool isDigit(QChar character)
{
    return character >= u'0' && character <= u'9';
}

QStringView withoutLeadingBlanks(QStringView text)
{
    while (!text.isEmpty() && text.front().isSpace())
        text = text.mid(1);
    return text;
}

QStringView withoutSign(QStringView text)
{
    return text.startsWith(u'+') || text.startsWith(u'-') ? text.mid(1) : text;
}

qlonglong integerOfText(QStringView text)
{
    text = withoutLeadingBlanks(text);
    const bool negative = text.startsWith(u'-');
    text = withoutSign(text);
    qulonglong magnitude = 0;
    // One above the largest is the magnitude of the smallest; anything beyond stays there.
    const qulonglong limit = qulonglong(std::numeric_limits<qlonglong>::max()) + (negative ? 1 : 0);
    for (; !text.isEmpty() && isDigit(text.front()); text = text.mid(1)) {
        const auto digit = qulonglong(text.front().unicode() - u'0');
        magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
    }
    return negative ? qlonglong(~magnitude + 1) : qlonglong(magnitude);
}

bool booleanOfText(QStringView text)
{
    text = withoutSign(withoutLeadingBlanks(text));
    while (text.startsWith(u'0'))
        text = text.mid(1);
    return !text.isEmpty() && (isDigit(text.front()) || QStringView(u"YyTt").contains(text.front()));
}

qlonglong integerOfReal(double value)
{
    constexpr double bound = 9223372036854775808.0; // 2^63, the first number beyond the range
    if (value >= bound)
        return std::numeric_limits<qlonglong>::max();
    if (value < -bound)
        return std::numeric_limits<qlonglong>::min();
    return qlonglong(value);
}

} // namespace

QString settingAsText(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return value.toString();
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QMetaType::LongLong:
        return QString::number(value.toLongLong());
    case QMetaType::ULongLong:
        return QString::number(value.toULongLong());
    case QMetaType::Double:
        return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    default:
        return {};
    }
}

qlonglong settingAsInteger(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return integerOfText(value.toString());
    case QMetaType::Bool:
        return value.toBool() ? 1 : 0;
    case QMetaType::LongLong:
        return value.toLongLong();
    case QMetaType::ULongLong: // canonical only above the range
        return std::numeric_limits<qlonglong>::max();
    case QMetaType::Double:
        return integerOfReal(value.toDouble());
    default:
        return 0;
    }
}

bool settingAsBoolean(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
        return booleanOfText(value.toString());
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::LongLong:
        return value.toLongLong() != 0;
    case QMetaType::ULongLong:
        return value.toULongLong() != 0;
    case QMetaType::Double:
        return value.toDouble() != 0;
    default:
        return false;
    }
}

QDateTime settingAsDate(const QVariant &value)
{
    return value.typeId() == QMetaType::QDateTime ? value.toDateTime() : QDateTime();
}

} // namespace lanterna
