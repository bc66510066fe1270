#include "platform/RecordServerURL.h"

#include <QRegularExpression>

namespace lanterna
{

bool isThisMachine(const QString &host)
{
    static const QRegularExpression loopback(QStringLiteral("\\A127(\\.[0-9]{1,3}){3}\\z")); // QUrl has brought shorter forms into this one
    return host == QLatin1String("localhost") || host == QLatin1String("::1") || loopback.match(host).hasMatch();
}

bool isRecordServerURL(const QUrl &url)
{
    const bool allowed = url.scheme() == QLatin1String("https") || (url.scheme() == QLatin1String("http") && isThisMachine(url.host()));
    return url.isValid() && allowed && !url.host().isEmpty() && url.userInfo().isEmpty();
}

bool isCallbackAddress(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("\\Ahttp://127\\.0\\.0\\.1:([1-9][0-9]{3,4})/[A-Za-z0-9._/-]{0,200}\\z"));
    const auto match = form.match(text);
    constexpr int firstFreePort = 1024; // those before are the system's
    return match.hasMatch() && match.captured(1).toInt() >= firstFreePort && match.captured(1).toInt() <= 65'535;
}

bool holdsUserOrPassword(const QString &url)
{
    static const QRegularExpression scheme(QStringLiteral("\\A[^/?#]*://"));
    static const QRegularExpression end(QStringLiteral("[/?#]"));
    const QString text = url.trimmed().replace(u'\\', u'/'); // as browsers do
    const QString authority = text.mid(scheme.match(text).capturedLength()).section(end, 0, 0);
    // A password with a character that should have been encoded makes an address that is none, of which any part may be the password.
    return authority.contains(u'@') || (text.contains(u'@') && !QUrl(text).isValid()) || !QUrl(text).userInfo().isEmpty();
}

} // namespace lanterna
