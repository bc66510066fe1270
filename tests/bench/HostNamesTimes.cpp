#include "platform/linux/LinuxHostNames.h"

#include "tests/linux/FakeNameServer.h"

#include <QHostAddress>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

using namespace lanterna;
using namespace std::chrono_literals;

// How many names a look-up has at what time. The two halves run in two network namespaces; host_names_times.sh makes those and starts both.
//
//   host_names_times serve DNS         plays the name server and all devices; DNS is mute, half (mute about half of the hosts) or full
//   host_names_times ask FIRST COUNT RESOLV_CONF
//
// The last two bits of a host's address say what it is: 1 names itself, 2 is named by DNS, 3 both, 0 neither.

namespace
{

using Clock = std::chrono::steady_clock;

constexpr quint32 serverAddress = 0x0A091FFD; // 10.9.31.253, the interface of the serving half

NameAnswer domainAnswer(std::string_view mode, quint32 address)
{
    if (mode != "mute" && (address & 2) != 0)
        return {NameAnswer::named, "host.dns"};
    return {mode == "full" ? NameAnswer::unknown : NameAnswer::nothing};
}

int serve(std::string_view mode)
{
    const FakeNameServer domain(0, 53, [mode](quint32 address) { return domainAnswer(mode, address); });
    const FakeNameServer devices(0, 5353, [](quint32 address) {
        return (address & 1) != 0 ? NameAnswer{NameAnswer::named, "host.local"} : NameAnswer{};
    });
    if (!domain.listens() || !devices.listens())
        return EXIT_FAILURE;
    std::puts("ready");
    std::fflush(stdout);
    std::getchar(); // a line, when the interface is there
    if (!devices.joinGroup(serverAddress))
        return EXIT_FAILURE;
    std::puts("joined");
    std::fflush(stdout);
    while (std::getchar() != EOF) // until the script goes
        continue;
    return EXIT_SUCCESS;
}

double processorSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) { return double(time.tv_sec) + double(time.tv_usec) * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

int ask(const QString &first, int count, const QByteArray &configuration)
{
    QStringList addresses;
    for (int i = 0; i < count; ++i)
        addresses += QHostAddress(QHostAddress(first).toIPv4Address() + quint32(i)).toString();
    HostNameSources sources;
    sources.resolverConfiguration = configuration;
    LinuxHostNames names(sources);

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Clock::duration> times;
    int domain = 0;
    bool done = false;
    const Clock::time_point start = Clock::now();
    std::shared_ptr<void> handle = names.lookUp(
        addresses,
        [&](const QString &, const QString &name) {
            const std::lock_guard lock(mutex);
            times.push_back(Clock::now() - start);
            domain += name.endsWith(QLatin1String(".dns")) ? 1 : 0;
        },
        [&] {
            const std::lock_guard lock(mutex);
            done = true;
            changed.notify_all();
        });
    {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, 5s, [&] { return done; });
    }
    const double end = std::chrono::duration<double>(Clock::now() - start).count();
    handle.reset();
    std::printf("%d hosts: %zu names, %d of them from DNS;", count, times.size(), domain);
    for (const auto moment : std::array{100ms, 500ms, 1000ms, 1500ms, 2000ms, 3000ms, 4000ms, 4100ms, 5000ms})
        std::printf(
            " %.1f s: %ld", double(moment.count()) / 1000, long(std::count_if(times.begin(), times.end(), [&](auto t) { return t <= moment; })));
    std::printf("; %s after %.2f s; %.3f s of processor\n", done ? "done" : "cut", end, processorSeconds());
    std::fflush(stdout);
    _exit(EXIT_SUCCESS); // as the programs do: the system's resolver may be stuck
}

} // namespace

int main(int argc, char **argv)
{
    const std::string_view command = argc > 1 ? argv[1] : "";
    if (command == "serve" && argc == 3)
        return serve(argv[2]);
    if (command == "ask" && argc == 5)
        return ask(QString::fromLatin1(argv[2]), std::atoi(argv[3]), argv[4]);
    std::fputs("usage: host_names_times serve mute|half|full\n       host_names_times ask FIRST COUNT RESOLV_CONF\n", stderr);
    return 2;
}
