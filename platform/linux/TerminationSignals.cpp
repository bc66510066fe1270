#include "platform/linux/TerminationSignals.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <sys/eventfd.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

constexpr std::array terminationSignals{SIGTERM, SIGINT, SIGHUP};

/// Sets the handler of each of them, unless it is ignored.
void install(void (*handler)(int))
{
    for (const int number : terminationSignals) {
        struct sigaction action {
        };
        if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
            continue;
        action.sa_handler = handler;
        action.sa_flags = SA_RESTART;
        sigaction(number, &action, nullptr);
    }
}

} // namespace

TerminationSignals::TerminationSignals(std::function<void(int)> terminate)
{
    s_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    m_notifier = std::make_unique<QSocketNotifier>(s_wake, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [terminate = std::move(terminate)] {
        quint64 count = 0;
        if (read(s_wake, &count, sizeof count) == sizeof count)
            terminate(s_number);
    });
    install(handle);
}

TerminationSignals::~TerminationSignals()
{
    install(SIG_DFL);
    m_notifier.reset();
    close(s_wake.exchange(-1));
}

void TerminationSignals::handle(int number)
{
    s_number = number;
    const int error = errno;
    constexpr quint64 one = 1;
    [[maybe_unused]] const auto written = write(s_wake, &one, sizeof one);
    errno = error;
}

} // namespace lanterna
