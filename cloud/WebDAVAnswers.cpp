#include "cloud/WebDAVAnswers.h"

#include <algorithm>

namespace lanterna
{

namespace
{

RecordErrorCode codeOf(int status)
{
    switch (status) {
    case 401:
        return RecordErrorCode::notAuthenticated;
    case 403:
        return RecordErrorCode::permissionFailure;
    case 404:
    case 410:
        return RecordErrorCode::unknownItem;
    case 412:
        return RecordErrorCode::serverRecordChanged;
    case 413:
    case 507:
        return RecordErrorCode::quotaExceeded;
    case 423:
    case 502:
    case 503:
    case 504:
        return RecordErrorCode::serviceUnavailable;
    case 429:
        return RecordErrorCode::requestRateLimited;
    default:
        return status >= 400 && status < 500 ? RecordErrorCode::invalidArguments : RecordErrorCode::serverRejectedRequest;
    }
}

QString wordsOf(int status, const QString &host)
{
    switch (status) {
    case 401:
        return QStringLiteral("%1 does not accept user and password.").arg(host);
    case 403:
        return QStringLiteral("%1 does not allow this user to do that.").arg(host);
    case 404:
    case 410:
        return QStringLiteral("There is no such record on %1.").arg(host);
    case 409:
        return QStringLiteral("The folder on %1 does not exist.").arg(host);
    case 412:
        return QStringLiteral("The record on %1 was changed meanwhile.").arg(host);
    case 413:
        return QStringLiteral("%1 does not take a file of this size.").arg(host);
    case 423:
        return QStringLiteral("Somebody else has locked the record on %1.").arg(host);
    case 429:
        return QStringLiteral("%1 is asked too often.").arg(host);
    case 503:
        return QStringLiteral("%1 is not available at the moment.").arg(host);
    case 507:
        return QStringLiteral("There is no room left on %1.").arg(host);
    default:
        return QStringLiteral("%1 answered with status %2.").arg(host).arg(status);
    }
}

RecordError redirectError(const HttpAnswer &answer, const QString &host)
{
    const QString target = QUrl(QString::fromLatin1(answer.header("Location"))).host();
    const QString words = target.isEmpty() || target == host
        ? QStringLiteral("%1 sends on to another address of its own: that one has to be set.").arg(host)
        : QStringLiteral("%1 sends on to %2, which is not followed: the right address has to be set.").arg(host, target);
    return {RecordErrorCode::serverRejectedRequest, words, std::nullopt};
}

} // namespace

std::optional<RecordError> webDAVError(const HttpAnswer &answer, const QString &host, const QDateTime &now)
{
    if (answer.failure)
        return answer.failure;
    if (answer.status >= 200 && answer.status < 300)
        return std::nullopt;
    if (answer.status >= 300 && answer.status < 400)
        return redirectError(answer, host);
    RecordError error{codeOf(answer.status), wordsOf(answer.status, host), std::nullopt};
    if (answer.status == 429 || answer.status == 503)
        error.retryAfter = retryAfter(answer, now);
    if (error.retryAfter)
        error.code = RecordErrorCode::requestRateLimited;
    return error;
}

std::optional<double> retryAfter(const HttpAnswer &answer, const QDateTime &now)
{
    const QByteArray text = answer.header("Retry-After").trimmed();
    if (!text.isEmpty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; }))
        return text.toDouble();
    const auto date = [](const QByteArray &value) { // Qt wants the zone in digits
        return QDateTime::fromString(QString::fromLatin1(value.trimmed()).replace(QLatin1String("GMT"), QLatin1String("+0000")), Qt::RFC2822Date);
    };
    const QDateTime until = date(text);
    if (!until.isValid())
        return std::nullopt;
    const QDateTime theirs = date(answer.header("Date")); // the difference of two of its times is right also where its clock is not
    return double(std::max<qint64>(0, (theirs.isValid() ? theirs : now).secsTo(until)));
}

QByteArray entityTag(const HttpAnswer &answer)
{
    const QByteArray tag = answer.header("ETag").trimmed();
    const QByteArrayView quoted = QByteArrayView(tag).sliced(tag.startsWith("W/") ? 2 : 0);
    const bool closed = quoted.size() >= 2 && quoted.size() <= 500 && quoted.startsWith('"') && quoted.endsWith('"');
    // Only what a header may hold is sent back in one (RFC 9110, 8.8.3).
    const auto allowed = [](char c) { return c > ' ' && c < 127 && c != '"'; };
    return closed && std::ranges::all_of(quoted.sliced(1).chopped(1), allowed) ? tag : QByteArray();
}

bool isStrongTag(const QByteArray &entityTag)
{
    return entityTag.startsWith('"');
}

bool offersLocks(const HttpAnswer &answer)
{
    const QList<QByteArray> classes = answer.header("DAV").split(',');
    return std::ranges::any_of(classes, [](const QByteArray &each) { return each.trimmed() == "2"; });
}

QByteArray lockToken(const HttpAnswer &answer)
{
    const QByteArray coded = answer.header("Lock-Token").trimmed();
    if (coded.size() < 3 || coded.size() > 500 || !coded.startsWith('<') || !coded.endsWith('>'))
        return {};
    const QByteArray token = coded.mid(1, coded.size() - 2);
    const auto allowed = [](char c) { return c > ' ' && c < 127 && c != '<' && c != '>'; };
    return std::ranges::all_of(token, allowed) ? token : QByteArray();
}

} // namespace lanterna
