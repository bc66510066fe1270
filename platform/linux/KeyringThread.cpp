#include "platform/linux/KeyringThread.h"

#include <QEventLoop>
#include <QSocketNotifier>

#include <cstdint>
#include <thread>
#include <utility>

#include <dlfcn.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

/// GLib's shared connection to the session bus, which the keyring's library uses, ends the process by a signal when the bus goes away. This program
/// outlives its bus, so that is switched off, for all who share the connection.
void outliveTheBus()
{
    using GetBus = void *(*)(int type, void *cancellable, void **error);
    using SetExitOnClose = void (*)(void *connection, int exits);
    constexpr int sessionBus = 2; // G_BUS_TYPE_SESSION
    void *const library = dlopen("libgio-2.0.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        return;
    const auto getBus = reinterpret_cast<GetBus>(dlsym(library, "g_bus_get_sync"));
    const auto setExitOnClose = reinterpret_cast<SetExitOnClose>(dlsym(library, "g_dbus_connection_set_exit_on_close"));
    void *const connection = getBus != nullptr && setExitOnClose != nullptr ? getBus(sessionBus, nullptr, nullptr) : nullptr;
    if (connection != nullptr)
        setExitOnClose(connection, 0); // kept for good: the next to ask gets this very connection
}

} // namespace

KeyringThread &KeyringThread::instance()
{
    static auto *const thread = new KeyringThread; // its thread may still use it while the program's objects are destroyed
    return *thread;
}

KeyringThread::KeyringThread() : m_wakeDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    std::thread([this] { run(); }).detach();
}

void KeyringThread::post(Task task)
{
    {
        const std::lock_guard lock(m_mutex);
        m_tasks.push_back(std::move(task));
    }
    const std::uint64_t one = 1;
    (void)!::write(m_wakeDescriptor, &one, sizeof one); // full, it wakes the thread as well
}

void KeyringThread::run()
{
    QEventLoop loop; // first: it gives the thread what a notifier needs
    QSocketNotifier notifier(m_wakeDescriptor, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [this] { runWaiting(); });
    outliveTheBus();
    for (;;)
        loop.exec();
}

void KeyringThread::runWaiting()
{
    std::uint64_t count = 0;
    (void)!::read(m_wakeDescriptor, &count, sizeof count);
    std::deque<Task> tasks;
    {
        const std::lock_guard lock(m_mutex);
        tasks.swap(m_tasks);
    }
    for (const Task &task : tasks)
        task();
}

} // namespace lanterna
