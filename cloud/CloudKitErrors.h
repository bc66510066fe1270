#pragma once

#include "cloud/CloudKitReply.h"

namespace lanterna
{

/// The failure that a JSON object of CloudKit tells, at request level (with the reply's status) or for one record (status 200); none when it tells
/// none. `retryAfter` is the header's value, used where the object has no seconds of its own. Pure; any thread.
std::optional<CloudKitFailure> cloudKitFailure(const QVariantMap &object, int status, const QByteArray &retryAfter, const QStringList &secrets);

/// Seconds to wait: not negative, not beyond `longestDelay`; nothing for what is no such number.
std::optional<double> retrySeconds(const QVariant &value);
std::optional<double> retrySeconds(const QByteArray &header);

/// Requests come too often; with the seconds, if they are known.
RecordError rateLimited(std::optional<double> seconds);

/// What somebody else wrote, as one line without secrets and addresses, 200 characters at most.
QString plainWords(const QString &text, const QStringList &secrets);

} // namespace lanterna
