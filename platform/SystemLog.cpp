#include "platform/SystemLog.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

namespace lanterna
{

namespace
{

QString describe(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        const QJsonValue json = QJsonValue::fromVariant(value);
        const QJsonDocument document = json.isArray() ? QJsonDocument(json.toArray()) : QJsonDocument(json.toObject());
        return QString::fromUtf8(document.toJson(QJsonDocument::Compact));
    }
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    default:
        return value.toString();
    }
}

QString describeObject(const QVariant &value)
{
    if (!value.isValid() || value.isNull() || (value.typeId() == QMetaType::QString && value.toString().isNull()))
        return QStringLiteral("(null)");
    return describe(value);
}

/// Length of the directive that begins at `at`, 0 for none; the last character of a directive tells its kind.
qsizetype directiveLength(const QString &format, qsizetype at)
{
    static const QStringList directives = {QStringLiteral("%@"), QStringLiteral("%%"), QStringLiteral("%d"), QStringLiteral("%i"),
        QStringLiteral("%u"), QStringLiteral("%ld"), QStringLiteral("%lu"), QStringLiteral("%lld"), QStringLiteral("%llu")};
    for (const QString &directive : directives) {
        if (QStringView(format).mid(at).startsWith(directive))
            return directive.size();
    }
    return 0;
}

} // namespace

QString formatText(const QString &format, const QVariantList &values)
{
    QString result;
    qsizetype next = 0;
    for (qsizetype at = 0; at < format.size();) {
        const qsizetype length = format[at] == u'%' ? directiveLength(format, at) : 0;
        if (length == 0) {
            result += format[at++];
            continue;
        }
        const QChar kind = format[at + length - 1];
        at += length;
        if (kind == u'%') {
            result += u'%';
            continue;
        }
        const QVariant value = next < values.size() ? values[next] : QVariant();
        ++next;
        if (kind == u'@')
            result += describeObject(value);
        else if (kind == u'u')
            result += QString::number(value.toULongLong());
        else
            result += QString::number(value.toLongLong());
    }
    return result;
}

QString escapedControls(const QString &text, const QString &kept)
{
    QString line;
    line.reserve(text.size());
    for (const QChar character : text) {
        const ushort code = character.unicode();
        const bool control = code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x2028 || code == 0x2029;
        if (!control || kept.contains(character))
            line += character;
        else if (code == '\n')
            line += QLatin1String("\\n");
        else if (code == '\t')
            line += QLatin1String("\\t");
        else
            line += QStringLiteral("\\x%1").arg(code, 2, 16, QLatin1Char('0'));
    }
    return line;
}

void SystemLog::write(const QString &text)
{
    writeLine(escapedControls(text));
}

} // namespace lanterna
