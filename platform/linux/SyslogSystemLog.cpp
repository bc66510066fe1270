#include "platform/linux/SyslogSystemLog.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <ctime>

namespace lanterna
{

namespace
{

QByteArray timestamp()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    static const char *const months[] = {
        "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"}; // never the locale's names
    char text[32];
    const int length =
        std::snprintf(text, sizeof text, "%s %2d %02d:%02d:%02d", months[parts.tm_mon], parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    return {text, length};
}

void writeToStandardError(const QByteArray &line)
{
    const QByteArray whole = line + '\n';
    [[maybe_unused]] const auto written = write(STDERR_FILENO, whole.constData(), static_cast<size_t>(whole.size()));
}

} // namespace

SyslogSystemLog::SyslogSystemLog(QByteArray identifier, TerminalSink terminalSink, QByteArray socketPath)
    : m_identifier(std::move(identifier)), m_terminalSink(terminalSink ? std::move(terminalSink) : writeToStandardError),
      m_socketPath(std::move(socketPath)), m_terminal(isatty(STDERR_FILENO) == 1)
{
}

SyslogSystemLog::~SyslogSystemLog()
{
    if (m_socket >= 0)
        close(m_socket);
}

bool SyslogSystemLog::connectSocket()
{
    if (m_socket >= 0)
        close(m_socket);
    m_socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, m_socketPath.constData(), sizeof address.sun_path);
    return m_socket >= 0 && connect(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

bool SyslogSystemLog::send(const QByteArray &text)
{
    const QByteArray datagram = '<' + QByteArray::number(LOG_USER | LOG_INFO) + '>' + timestamp() + ' ' + m_identifier + '['
        + QByteArray::number(static_cast<qlonglong>(getpid())) + "]: " + text;
    const auto deliver = [&] {
        return m_socket >= 0 && ::send(m_socket, datagram.constData(), static_cast<size_t>(datagram.size()), MSG_NOSIGNAL) >= 0;
    };
    return deliver() || (connectSocket() && deliver());
}

void SyslogSystemLog::writeLine(const QString &line)
{
    const QByteArray text = line.toUtf8();
    const std::lock_guard lock(m_mutex);
    const bool answered = send(text);
    if (m_terminal || !answered)
        m_terminalSink(m_identifier + ": " + text);
}

} // namespace lanterna
