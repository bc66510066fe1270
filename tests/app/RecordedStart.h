#pragma once

#include "tests/app/ControllerFixture.h"
#include "tests/app/RecordingDispatch.h"

namespace lanterna
{

/// A start that is written down, one line for each thing that it does to the machine, in order.
///
/// That the controller hears a notification shows only when one is posted, and that changes what follows. So `postAt` names the number of a line at
/// which every notification is posted and the record ends: `heard` then holds those that did something. `hearing` is what many such starts found out,
/// by the number of the line before which it became true; it is written down with the rest.
class RecordedStart : public ControllerFixture
{
public:
    using Hearing = QMap<int, QStringList>;

    /// `earlier` are settings of an earlier run; without them this is the first.
    explicit RecordedStart(Hearing hearing = {}, int postAt = -1, const QVariantMap &earlier = {}) : m_hearing(std::move(hearing)), m_postAt(postAt)
    {
        presenceOf({QStringLiteral("eth0: 192.168.1.20")}, true);
        for (const QString &key : earlier.keys())
            settings.setValue(key, earlier.value(key));
        set("iCloud_MAC_Sync", false);
        set("currentWiFiName", QStringLiteral("Harbour"));
        set("currentDisplayedWiFiName", QStringLiteral("Harbour"));
        replies[QStringLiteral("http://lan.example/lanterna.txt")].body = "http://lan.example/ip||[||]";
        kernel.add(QStringLiteral("eth0"), QStringLiteral("192.168.1.20"));
        settings.setChangeObserver(
            [this](const QString &key, bool) { note((settings.contains(key) ? QStringLiteral("store ") : QStringLiteral("remove ")) + key); });
        m_resolved = notifications.observe(
            localhostAddressesResolvedNotification, [this](const Notification &) { note(QStringLiteral("post LocalhostAdressesResolved")); });
        controller = std::make_unique<NewMenuItem>(recordedPorts(), features());
    }
    ~RecordedStart() override
    {
        settings.setChangeObserver({});
        controller.reset(); // uses what is declared here
    }
    RecordedStart(const RecordedStart &) = delete;
    RecordedStart &operator=(const RecordedStart &) = delete;

    void awake() { controller->awakeFromNib(); }
    void finishLaunching() { controller->applicationWillFinishLaunching(0); }
    /// Runs what the start handed over, until the configuration's reply has come.
    void untilTheFirstLookup() { dispatch.advance(downloadTime); }
    /// Moves time to this moment after the start, and writes down nothing but each timer's first run: when, which, and the first thing it does.
    void recordFirings(std::chrono::seconds moment)
    {
        m_firingsOnly = true;
        dispatch.advance(moment - dispatch.steadyNow());
    }

    /// The lines so far.
    [[nodiscard]] const QStringList &lines() const { return m_lines; }
    /// How many things were written down, without what was only looked for.
    [[nodiscard]] int count() const { return m_count; }
    [[nodiscard]] const QStringList &heard() const { return m_heard; }

    /// Finds out by many starts at which line of `awake` the controller begins to hear each notification.
    static Hearing findHearing()
    {
        Hearing hearing;
        QStringList known;
        RecordedStart whole;
        whole.awake();
        for (int line = 0; line < whole.count(); ++line) {
            RecordedStart posting({}, line);
            posting.awake();
            for (const QString &name : posting.heard()) {
                if (!known.contains(name))
                    hearing[line].append(name);
            }
            known = posting.heard();
        }
        return hearing;
    }

    void TestBody() override { } // not a test, but the machine of one

protected:
    void called(const char *name) override
    {
        ControllerFixture::called(name);
        note(QStringLiteral("call ") + QString::fromLatin1(name));
    }

private:
    // What stands at the ports and writes down what comes through them
    class Log : public SystemLog
    {
    public:
        explicit Log(RecordedStart &start) : m_start(start) { }
        void writeLine(const QString &line) override
        {
            FakeSystemLog::refuseSecret(line);
            m_start.note(QStringLiteral("log ") + line);
        }

    private:
        RecordedStart &m_start;
    };

    class Events : public FakeSystemEvents
    {
    public:
        explicit Events(RecordedStart &start) : m_start(start) { }
        void start(std::function<void()> changed, std::function<void()> woke) override
        {
            m_start.note(QStringLiteral("watch network and sleep"));
            FakeSystemEvents::start(std::move(changed), std::move(woke));
        }

    private:
        RecordedStart &m_start;
    };

    class Item : public FakeStatusItem
    {
    public:
        explicit Item(RecordedStart &start) : m_start(start) { }
        void start(StatusItem::Events given) override
        {
            m_start.note(QStringLiteral("start the item"));
            FakeStatusItem::start(std::move(given));
        }
        void setContent(const StatusItemContent &shown) override
        {
            m_start.note(QStringLiteral("show ") + (shown.image == StatusImage::none ? shown.title : QStringLiteral("an image")));
            FakeStatusItem::setContent(shown);
        }
        void setMenu(const Menu &shown) override
        {
            m_start.note(QStringLiteral("show the menu"));
            FakeStatusItem::setMenu(shown);
        }

    private:
        RecordedStart &m_start;
    };

    class Publishing : public FakeServicePublishing
    {
    public:
        explicit Publishing(RecordedStart &start) : m_start(start) { }
        [[nodiscard]] std::unique_ptr<PublishedService> publish(const ServiceRegistration &service) override
        {
            m_start.note(QStringLiteral("announce ") + service.name);
            return FakeServicePublishing::publish(service);
        }

    private:
        RecordedStart &m_start;
    };

    class Browsing : public FakeLAN
    {
    public:
        explicit Browsing(RecordedStart &start) : FakeLAN(start.dispatch), m_start(start) { }
        [[nodiscard]] std::shared_ptr<void> watchForServices(const QString &ofType, const QString &inDomain, DidFindService found) override
        {
            m_start.note(QStringLiteral("watch for ") + ofType);
            return FakeLAN::watchForServices(ofType, inDomain, std::move(found));
        }

    private:
        RecordedStart &m_start;
    };

    Ports recordedPorts()
    {
        const Ports plain = ports();
        return {m_dispatch, settings, notifications, m_log, kernel, m_events, m_item, alerts, pasteboard, workspace, m_publishing, m_browsing,
            macTables,
            [this, hostName = plain.hostName] {
                note(QStringLiteral("ask for the host name"));
                return hostName();
            },
            [this, fullUserName = plain.fullUserName] {
                note(QStringLiteral("ask for the user's name"));
                return fullUserName();
            },
            [this, download = plain.download](const QString &url, const HttpFetch::Completion &completion) {
                note(QStringLiteral("download ") + url);
                download(url, completion);
            },
            {}};
    }

    void note(const QString &line)
    {
        ++m_effects;
        if (m_ended)
            return;
        if (m_firingsOnly) {
            if (!m_firing.isEmpty())
                m_lines.append(std::exchange(m_firing, {}) + QStringLiteral(": ") + line);
            return;
        }
        if (m_count == m_postAt) {
            m_ended = true;
            postEverything();
            return;
        }
        noteState(m_gathering, QStringLiteral("(addresses are being gathered)"), controller->summary().contains(QLatin1String("gathering")));
        noteState(m_filled, QStringLiteral("(pop-ups are filled)"), !controller->legacyPreferences().lan_or_wan.items.isEmpty());
        m_lines += m_hearing.value(m_count++);
        m_lines.append(line);
    }

    void noteState(bool &known, const QString &line, bool state)
    {
        if (state && !std::exchange(known, true))
            m_lines.append(line);
    }

    /// Whatever a handler does is written down or handed over, so that it shows.
    void postEverything()
    {
        for (const QString &name : {locationAuthorizationChangedNotification, localhostAddressesResolvedNotification, macAddressesEditedNotification,
                 preferencesChangedNotification, updateMenubarDataNotification, triggerImmediateScanNotification}) {
            const int own = name == localhostAddressesResolvedNotification ? 1 : 0; // the observer of this record
            const int before = m_effects;
            notifications.post(name);
            if (m_effects > before + own)
                m_heard.append(QStringLiteral("hears ") + name);
        }
    }

    void noteOrFire(const QString &line, bool fires)
    {
        if (!fires)
            note(line);
        else
            m_firing = QStringLiteral("%1 ms, %2").arg(std::chrono::duration_cast<std::chrono::milliseconds>(dispatch.steadyNow()).count()).arg(line);
    }

    RecordingDispatch m_dispatch{dispatch, [this](const QString &line, bool fires) { noteOrFire(line, fires); }};
    Log m_log{*this};
    Events m_events{*this};
    Item m_item{*this};
    Publishing m_publishing{*this};
    Browsing m_browsing{*this};
    NotificationCenter::Observation m_resolved;
    Hearing m_hearing;
    QStringList m_lines;
    QStringList m_heard;
    QString m_firing; // the timer whose first run has begun and done nothing yet
    int m_postAt;
    int m_count = 0;
    int m_effects = 0; // all that was done, written down or not
    bool m_ended = false;
    bool m_firingsOnly = false;
    bool m_gathering = false;
    bool m_filled = false;
};

} // namespace lanterna
