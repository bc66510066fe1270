#include "cloud/CloudKitRequests.h"

#include "cloud/HttpExchange.h"
#include "platform/Json.h"

#include <QHostAddress>

#include <algorithm>

namespace lanterna
{

namespace
{

bool consistsOf(const QString &text, const QString &others)
{
    const auto allowed = [&](QChar c) { return (c.unicode() < 128 && c.isLetterOrNumber()) || others.contains(c); };
    return !text.isEmpty() && text.size() <= 255 && std::ranges::all_of(text, allowed);
}

bool isLoopback(const QUrl &url)
{
    return url.host() == QLatin1String("localhost") || QHostAddress(url.host()).isLoopback();
}

RecordError wrongSetting(const QString &words)
{
    return {RecordErrorCode::invalidArguments, words, std::nullopt};
}

QVariantMap value(const QVariant &content)
{
    return {{QStringLiteral("value"), content}};
}

QVariantMap text(const QString &content)
{
    return {{QStringLiteral("value"), content}, {QStringLiteral("type"), QStringLiteral("STRING")}};
}

/// Others than ours only where the server itself is of this machine.
bool maySpeakTo(const CloudKitConfiguration &configuration, const QUrl &url)
{
    return isRecordServerURL(url) && (!isLoopback(url) || isOnThisMachine(configuration));
}

} // namespace

std::optional<RecordError> problemOf(const CloudKitConfiguration &configuration)
{
    if (configuration.container.isEmpty())
        return wrongSetting(QStringLiteral("No iCloud container is set (cloudKitContainer)."));
    if (!configuration.container.startsWith(QLatin1String("iCloud.")) || !consistsOf(configuration.container, QStringLiteral(".-_")))
        return wrongSetting(QStringLiteral("The iCloud container (cloudKitContainer) has to look like iCloud.org.example.name."));
    if (configuration.environment != QLatin1String("production") && configuration.environment != QLatin1String("development"))
        return wrongSetting(QStringLiteral("The iCloud environment (cloudKitEnvironment) is neither \"production\" nor \"development\"."));
    if (configuration.apiToken.isEmpty())
        return wrongSetting(QStringLiteral("No API token of the iCloud container is set (cloudKitAPIToken)."));
    const QUrl base(configuration.baseURL, QUrl::StrictMode);
    if (!isRecordServerURL(base) || base.hasQuery() || base.hasFragment())
        return wrongSetting(QStringLiteral("The address of iCloud (cloudKitBaseURL) has to be https, or http on this machine."));
    return std::nullopt;
}

bool isOnThisMachine(const CloudKitConfiguration &configuration)
{
    return isLoopback(QUrl(configuration.baseURL, QUrl::StrictMode));
}

QUrl cloudKitURL(const CloudKitConfiguration &configuration, const QString &operation, const QString &sessionToken)
{
    QUrl url(configuration.baseURL, QUrl::StrictMode);
    QString path = url.path();
    while (path.endsWith(u'/'))
        path.chop(1);
    url.setPath(QStringLiteral("%1/database/1/%2/%3/private/%4").arg(path, configuration.container, configuration.environment, operation));
    // Encoded here, since QUrlQuery sends "+", "/" and "=" as they are, and the server then knows the token not.
    QByteArray query = "ckAPIToken=" + QUrl::toPercentEncoding(configuration.apiToken);
    if (!sessionToken.isEmpty())
        query += "&ckWebAuthToken=" + QUrl::toPercentEncoding(sessionToken);
    url.setQuery(QString::fromLatin1(query), QUrl::StrictMode);
    return url;
}

bool isCloudKitName(const QString &text)
{
    return consistsOf(text, QStringLiteral("._-"));
}

QByteArray lookupBody(const QString &recordName)
{
    return compactJson(QVariantMap{{QStringLiteral("records"), QVariantList{QVariantMap{{QStringLiteral("recordName"), recordName}}}}});
}

QByteArray queryBody(const QString &recordType, const QString &continuationMarker)
{
    QVariantMap body{{QStringLiteral("query"), QVariantMap{{QStringLiteral("recordType"), recordType}}}};
    if (!continuationMarker.isEmpty())
        body.insert(QStringLiteral("continuationMarker"), continuationMarker);
    return compactJson(body);
}

QByteArray uploadBody(const Record &record)
{
    QVariantList tokens;
    for (auto asset = record.assets.cbegin(); asset != record.assets.cend(); ++asset) {
        tokens.append(QVariantMap{{QStringLiteral("recordName"), record.recordName}, {QStringLiteral("recordType"), record.recordType},
            {QStringLiteral("fieldName"), asset.key()}});
    }
    return compactJson(QVariantMap{{QStringLiteral("tokens"), tokens}});
}

QByteArray modifyBody(const Record &record, const QMap<QString, QVariantMap> &receipts, const QStringList &cleared)
{
    QVariantMap fields;
    for (const QString &name : cleared)
        fields.insert(name, value(QVariant()));
    for (auto each = record.texts.cbegin(); each != record.texts.cend(); ++each)
        fields.insert(each.key(), text(*each));
    for (auto each = receipts.cbegin(); each != receipts.cend(); ++each)
        fields.insert(each.key(), value(*each));
    QVariantMap written{
        {QStringLiteral("recordName"), record.recordName}, {QStringLiteral("recordType"), record.recordType}, {QStringLiteral("fields"), fields}};
    const bool isNew = record.changeTag.isEmpty();
    if (!isNew)
        written.insert(QStringLiteral("recordChangeTag"), record.changeTag);
    const QVariantMap operation{
        {QStringLiteral("operationType"), isNew ? QStringLiteral("create") : QStringLiteral("update")}, {QStringLiteral("record"), written}};
    return compactJson(QVariantMap{{QStringLiteral("operations"), QVariantList{operation}}});
}

std::optional<QUrl> assetURL(const CloudKitConfiguration &configuration, const QString &written)
{
    const qsizetype end = written.indexOf(u'?');
    QString path = written.left(end);
    path.replace(QLatin1String("${f}"), QLatin1String("asset"));
    path.replace(QLatin1String("%24%7Bf%7D"), QLatin1String("asset"), Qt::CaseInsensitive);
    const QUrl url(end < 0 ? path : path + written.mid(end), QUrl::TolerantMode);
    return maySpeakTo(configuration, url) ? std::optional(url) : std::nullopt;
}

QUrl checkedSignInURL(const CloudKitConfiguration &configuration, const QString &written)
{
    const QUrl url(written, QUrl::StrictMode);
    const bool isApples = url.scheme() == QLatin1String("https") && url.host() == QLatin1String("idmsa.apple.com") && url.port(443) == 443;
    const bool isOurs = isLoopback(url) && isOnThisMachine(configuration);
    return maySpeakTo(configuration, url) && (isApples || isOurs) ? url : QUrl();
}

} // namespace lanterna
