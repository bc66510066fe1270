#include "platform/StandardOutput.h"

#include "platform/SystemLog.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

namespace lanterna
{

namespace
{

/// Whether a piece of at most PIPE_BUF bytes is taken at once.
bool hasRoom()
{
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 1 && output.revents == POLLOUT;
}

} // namespace

void printLine(const QString &line)
{
    static bool cut = false; // the last line lacks its end
    const QByteArray text = (cut ? QByteArrayLiteral("\n") : QByteArray()) + escapedControls(line).toUtf8() + '\n';
    qsizetype written = 0;
    while (written < text.size() && hasRoom()) {
        const ssize_t count =
            write(STDOUT_FILENO, text.constData() + written, static_cast<size_t>(std::min<qsizetype>(text.size() - written, PIPE_BUF)));
        if (count <= 0)
            break;
        written += count;
    }
    if (written > 0)
        cut = written < text.size();
}

} // namespace lanterna
