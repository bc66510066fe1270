#include "cloud/SignInCallback.h"

#include "cloud/CloudKitSession.h"
#include "platform/CallbackAwaiter.h"

#include <QList>

#include <utility>

namespace lanterna
{

namespace
{

bool isExpected(const QByteArray &address, const SignInReturn &expected)
{
    const QByteArray scheme = expected.scheme.toLatin1() + ':';
    const bool isOurScheme = !expected.scheme.isEmpty() && address.size() >= scheme.size() && address.left(scheme.size()).toLower() == scheme;
    return isOurScheme || (!expected.address.isEmpty() && address == expected.address.toLatin1());
}

/// What stands before the first such character, and what after it; all and nothing without one.
std::pair<QByteArray, QByteArray> cutAt(const QByteArray &text, char mark)
{
    const qsizetype place = text.indexOf(mark);
    return place < 0 ? std::pair(text, QByteArray()) : std::pair(text.first(place), text.sliced(place + 1));
}

/// The first value of this key that can be a token. Values may hold "=" as they are.
std::optional<QString> tokenNamed(const QByteArray &key, const QByteArray &parameters)
{
    for (const QByteArray &parameter : parameters.split('&')) {
        if (!parameter.startsWith(key + '='))
            continue;
        const QByteArray value = QByteArray::fromPercentEncoding(parameter.mid(key.size() + 1)).replace(' ', '+');
        if (isSessionToken(value))
            return QString::fromLatin1(value);
    }
    return std::nullopt;
}

} // namespace

QString signInScheme(const QString &container)
{
    return QStringLiteral("cloudkit-") + container.toLower();
}

std::optional<QString> sessionTokenIn(const QByteArray &callback, const SignInReturn &expected)
{
    if (callback.size() > CallbackAwaiter::longestAddress)
        return std::nullopt;
    const auto [beforeHash, fragment] = cutAt(callback, '#');
    const auto [address, query] = cutAt(beforeHash, '?');
    if (!isExpected(address, expected))
        return std::nullopt;
    // A fragment may be written like an address again: "#/signed-in?ckSession=…".
    for (const QByteArray &parameters : {query, fragment.mid(fragment.indexOf('?') + 1)}) {
        for (const char *key : {"ckWebAuthToken", "ckSession"}) {
            if (auto token = tokenNamed(key, parameters))
                return token;
        }
    }
    return std::nullopt;
}

} // namespace lanterna
