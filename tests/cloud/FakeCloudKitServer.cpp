#include "tests/cloud/FakeCloudKitServer.h"

#include "platform/Json.h"
#include "tests/support/NeverLogged.h"

#include <QDateTime>
#include <QUrl>

#include <algorithm>

namespace lanterna
{

namespace
{

const QByteArray tokenHeader = "X-Apple-CloudKit-Web-Auth-Token";
const QString apiToken = QStringLiteral("api+" SECRET_MARK "/1=");
const QByteArray apiPath = "/database/1/iCloud.org.example.lanterna/development/private/";

FakeHttpReply json(int status, const QVariantMap &body)
{
    return {status, compactJson(body), {{"Content-Type", "application/json; charset=UTF-8"}}};
}

QVariantMap failure(const char *code, const QString &reason)
{
    return {{"serverErrorCode", QString::fromLatin1(code)}, {"reason", reason}};
}

QVariantMap entryFailure(const QString &recordName, const char *code, const QString &reason)
{
    QVariantMap entry = failure(code, reason);
    entry.insert("recordName", recordName);
    return entry;
}

/// Where a download's address ends: signed, so every byte of it counts.
QByteArray signedEnd(const QByteArray &number)
{
    return "?o=A%2Bb%2Fc%3D&v=1&e=1999999999&k=a+b/c=d==&s=(x)~y'!*;,:@$%20n" + number;
}

QByteArray operationOf(const QByteArray &target)
{
    const QByteArray path = target.left(target.indexOf('?'));
    return path.startsWith(apiPath) ? path.mid(apiPath.size()) : QByteArray();
}

} // namespace

FakeCloudKitServer::FakeCloudKitServer()
    : m_api([this](const FakeHttpRequest &request) { return serveApi(request); }),
      m_assets([this](const FakeHttpRequest &request) { return serveAssets(request); })
{
}

CloudKitConfiguration FakeCloudKitServer::configuration() const
{
    return {"iCloud.org.example.lanterna", "development", apiToken, QString::fromLatin1(m_api.url())};
}

void FakeCloudKitServer::storeIn(SettingsStore &settings) const
{
    const CloudKitConfiguration chosen = configuration();
    settings.setValue("cloudBackend", "cloudkit");
    settings.setValue("cloudKitBaseURL", chosen.baseURL);
    settings.setValue("cloudKitContainer", chosen.container);
    settings.setValue("cloudKitEnvironment", chosen.environment);
    settings.setValue("cloudKitAPIToken", chosen.apiToken);
}

QString FakeCloudKitServer::signIn(const QString &account)
{
    const QString token = QString("106__54__" SECRET_MARK "+x/%1==").arg(++m_lastNumber);
    m_sessions.insert(token, token);
    m_accounts.insert(token, account);
    return token;
}

QByteArray FakeCloudKitServer::callback(const QByteArray &scheme, const QString &token)
{
    const QByteArray encoded = QUrl::toPercentEncoding(token);
    return scheme + "://signed-in?ckWebAuthToken=" + encoded + "&ckSession=" + encoded;
}

QString FakeCloudKitServer::rotate(const QString &session)
{
    return m_sessions[session] = QString("106__54__" SECRET_MARK "+/%1==").arg(++m_lastNumber);
}

void FakeCloudKitServer::insteadOf(const QByteArray &operation, const FakeHttpReply &reply, int times)
{
    m_faults.push_back({operation, times, {}, [reply] { return reply; }, {}});
}

void FakeCloudKitServer::onTheWayBack(const QByteArray &operation, const Change &change, int times)
{
    m_faults.push_back({operation, times, {}, {}, change});
}

void FakeCloudKitServer::before(const QByteArray &operation, const std::function<void()> &happening)
{
    m_faults.push_back({operation, 1, happening, {}, {}});
}

FakeCloudKitServer::Stored &FakeCloudKitServer::put(const QString &recordName, Stored stored)
{
    stored.changeTag = QString("mi%1").arg(++m_lastNumber, 0, 36);
    stored.modified = QDateTime::currentMSecsSinceEpoch();
    m_types.insert(stored.recordType);
    return records[recordName] = stored;
}

void FakeCloudKitServer::note(const QString &operation, const FakeHttpRequest &request)
{
    asked.append(operation);
    requests.append(request);
    if (onRequest)
        onRequest();
    mostInFlight = std::max(mostInFlight, m_api.inFlight() + m_assets.inFlight() + 1);
}

FakeHttpReply FakeCloudKitServer::withFaults(const QByteArray &operation, const std::function<FakeHttpReply()> &serve)
{
    const auto found = std::ranges::find_if(m_faults, [&](const Fault &fault) { return fault.operation.isEmpty() || fault.operation == operation; });
    if (found == m_faults.end())
        return serve();
    const Fault fault = *found;
    if (--found->times == 0)
        m_faults.erase(found);
    if (fault.before)
        fault.before();
    const FakeHttpReply reply = fault.instead ? fault.instead() : serve();
    return fault.change ? fault.change(reply) : reply;
}

/// A token of the query, which has to be encoded, once.
QString FakeCloudKitServer::tokenIn(const QByteArray &query, const QByteArray &key)
{
    QString token;
    for (const QByteArray &item : query.split('&')) {
        const qsizetype equals = item.indexOf('=');
        if (item.left(equals) != "ckAPIToken" && item.left(equals) != "ckWebAuthToken")
            complain("unknown key in the query: " + item);
        if (item.left(equals) != key)
            continue;
        const QByteArray value = item.mid(equals + 1);
        if (value.contains('+') || value.contains('/') || value.contains('='))
            complain("token that is not encoded");
        token = QString::fromLatin1(QByteArray::fromPercentEncoding(value));
    }
    return token;
}

/// The session of the request, by its first token; empty without one.
QString FakeCloudKitServer::sessionOf(const FakeHttpRequest &request, const QByteArray &query)
{
    if (!request.header("Cookie").isNull() || !request.header("Authorization").isNull())
        complain("cookie or password");
    if (tokenIn(query, "ckAPIToken") != apiToken)
        throw Refusal{401, "AUTHENTICATION_FAILED", "no such API token"};
    const QString token = tokenIn(query, "ckWebAuthToken");
    const QString session = token.isEmpty() ? QString() : m_sessions.key(token);
    if (session.isEmpty())
        throw Refusal{421, "AUTHENTICATION_REQUIRED", "request needs authorization"};
    return session;
}

FakeHttpReply FakeCloudKitServer::serveApi(const FakeHttpRequest &request)
{
    const QByteArray operation = operationOf(request.target);
    const QByteArray query = request.target.mid(request.target.indexOf('?') + 1);
    note(QString::fromLatin1(operation), request);
    QString session;
    FakeHttpReply reply = withFaults(operation, [&] {
        try {
            session = sessionOf(request, query);
            return serveOperation(operation, session, request);
        } catch (const Refusal &refusal) {
            QVariantMap body = failure(refusal.code, refusal.reason);
            body.insert("uuid", "5f1b6f3e-0000-4000-8000-000000000001");
            if (refusal.status == 421)
                body.insert(
                    "redirectURL", signInPage.isEmpty() ? QString::fromLatin1(m_api.url()) + "/IDMSWebAuth/auth?oauth_token=a%2Bb" : signInPage);
            return json(refusal.status, body);
        }
    });
    // The next token goes with every reply whose head goes out, and only then is the one before worth nothing.
    const bool hasHead = reply.delivery == FakeHttpReply::Delivery::whole || reply.delivery == FakeHttpReply::Delivery::half;
    if (session.isEmpty())
        session = m_sessions.key(tokenIn(query, "ckWebAuthToken"));
    const bool isTold = std::ranges::any_of(reply.headers, [](const auto &each) { return each.first.startsWith("X-Apple-CloudKit-"); });
    if (hasHead && !session.isEmpty() && !isTold) {
        reply.headers.append({tokenHeader, rotate(session).toLatin1()});
    }
    return reply;
}

FakeHttpReply FakeCloudKitServer::serveOperation(const QByteArray &operation, const QString &session, const FakeHttpRequest &request)
{
    if (operation == "users/current" && request.method == "GET")
        return json(200, {{"userRecordName", m_accounts.value(session)}, {"nameComponents", QVariant()}});
    const QByteArray contentType = request.header("Content-Type");
    if (request.method != "POST" || (contentType != "application/json" && contentType != "text/plain"))
        throw Refusal{400, "BAD_REQUEST", "not a POST of JSON"};
    const auto body = parseJson(request.body);
    if (!body || body->typeId() != QMetaType::QVariantMap)
        throw Refusal{400, "BAD_REQUEST", "not a JSON object"};
    return json(200, answer(operation, body->toMap()));
}

QVariantMap FakeCloudKitServer::answer(const QByteArray &operation, const QVariantMap &body)
{
    if (operation == "records/lookup")
        return lookUp(body);
    if (operation == "records/query")
        return query(body);
    if (operation == "records/modify")
        return modify(body);
    if (operation == "assets/upload")
        return uploadSlots(body);
    complain("unknown operation " + operation);
    throw Refusal{404, "BAD_REQUEST", "no such operation"};
}

void FakeCloudKitServer::requireOnly(const QVariantMap &object, const QStringList &keys, const QStringList &required)
{
    for (const QString &key : object.keys()) {
        if (!keys.contains(key)) {
            complain("unknown key " + key);
            throw Refusal{400, "BAD_REQUEST", "unknown key " + key};
        }
    }
    for (const QString &key : required) {
        if (!object.value(key).isValid()) {
            complain("missing key " + key);
            throw Refusal{400, "BAD_REQUEST", "missing key " + key};
        }
    }
}

QVariantMap FakeCloudKitServer::recordDictionary(const QString &recordName, const Stored &stored)
{
    QVariantMap fields = stored.fields;
    for (auto asset = stored.assets.cbegin(); asset != stored.assets.cend(); ++asset) {
        const QByteArray number = QByteArray::number(++m_lastNumber);
        const QByteArray end = signedEnd(number);
        m_downloads.insert(number, {end, *asset});
        const QByteArray placeholder = m_lastNumber % 2 == 0 ? "${f}" : "%24%7Bf%7D";
        const QVariantMap value{{"fileChecksum", "AQ" + QString::number(qHash(*asset))}, {"size", qlonglong(asset->size())},
            {"downloadURL", QString::fromLatin1(m_assets.url() + "/B/" + number + '/' + placeholder + end)}};
        fields.insert(asset.key(), QVariantMap{{"value", value}, {"type", m_lastNumber % 3 == 0 ? "ASSET" : "ASSETID"}});
    }
    const QVariantMap written{{"timestamp", qlonglong(stored.modified)}, {"userRecordName", owner}, {"deviceID", "2"}};
    return {{"recordName", recordName}, {"recordType", stored.recordType}, {"recordChangeTag", stored.changeTag}, {"deleted", false},
        {"created", written}, {"modified", written}, {"pluginFields", QVariantMap()}, {"zoneID", QVariantMap{{"zoneName", "_defaultZone"}}},
        {"fields", fields}};
}

QVariantMap FakeCloudKitServer::lookUp(const QVariantMap &body)
{
    requireOnly(body, {"records", "zoneID", "desiredKeys", "numbersAsStrings"}, {"records"});
    QVariantList entries;
    for (const QVariant &each : body.value("records").toList()) {
        requireOnly(each.toMap(), {"recordName"}, {"recordName"});
        const QString name = each.toMap().value("recordName").toString();
        if (records.contains(name))
            entries.append(recordDictionary(name, records.value(name)));
        else
            entries.append(entryFailure(name, "NOT_FOUND", "Record not found"));
    }
    return {{"records", entries}};
}

QVariantMap FakeCloudKitServer::query(const QVariantMap &body)
{
    requireOnly(body, {"query", "zoneID", "resultsLimit", "desiredKeys", "continuationMarker"}, {"query"});
    const QVariantMap wanted = body.value("query").toMap();
    requireOnly(wanted, {"recordType", "filterBy", "sortBy"}, {"recordType"});
    const QString type = wanted.value("recordType").toString();
    if (!m_types.contains(type))
        throw Refusal{404, "NOT_FOUND", "Did not find record type"};
    const QString marker = body.value("continuationMarker").toString();
    if (!marker.isEmpty() && !m_markers.contains(marker + type))
        throw Refusal{400, "BAD_REQUEST", "no such continuation marker"};
    QVariantList entries;
    for (auto record = records.cbegin(); record != records.cend(); ++record) {
        if (record->recordType == type)
            entries.append(record.key());
    }
    const qsizetype begin = m_markers.value(marker + type);
    QVariantMap reply;
    if (begin + pageSize < entries.size()) {
        const QString next = QString("marker+/=%1").arg(++m_lastNumber);
        m_markers.insert(next + type, begin + pageSize);
        reply.insert("continuationMarker", next);
    }
    QVariantList page;
    for (const QVariant &name : entries.mid(begin, pageSize))
        page.append(recordDictionary(name.toString(), records.value(name.toString())));
    reply.insert("records", page);
    return reply;
}

QVariantMap FakeCloudKitServer::modify(const QVariantMap &body)
{
    requireOnly(body, {"operations", "zoneID", "atomic", "desiredKeys"}, {"operations"});
    QVariantList entries;
    for (const QVariant &each : body.value("operations").toList()) {
        requireOnly(each.toMap(), {"operationType", "record"}, {"operationType", "record"});
        const QString kind = each.toMap().value("operationType").toString();
        const QVariantMap record = each.toMap().value("record").toMap();
        requireOnly(record, {"recordName", "recordType", "recordChangeTag", "fields"}, {"recordName", "recordType", "fields"});
        if (kind != "create" && kind != "update") {
            complain("operation " + kind);
            throw Refusal{400, "BAD_REQUEST", "no such operation type"};
        }
        if ((kind == "update") != record.contains("recordChangeTag"))
            throw Refusal{400, "BAD_REQUEST", kind == "update" ? "missing recordChangeTag" : "a new record has no recordChangeTag"};
        entries.append(modifyOne(record, kind == "create"));
    }
    return {{"records", entries}};
}

QVariantMap FakeCloudKitServer::modifyOne(const QVariantMap &record, bool isNew)
{
    const QString name = record.value("recordName").toString();
    const bool exists = records.contains(name);
    if (isNew && exists)
        return entryFailure(name, "EXISTS", "record to insert already exists");
    if (!isNew && !exists)
        return entryFailure(name, "NOT_FOUND", "Record not found");
    if (!isNew && records.value(name).changeTag != record.value("recordChangeTag").toString())
        return entryFailure(name, "CONFLICT", "client oplock error updating record");
    Stored stored = records.value(name);
    stored.recordType = record.value("recordType").toString();
    const QVariantMap fields = record.value("fields").toMap();
    for (auto field = fields.cbegin(); field != fields.cend(); ++field)
        setField(stored, name, field.key(), field->toMap());
    return recordDictionary(name, put(name, stored));
}

void FakeCloudKitServer::setField(Stored &stored, const QString &recordName, const QString &name, const QVariantMap &field)
{
    requireOnly(field, {"value", "type"}, {});
    const QVariant value = field.value("value");
    stored.fields.remove(name);
    stored.assets.remove(name);
    if (!value.isValid() && field.contains("value"))
        return;
    if (value.typeId() == QMetaType::QString && (!field.contains("type") || field.value("type") == "STRING")) {
        stored.fields.insert(name, QVariantMap{{"value", value}, {"type", "STRING"}});
        return;
    }
    const auto upload = std::ranges::find_if(m_uploads, [&](const Upload &each) { return !each.receipt.isEmpty() && each.receipt == value.toMap(); });
    if (upload == m_uploads.end() || upload->recordName != recordName || upload->fieldName != name)
        throw Refusal{400, "BAD_REQUEST", "invalid asset value"};
    stored.assets.insert(name, upload->bytes);
    m_uploads.erase(upload);
}

QVariantMap FakeCloudKitServer::uploadSlots(const QVariantMap &body)
{
    requireOnly(body, {"tokens", "zoneID"}, {"tokens"});
    QVariantList tokens;
    for (const QVariant &each : body.value("tokens").toList()) {
        const QVariantMap wanted = each.toMap();
        requireOnly(wanted, {"recordName", "recordType", "fieldName"}, {"recordName", "recordType", "fieldName"});
        const QByteArray number = QByteArray::number(++m_lastNumber);
        m_uploads.insert(number, {wanted.value("recordName").toString(), wanted.value("fieldName").toString(), {}, {}});
        // In another order than they were asked for.
        tokens.prepend(QVariantMap{{"recordName", wanted.value("recordName")}, {"fieldName", wanted.value("fieldName")},
            {"url", QString::fromLatin1(m_assets.url() + "/upload/" + number + "?sig=a%2Bb%3D&e=1999999999")}});
    }
    return {{"tokens", tokens}};
}

FakeHttpReply FakeCloudKitServer::serveAssets(const FakeHttpRequest &request)
{
    const bool isUpload = request.target.startsWith("/upload/");
    note(isUpload ? "upload" : "download", request);
    for (const auto &[name, value] : request.headers) {
        const QByteArray lower = name.toLower();
        if (lower == "cookie" || lower == "authorization" || lower.startsWith("x-apple") || holdsSecret(value))
            complain("a secret where assets lie: " + name);
    }
    if (request.target.contains("Token") || holdsSecret(request.target))
        complain("a token where assets lie");
    return withFaults(isUpload ? "upload" : "download", [&] {
        const QByteArray number = request.target.split('/').value(2).split('?').value(0);
        if (number.toInt() < m_expiredBelow)
            return FakeHttpReply{expiryStatus, "expired", {}};
        return isUpload ? takeUpload(request, number) : giveDownload(request);
    });
}

FakeHttpReply FakeCloudKitServer::takeUpload(const FakeHttpRequest &request, const QByteArray &number)
{
    const bool isRight = request.method == "POST" && request.header("Content-Type") == "application/octet-stream"
        && request.target == "/upload/" + number + "?sig=a%2Bb%3D&e=1999999999" && m_uploads.contains(number);
    if (!isRight)
        return {400, "what?", {}};
    Upload &upload = m_uploads[number];
    upload.bytes = request.body;
    const QString text = QString::fromLatin1(number);
    upload.receipt = {{"wrappingKey", "w+/=" + text}, {"fileChecksum", "AQ" + text}, {"receipt", "r" + text}, {"referenceChecksum", "AR" + text},
        {"size", qlonglong(request.body.size())}, {"somethingNew", QVariantList{1.5, qlonglong(9'007'199'254'740'993)}}};
    return json(200, {{"singleFile", upload.receipt}});
}

FakeHttpReply FakeCloudKitServer::giveDownload(const FakeHttpRequest &request)
{
    const QList<QByteArray> parts = request.target.split('/');
    const auto [end, bytes] = m_downloads.value(parts.value(2));
    const QByteArray name = parts.value(3).split('?').value(0);
    const bool isPlain =
        !name.isEmpty() && std::ranges::all_of(name, [](char c) { return std::isalnum(uchar(c)) || c == '.' || c == '_' || c == '-'; });
    if (request.method != "GET" || end.isEmpty() || !isPlain || request.target != "/B/" + parts.value(2) + '/' + name + end)
        return {403, "bad signature", {}};
    return {200, bytes, {{"Content-Type", "application/octet-stream"}}};
}

} // namespace lanterna
