#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace lanterna
{

// The address with which the browser comes back after a sign-in. Pure functions, any thread; nothing here trusts the bytes.

/// Where the browser may come back to.
struct SignInReturn {
    QString scheme; ///< of URLs that the desktop hands to us, in lower case; what follows the colon is of no matter
    QString address; ///< on this machine, without query; empty for none

    bool operator==(const SignInReturn &) const = default;
};

/// The URL scheme that belongs to a container: "cloudkit-" and its name in lower case.
QString signInScheme(const QString &container);

/// The session token that came back: `ckWebAuthToken` or else `ckSession`, in the query or else in the fragment. Nothing when there is none, when it
/// cannot be one (`isSessionToken`), when the address is another or longer than 32 KiB.
///
/// Tokens hold "+", and some hop on their way takes that for an encoded blank: a blank becomes "+" again.
std::optional<QString> sessionTokenIn(const QByteArray &callback, const SignInReturn &expected);

} // namespace lanterna
