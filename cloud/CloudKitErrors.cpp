#include "cloud/CloudKitErrors.h"

#include "platform/Dispatch.h"

#include <QRegularExpression>
#include <QUrl>

#include <algorithm>
#include <array>
#include <cmath>

namespace lanterna
{

namespace
{

struct KnownCode {
    const char *name;
    RecordErrorCode code;
    const char *words;
};

constexpr std::array knownCodes{
    KnownCode{"NOT_FOUND", RecordErrorCode::unknownItem, "There is no such record in iCloud"},
    KnownCode{"THROTTLED", RecordErrorCode::requestRateLimited, "iCloud asks for fewer requests"},
    KnownCode{"TRY_AGAIN_LATER", RecordErrorCode::serviceUnavailable, "iCloud cannot be used just now"},
    KnownCode{"CONFLICT", RecordErrorCode::serverRecordChanged, "The record in iCloud was changed meanwhile"},
    KnownCode{"EXISTS", RecordErrorCode::serverRecordChanged, "The record is in iCloud already"},
    KnownCode{"AUTHENTICATION_REQUIRED", RecordErrorCode::notAuthenticated, "Not signed in to iCloud, or no longer"},
    KnownCode{"AUTHENTICATION_FAILED", RecordErrorCode::notAuthenticated, "iCloud does not accept the session or the API token, or no longer does"},
    KnownCode{"ACCESS_DENIED", RecordErrorCode::permissionFailure, "iCloud does not allow this"},
    KnownCode{"ZONE_NOT_FOUND", RecordErrorCode::zoneNotFound, "The iCloud container has no such zone"},
    KnownCode{"QUOTA_EXCEEDED", RecordErrorCode::quotaExceeded, "There is no room left in this iCloud account"},
    KnownCode{"BAD_REQUEST", RecordErrorCode::invalidArguments, "iCloud does not accept the request"},
    KnownCode{"ATOMIC_ERROR", RecordErrorCode::batchRequestFailed, "Another record of the same request failed"},
    KnownCode{"VALIDATING_REFERENCE_ERROR", RecordErrorCode::referenceViolation, "A record that is referred to is missing"},
    KnownCode{"INTERNAL_ERROR", RecordErrorCode::serverRejectedRequest, "iCloud failed by itself"},
};

/// A code that is not in the table goes by the class of the reply's status.
KnownCode codeNamed(const QString &name, int status)
{
    const auto *const known = std::ranges::find_if(knownCodes, [&](const KnownCode &each) { return name == QLatin1String(each.name); });
    if (known != knownCodes.end())
        return *known;
    if (status >= 500)
        return {"", RecordErrorCode::serviceUnavailable, "iCloud cannot be used just now"};
    if (status >= 400)
        return {"", RecordErrorCode::invalidArguments, "iCloud does not accept the request"};
    return {"", RecordErrorCode::serverRejectedRequest, "iCloud refused the record"};
}

std::optional<double> boundedSeconds(double seconds)
{
    if (!std::isfinite(seconds) || seconds < 0)
        return std::nullopt;
    return std::min(seconds, std::chrono::duration<double>(longestDelay).count());
}

/// "BAD_REQUEST: the server's reason, of ID"
QString details(const QVariantMap &object, const QString &name, const QStringList &secrets)
{
    QString text = plainWords(name.left(60), secrets);
    const QString reason = plainWords(object.value(QStringLiteral("reason")).toString(), secrets);
    if (!reason.isEmpty())
        text += QStringLiteral(": ") + reason;
    const QString id = plainWords(object.value(QStringLiteral("uuid")).toString().left(60), secrets);
    if (!id.isEmpty())
        text += QStringLiteral(", request ") + id;
    return text;
}

} // namespace

std::optional<double> retrySeconds(const QVariant &value)
{
    const int type = value.typeId();
    const bool isNumber = type == QMetaType::LongLong || type == QMetaType::ULongLong || type == QMetaType::Double;
    return isNumber ? boundedSeconds(value.toDouble()) : std::nullopt;
}

std::optional<double> retrySeconds(const QByteArray &header)
{
    bool isNumber = false;
    const double seconds = header.trimmed().toDouble(&isNumber);
    return isNumber ? boundedSeconds(seconds) : std::nullopt;
}

RecordError rateLimited(std::optional<double> seconds)
{
    QString words = QStringLiteral("iCloud asks for fewer requests.");
    if (seconds)
        words = QStringLiteral("iCloud asks for fewer requests: none for another %1 s.").arg(std::ceil(*seconds), 0, 'f', 0);
    return {RecordErrorCode::requestRateLimited, words, seconds};
}

QString plainWords(const QString &text, const QStringList &secrets)
{
    // A session token may have several thousand characters, and half of one is half a secret: replaced before the text is cut.
    QString plain = text.left(100'000);
    for (const QString &secret : secrets) {
        if (secret.isEmpty())
            continue;
        plain.replace(secret, QStringLiteral("…"));
        plain.replace(QString::fromLatin1(QUrl::toPercentEncoding(secret)), QStringLiteral("…"), Qt::CaseInsensitive);
    }
    static const QRegularExpression address(QStringLiteral("\\S*(://|Token=|Session=)\\S*"), QRegularExpression::CaseInsensitiveOption);
    plain.replace(address, QStringLiteral("…"));
    plain.removeIf([](QChar c) { return !c.isPrint() && !c.isSpace(); });
    plain = plain.simplified();
    return plain.size() > 200 ? plain.left(199) + QChar(u'…') : plain;
}

std::optional<CloudKitFailure> cloudKitFailure(const QVariantMap &object, int status, const QByteArray &retryAfter, const QStringList &secrets)
{
    const QVariant name = object.value(QStringLiteral("serverErrorCode"));
    if (name.typeId() != QMetaType::QString)
        return std::nullopt;
    const KnownCode known = codeNamed(name.toString(), status);
    CloudKitFailure failure;
    failure.error.code = known.code;
    failure.error.retryAfter = retrySeconds(object.value(QStringLiteral("retryAfter")));
    if (!failure.error.retryAfter)
        failure.error.retryAfter = retrySeconds(retryAfter);
    // "Later" with the seconds is the same as "too often".
    if (failure.error.code == RecordErrorCode::serviceUnavailable && failure.error.retryAfter)
        failure.error.code = RecordErrorCode::requestRateLimited;
    failure.error.description = QStringLiteral("%1 (%2).").arg(QLatin1String(known.words), details(object, name.toString(), secrets));
    if (failure.error.code == RecordErrorCode::notAuthenticated)
        failure.redirectURL = object.value(QStringLiteral("redirectURL")).toString();
    return failure;
}

} // namespace lanterna
