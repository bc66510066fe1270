#include "platform/linux/TerminationSignals.h"

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

sigset_t terminationSet()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&set, number);
    return set;
}

} // namespace

void TerminationSignals::block()
{
    const sigset_t set = terminationSet();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

TerminationSignals::TerminationSignals(std::function<void()> terminate)
{
    block();
    const sigset_t set = terminationSet();
    m_descriptor = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_descriptor < 0)
        return;
    m_notifier = std::make_unique<QSocketNotifier>(m_descriptor, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this, terminate = std::move(terminate)] {
        signalfd_siginfo information{};
        if (read(m_descriptor, &information, sizeof information) == sizeof information) {
            m_lastSignal = static_cast<int>(information.ssi_signo);
            terminate();
        }
    });
}

TerminationSignals::~TerminationSignals()
{
    m_notifier.reset();
    if (m_descriptor >= 0)
        close(m_descriptor);
}

} // namespace lanterna
