#pragma once

#include <QCoreApplication>
#include <QSocketNotifier>

#include <functional>
#include <utility>

#include <unistd.h>

namespace lanterna
{

/// Hands over each line of standard input, without its end, in the event loop; quits the application at the end of the input.
class CommandReader
{
public:
    explicit CommandReader(std::function<void(const QString &line)> command) : m_command(std::move(command))
    {
        QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this] { read(); });
    }

private:
    void read()
    {
        char buffer[4096];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count <= 0) {
            m_notifier.setEnabled(false);
            QCoreApplication::quit();
            return;
        }
        m_input.append(buffer, count);
        for (qsizetype end = m_input.indexOf('\n'); end >= 0; end = m_input.indexOf('\n')) {
            m_command(QString::fromUtf8(m_input.left(end)));
            m_input.remove(0, end + 1);
        }
    }

    std::function<void(const QString &)> m_command;
    QByteArray m_input;
    QSocketNotifier m_notifier{STDIN_FILENO, QSocketNotifier::Read};
};

} // namespace lanterna
