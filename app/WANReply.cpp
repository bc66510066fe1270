#include "app/WANReply.h"

#include <QStringDecoder>
#include <QStringList>

namespace lanterna
{

namespace
{
const QString fieldSeparator = QStringLiteral("||");
}

WANEndpoint builtInWANEndpoint()
{
    return {QStringLiteral("http://checkip.dyndns.org/"), QStringLiteral("Current IP Address: "), QStringLiteral("</body>")};
}

WANEndpoint parseWANConfiguration(const std::optional<QString> &text, bool *complete)
{
    WANEndpoint endpoint = builtInWANEndpoint();
    if (complete)
        *complete = true;
    if (!text || !text->contains(fieldSeparator))
        return endpoint;
    const QStringList fields = text->split(fieldSeparator);
    if (!fields.at(0).isEmpty())
        endpoint.url = fields.at(0);
    endpoint.beginningCrop = fields.at(1);
    if (fields.size() > 2)
        endpoint.endCrop = fields.at(2);
    else if (complete)
        *complete = false;
    return endpoint;
}

std::optional<QString> decodeWANConfiguration(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder(bytes);
    if (decoder.hasError())
        return std::nullopt;
    if (text.endsWith(QLatin1String("\r\n")))
        text.chop(2);
    else if (text.endsWith(QLatin1Char('\n')))
        text.chop(1);
    return text;
}

QString parseWANReply(const QString &body, const QString &beginningCrop, const QString &endCrop)
{
    const QString unavailable = QStringLiteral("unavailable");
    if (body.isEmpty() || body.contains(QLatin1String("502")))
        return QStringLiteral("offline");
    if (beginningCrop.isEmpty())
        return unavailable; // an empty marker divides nothing
    const QStringList pieces = body.split(beginningCrop);
    if (pieces.size() < 2)
        return unavailable;
    const QString cut = endCrop.isEmpty() ? pieces.at(1) : pieces.at(1).split(endCrop).at(0);
    return cut.contains(QLatin1Char('.')) ? cut.trimmed() : unavailable;
}

} // namespace lanterna
