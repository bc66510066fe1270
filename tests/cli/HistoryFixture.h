#pragma once

#include "publish/HistorySummary.h"

#include <QTimeZone>

#include <cstdlib>
#include <ctime>

namespace lanterna
{

/// Another local time zone while it lives.
class LocalZone
{
public:
    explicit LocalZone(const char *zone) : m_before(qgetenv("TZ"))
    {
        qputenv("TZ", zone);
        tzset();
    }
    ~LocalZone()
    {
        if (m_before.isNull())
            qunsetenv("TZ");
        else
            qputenv("TZ", m_before);
        tzset();
    }
    LocalZone(const LocalZone &) = delete;
    LocalZone &operator=(const LocalZone &) = delete;

private:
    QByteArray m_before;
};

inline constexpr qint64 testMinute = 60'000;
inline constexpr qint64 testHour = 60 * testMinute;

/// A day of two devices: a phone that was away for half of the observed time and moved once, and an old device without a MAC or a name.
inline HistorySummary smallSummary()
{
    HistorySummary summary;
    summary.from = 1794700800000; // 2026-11-15 00:00 UTC
    summary.to = summary.from + 24 * testHour;
    summary.networks = {{{"Harbour", "192.168.1"}, summary.from, summary.from + 11 * testHour, 12 * testHour, {}}};
    HistoryDevice phone;
    phone.mac = "AA:00:00:00:00:01";
    phone.ip = "192.168.1.21";
    phone.name = "Anna's Phone";
    phone.type = "iPhone";
    phone.firstSeen = summary.from + testHour;
    phone.lastSeen = summary.from + 11 * testHour;
    phone.present = 6 * testHour;
    phone.isPresent = true;
    phone.addressChanges = 1;
    phone.addresses = {{phone.firstSeen, "192.168.1.20"}, {phone.firstSeen + testHour, "192.168.1.21"}};
    HistoryDevice old;
    old.ip = "192.168.1.90";
    old.firstSeen = summary.from;
    old.lastSeen = summary.from + 30 * testMinute;
    old.present = testMinute;
    old.addresses = {{old.firstSeen, "192.168.1.90"}};
    summary.devices = {phone, old};
    summary.events = {{summary.from + testHour, 0, true}, {summary.from + testHour, 1, false}};
    summary.lines = 48;
    return summary;
}

} // namespace lanterna
