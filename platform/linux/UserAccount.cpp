#include "platform/linux/UserAccount.h"

#include <array>

#include <pwd.h>
#include <unistd.h>

namespace lanterna
{

QString hostName()
{
    std::array<char, 256> buffer{};
    if (gethostname(buffer.data(), buffer.size() - 1) != 0)
        return {};
    return QString::fromLocal8Bit(buffer.data());
}

QString fullNameFromAccount(const QString &comment, const QString &login)
{
    const QString name = comment.section(QLatin1Char(','), 0, 0).trimmed();
    return name.isEmpty() ? login : name;
}

QString fullUserName()
{
    passwd account{};
    passwd *found = nullptr;
    std::array<char, 16384> buffer{};
    if (getpwuid_r(getuid(), &account, buffer.data(), buffer.size(), &found) != 0 || !found)
        return QStringLiteral("Unknown");
    return fullNameFromAccount(QString::fromLocal8Bit(found->pw_gecos), QString::fromLocal8Bit(found->pw_name));
}

} // namespace lanterna
