#pragma once

#include "publish/HistoryDay.h"

#include <QByteArray>
#include <QDateTime>

namespace lanterna
{

// Lines of the history for tests, and the days that are read from them.

/// The day of the tests, and its beginning in milliseconds since 1970.
inline const QDate testDay(2026, 11, 15);
inline qint64 testMidnight(QDate day = testDay)
{
    return day.startOfDay(Qt::UTC).toMSecsSinceEpoch();
}

/// A moment of the test day.
inline qint64 at(int hour, int minute, int second = 0)
{
    return testMidnight() + ((hour * 60 + minute) * 60 + second) * 1000LL;
}

inline QByteArray deviceText(const QByteArray &mac, const QByteArray &ip, const QByteArray &name = {}, const QByteArray &more = {})
{
    return R"({"mac":")" + mac + R"(","ip":")" + ip + R"(","name":")" + name + R"(")" + more + "}";
}

inline QByteArray lineText(qint64 time, const QList<QByteArray> &devices, const QByteArray &ssid = "Harbour", const QByteArray &subnet = "192.168.1",
    const QByteArray &version = "1")
{
    return R"({"devices":[)" + devices.join(',') + R"(],"macSig":"1","src":"LTN","ssid":")" + ssid + R"(","subnet":")" + subnet + R"(","ts":)"
        + QByteArray::number(static_cast<double>(time) / 1000, 'f', 3) + R"(,"v":)" + version + "}\n";
}

} // namespace lanterna
