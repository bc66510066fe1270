// Makes passes of the service discovery for scripts that look at it from outside, one command per line on standard input:
//   pass SECONDS TIMEOUT TYPE...     searches for the types for so long, and resolves what it finds, each within TIMEOUT ms
//   resolve TIMEOUT TYPE NAME        asks for one service, which is not searched for before
//   quit
// It prints one JSON object per line: {"event": "found", "name", "type", "interface", "at"}, {"event": "resolved", "name", "type", "host",
// "addresses", "at"}, {"event": "unresolved", "name", "type", "at"}, {"event": "didNotSearch", "type", "at"} and at the end of a pass or resolution
// {"event": "end", "longestTurn"}. "at" is in ms since its beginning; "longestTurn" is how long the main thread did nothing else at most, in ms.

#include "platform/linux/AvahiServiceDiscovery.h"
#include "platform/linux/QtDispatch.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSocketNotifier>

#include <algorithm>
#include <cstdio>
#include <unistd.h>
#include <vector>

using namespace lanterna;

namespace
{

constexpr std::chrono::milliseconds beat{5};

void say(const QJsonObject &line)
{
    std::puts(QJsonDocument(line).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

class Probe
{
public:
    void command(const QString &line)
    {
        const QStringList words = line.split(u' ');
        begin();
        if (words.value(0) == u"pass")
            pass(words);
        else if (words.value(0) == u"resolve")
            resolve({words.mid(3).join(u' '), words.value(2), QStringLiteral("local."), 0}, words.value(1).toInt(), true);
        else
            QCoreApplication::quit();
    }

private:
    void begin()
    {
        m_clock.restart();
        m_longestTurn = 0;
        m_lastBeat = 0;
        m_beat = m_dispatch.performEvery(beat, [this] { takeTurn(); });
    }
    void takeTurn()
    {
        const qint64 now = m_clock.elapsed();
        m_longestTurn = std::max(m_longestTurn, now - m_lastBeat);
        m_lastBeat = now;
    }
    void end()
    {
        takeTurn();
        m_handles.clear();
        m_beat.cancel();
        say({{"event", "end"}, {"longestTurn", m_longestTurn}});
    }

    void pass(const QStringList &words)
    {
        const int timeout = words.value(2).toInt();
        for (const QString &type : words.mid(3)) {
            m_handles.push_back(m_discovery.searchForServices(
                type, QStringLiteral("local."),
                [this, timeout](const ServiceInstance &service) {
                    say({{"event", "found"}, {"name", service.name}, {"type", service.type}, {"domain", service.domain},
                        {"interface", int(service.interfaceIndex)}, {"at", m_clock.elapsed()}});
                    resolve(service, timeout, false);
                },
                [this, type] {
                    say({{"event", "didNotSearch"}, {"type", type}, {"at", m_clock.elapsed()}});
                }));
        }
        m_end = m_dispatch.performAfter(std::chrono::milliseconds(int(words.value(1).toDouble() * 1000)), [this] { end(); });
    }

    void resolve(const ServiceInstance &service, int timeout, bool alone)
    {
        m_handles.push_back(
            m_discovery.resolve(service, std::chrono::milliseconds(timeout), [this, service, alone](const std::optional<ResolvedService> &where) {
                QJsonObject line{
                    {"event", where ? "resolved" : "unresolved"}, {"name", service.name}, {"type", service.type}, {"at", m_clock.elapsed()}};
                if (where) {
                    line.insert("host", where->hostName);
                    line.insert("addresses", QJsonArray::fromStringList(where->addresses));
                }
                say(line);
                if (alone)
                    end();
            }));
    }

    QtDispatch m_dispatch;
    AvahiServiceDiscovery m_discovery{m_dispatch};
    std::vector<std::shared_ptr<void>> m_handles;
    QElapsedTimer m_clock;
    qint64 m_lastBeat = 0;
    qint64 m_longestTurn = 0;
    TimerHandle m_beat;
    TimerHandle m_end;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    Probe probe;
    QByteArray input;
    QSocketNotifier reader(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&reader, &QSocketNotifier::activated, &reader, [&] {
        char buffer[4096];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count <= 0) {
            reader.setEnabled(false);
            QCoreApplication::quit();
            return;
        }
        input.append(buffer, count);
        for (qsizetype end = input.indexOf('\n'); end >= 0; end = input.indexOf('\n')) {
            probe.command(QString::fromUtf8(input.left(end)));
            input.remove(0, end + 1);
        }
    });
    return QCoreApplication::exec();
}
