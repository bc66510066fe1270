#include "tests/linux/PrivateNetwork.h"

#include <QByteArray>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

QString failure(const char *what)
{
    return QStringLiteral("no private network: %1: %2").arg(QString::fromLatin1(what), QString::fromLocal8Bit(std::strerror(errno)));
}

bool writeFile(const char *path, const QByteArray &text)
{
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    const bool written = file >= 0 && write(file, text.data(), size_t(text.size())) == text.size();
    if (file >= 0)
        close(file);
    return written;
}

/// Both namespaces in one step, with the caller's user as root of the new one.
QString enterUserNamespace()
{
    const QByteArray user = QByteArray::number(geteuid());
    const QByteArray group = QByteArray::number(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return failure("unshare");
    if (!writeFile("/proc/self/setgroups", "deny") || !writeFile("/proc/self/uid_map", "0 " + user + " 1")
        || !writeFile("/proc/self/gid_map", "0 " + group + " 1"))
        return failure("mapping the user");
    return {};
}

} // namespace

QString PrivateNetwork::enter()
{
    const bool asRoot = geteuid() == 0 && unshare(CLONE_NEWNET) == 0;
    const QString problem = asRoot ? QString() : enterUserNamespace();
    if (!problem.isEmpty())
        return problem;
    return ip(QStringLiteral("link set lo up")) ? QString() : QStringLiteral("no private network: \"ip\" of iproute2 does not run");
}

bool PrivateNetwork::ip(const QString &lines)
{
    FILE *process = popen("PATH=$PATH:/usr/sbin:/sbin ip -batch -", "w");
    if (!process)
        return false;
    const QByteArray text = lines.toUtf8() + '\n';
    const bool written = fwrite(text.data(), 1, size_t(text.size()), process) == size_t(text.size());
    return pclose(process) == 0 && written;
}

} // namespace lanterna
