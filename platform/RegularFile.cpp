#include "platform/RegularFile.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

QString textOf(int error)
{
    return QString::fromStdString(std::generic_category().message(error));
}

} // namespace

QString openRegularFile(QFile &file)
{
    const QString notRegular = QStringLiteral("Not a regular file");
    const int descriptor = ::open(QFile::encodeName(file.fileName()).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return errno == ELOOP || errno == ENXIO ? notRegular : textOf(errno); // what the system says to a link here, and to a socket
    struct stat information = {};
    QString wrong;
    if (::fstat(descriptor, &information) != 0)
        wrong = textOf(errno);
    else if (!S_ISREG(information.st_mode))
        wrong = notRegular;
    else if (!file.open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle))
        wrong = file.errorString();
    if (!wrong.isEmpty())
        ::close(descriptor);
    return wrong;
}

} // namespace lanterna
