#include "platform/linux/HostNameLookUp.h"

#include "platform/linux/HostName.h"
#include "platform/linux/HostsFile.h"

#include <QFile>
#include <QHostAddress>

#include <algorithm>
#include <system_error>
#include <utility>

#include <sys/epoll.h>

namespace lanterna
{

namespace
{

using namespace std::chrono_literals;

/// How often time-outs are looked after, and how finely questions are spread.
constexpr auto beat = 10ms;

/// All questions leave within this time: name servers of small routers and the queues in between lose what comes in one burst.
constexpr int beatsForAll = 80;

/// A small network is asked faster than that. A burst of so many is harmless to anything that resolves names.
constexpr qsizetype questionsAtOnce = 16;

/// Empty for a file that cannot be read.
QByteArray contents(const QByteArray &path)
{
    QFile file(QFile::decodeName(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

HostNameLookUp::HostNameLookUp(
    const HostNameSources &sources, std::shared_ptr<SystemNames> system, QList<quint32> addresses, HostNames::Found found, HostNames::Done done)
    : m_sources(sources), m_system(std::move(system)), m_addresses(std::move(addresses)), m_found(std::move(found)), m_done(std::move(done))
{
    try {
        m_thread = std::thread([this] { run(); });
    } catch (const std::system_error &) {
        // No thread to be had. `done` must not come from inside the call, and there is nobody else to bring it: the caller's deadline ends this.
    }
}

HostNameLookUp::~HostNameLookUp()
{
    m_stopped = true;
    m_inquiry->bell().ring();
    if (m_thread.joinable())
        m_thread.join();
}

void HostNameLookUp::run()
{
    Readiness readiness;
    readFiles();
    if (readiness.valid())
        race(readiness);
    m_system->drop(m_inquiry);
    if (!m_stopped)
        m_done();
}

void HostNameLookUp::readFiles()
{
    NameEvidence nothingYet;
    nothingYet.systemAsked = nothingYet.systemFinished = !namesMoreHostSources(contents(m_sources.nameServiceSwitch)); // it would say the same again
    for (const quint32 address : m_addresses)
        m_open.insert(address, nothingYet);
    const QHash<quint32, QString> names = hostsFileNames(contents(m_sources.hostsFile));
    for (const quint32 address : m_addresses) {
        const QString name = names.value(address);
        if (!name.isEmpty())
            settle(address, name);
    }
}

void HostNameLookUp::race(Readiness &readiness)
{
    readiness.watch(m_inquiry->bell().descriptor(), EPOLLIN, [this](uint32_t) { takeSystemAnswers(); });
    m_domain.emplace(readiness, m_sources.resolverConfiguration, m_sources.patience.server, [this](quint32 address, const QString &name) {
        learn(address, [&](NameEvidence &known) {
            known.domain = name;
            known.domainFinished = true;
        });
    });
    DeviceNames::Listener listener;
    listener.named = [this](quint32 address, const QString &name) { learn(address, [&](NameEvidence &known) { known.device = name; }); };
    listener.quiet = [this](quint32 address) { learn(address, [](NameEvidence &known) { known.deviceQuiet = true; }); };
    listener.finished = [this](quint32 address) { learn(address, [](NameEvidence &known) { known.deviceFinished = true; }); };
    m_devices.emplace(readiness, m_sources.devicePort, m_sources.patience.device, std::move(listener));

    Clock::time_point nextBeat = m_start;
    while (!m_stopped && !m_open.isEmpty() && sinceStart() < m_sources.patience.end) {
        const Clock::time_point now = Clock::now();
        if (now >= nextBeat) {
            nextBeat = now + beat;
            askMore(now);
            m_devices->timePassed(now);
            m_domain->timePassed();
            considerAllAtTurningPoints();
        }
        readiness.wait(beat);
    }
    m_devices.reset();
    m_domain.reset();
}

void HostNameLookUp::askMore(Clock::time_point now)
{
    const qsizetype atOnce = std::max(questionsAtOnce, m_addresses.size() / beatsForAll + 1);
    for (qsizetype i = 0; i < atOnce && m_asked < m_addresses.size() && m_domain->hasRoom(); ++i) {
        const quint32 address = m_addresses[m_asked++];
        if (!m_open.contains(address))
            continue; // the hosts file had it
        m_devices->ask(address, now); // first: DNS may answer inside the call, and ends this
        m_domain->ask(address);
    }
}

void HostNameLookUp::takeSystemAnswers()
{
    const QList<SystemInquiry::Answer> answers = m_inquiry->take();
    for (const SystemInquiry::Answer &answer : answers) {
        learn(answer.first, [&](NameEvidence &known) {
            known.system = hostName(answer.second);
            known.systemFinished = true;
        });
    }
}

void HostNameLookUp::considerAllAtTurningPoints()
{
    const std::chrono::milliseconds now = sinceStart();
    for (const std::chrono::milliseconds point : {m_sources.patience.domainOverdue, m_sources.patience.heldNames}) {
        if (m_considered >= point || now < point)
            continue;
        const QList<quint32> open = m_open.keys();
        for (const quint32 address : open)
            consider(address);
    }
    m_considered = now;
}

void HostNameLookUp::learn(quint32 address, const std::function<void(NameEvidence &known)> &edit)
{
    const auto known = m_open.find(address);
    if (known == m_open.end())
        return; // too late
    edit(*known);
    consider(address);
}

void HostNameLookUp::consider(quint32 address)
{
    NameEvidence &known = m_open[address];
    switch (nextNameStep(known, sinceStart(), m_sources.patience)) {
    case NameStep::wait:
        break;
    case NameStep::tell:
        settle(address, bestName(known));
        break;
    case NameStep::askSystem:
        known.systemAsked = true;
        m_system->ask(m_inquiry, address);
        break;
    case NameStep::giveUp:
        settle(address, {});
        break;
    }
}

void HostNameLookUp::settle(quint32 address, const QString &name)
{
    m_open.remove(address);
    m_inquiry->withdraw(address);
    if (m_devices)
        m_devices->forget(address);
    if (!name.isEmpty() && !m_stopped)
        m_found(QHostAddress(address).toString(), name);
}

std::chrono::milliseconds HostNameLookUp::sinceStart() const
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_start);
}

} // namespace lanterna
