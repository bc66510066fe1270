// Makes passes of the service discovery, and announces services, for scripts that look at it from outside, one command per line on standard input:
//   pass SECONDS TIMEOUT TYPE...     searches for the types for so long, and resolves what it finds, each within TIMEOUT ms
//   resolve TIMEOUT TYPE NAME        asks for one service, which is not searched for before
//   watch TYPE                       searches in the background from now on
//   publish KEY PORT TYPE TEXT NAME  announces a service until "withdraw KEY"; TEXT is "-" or "key=value,key=value"
//   text KEY TEXT                    replaces its TXT record
//   withdraw KEY
//   leave                            as at the end of the program, which waits 300 ms at most
//   quit
// It prints one JSON object per line: {"event": "found", "name", "type", "interface", "at"}, {"event": "resolved", "name", "type", "host",
// "port", "addresses", "at"}, {"event": "unresolved", "name", "type", "at"}, {"event": "didNotSearch", "type", "at"} and at the end of a pass or resolution
// {"event": "end", "longestTurn"}. A watch prints {"event": "watched", "name", "interface"}, and leaving {"event": "left", "took"}.
// "at" is in ms since its beginning; "longestTurn" and "took" are how long the main thread did nothing else (at most), in ms.

#include "platform/linux/AvahiServiceDiscovery.h"
#include "platform/linux/QtDispatch.h"

#include "tests/support/CommandReader.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <map>
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
        const QString &verb = words.first();
        if (verb == u"pass") {
            begin();
            pass(words);
        } else if (verb == u"resolve") {
            begin();
            resolve({words.mid(3).join(u' '), words.value(2), QStringLiteral("local."), 0}, words.value(1).toInt(), true);
        } else if (verb == u"watch") {
            watch(words.value(1));
        } else if (verb == u"publish") {
            m_published[words.value(1)] =
                m_discovery.publish({words.mid(5).join(u' '), words.value(3), {}, words.value(2).toUShort(), text(words.value(4))});
        } else if (verb == u"text") {
            m_published.at(words.value(1))->setText(text(words.value(2)));
        } else if (verb == u"withdraw") {
            m_published.erase(words.value(1));
        } else if (verb == u"leave") {
            leave();
        } else {
            QCoreApplication::quit();
        }
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

    static ServiceText text(const QString &words)
    {
        ServiceText text;
        for (const QString &entry : words.split(u',')) {
            if (entry.contains(u'='))
                text.insert(entry.section(u'=', 0, 0).toUtf8(), entry.section(u'=', 1).toUtf8());
        }
        return text;
    }
    void watch(const QString &type)
    {
        m_watches.push_back(m_discovery.watchForServices(type, {}, [](const ServiceInstance &service) {
            say({{"event", "watched"}, {"name", service.name}, {"interface", int(service.interfaceIndex)}});
        }));
    }
    void leave()
    {
        m_clock.restart();
        m_discovery.leave(AvahiServiceDiscovery::leavingTime);
        say({{"event", "left"}, {"took", m_clock.elapsed()}});
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
                    line.insert("port", where->port);
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
    std::vector<std::shared_ptr<void>> m_watches;
    std::map<QString, std::unique_ptr<PublishedService>> m_published;
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
    const CommandReader reader([&](const QString &line) { probe.command(line); });
    return QCoreApplication::exec();
}
