#pragma once

#include <QString>
#include <QUrl>

namespace lanterna
{

// Where the owner's records may be kept, and what no setting may hold. Any thread.

/// Whether a host, as `QUrl::host` gives it, is this machine itself: "localhost", 127.0.0.0/8 or ::1.
bool isThisMachine(const QString &host);

/// Whether a record server may be spoken to at this address: https, or http on this machine itself ("localhost", 127.0.0.0/8, ::1); with a host, and
/// without a user or password in it.
bool isRecordServerURL(const QUrl &url);

/// Whether a browser may come back to this address after a sign-in: "http://127.0.0.1:", a port from 1024 on, and a path of letters, digits, ".", "_",
/// "-" and "/", without a query.
bool isCallbackAddress(const QString &text);

/// Whether a text that stands for a URL holds a user or a password. Errs on the side of "yes" where the text is no sound URL.
bool holdsUserOrPassword(const QString &url);

} // namespace lanterna
