#pragma once

#include "platform/SystemLog.h"

#include <QByteArray>

#include <functional>
#include <mutex>

namespace lanterna
{

/// Writes to the machine's log through its datagram socket, which syslog daemons and the journal both serve (RFC 3164 form, facility user, severity
/// info), and to standard error when that is a terminal or no log answers. A log that restarts is found again at the next line.
class SyslogSystemLog : public SystemLog
{
public:
    /// Writes one line, without its line end, for a person to see. Any thread, one call at a time.
    using TerminalSink = std::function<void(const QByteArray &line)>;

    /// `identifier` names the program in each line ("lanterna"). `terminalSink` takes the place of standard error.
    explicit SyslogSystemLog(QByteArray identifier, TerminalSink terminalSink = {}, QByteArray socketPath = "/dev/log");
    ~SyslogSystemLog() override;
    SyslogSystemLog(const SyslogSystemLog &) = delete;
    SyslogSystemLog &operator=(const SyslogSystemLog &) = delete;

    void writeLine(const QString &line) override;

private:
    bool send(const QByteArray &text);
    bool connectSocket();

    const QByteArray m_identifier;
    const TerminalSink m_terminalSink;
    const QByteArray m_socketPath;
    const bool m_terminal;
    std::mutex m_mutex;
    int m_socket = -1;
};

} // namespace lanterna
