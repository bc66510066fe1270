#pragma once

#include "platform/Json.h"
#include "publish/SnapshotHistoryWriter.h"
#include "scan/NetworkSnapshot.h"
#include "tests/fakes/VirtualDispatch.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace lanterna
{

/// A history in a folder of its own, written in virtual time, which begins at 12:00 UTC on 1 March 2026.
class HistoryFixture : public testing::Test
{
protected:
    [[nodiscard]] QString folder() const { return m_temporary.path() + QStringLiteral("/group.Rangefinder/SnapshotHistory"); }
    [[nodiscard]] QString path(const QString &name) const { return folder() + u'/' + name; }
    [[nodiscard]] static QString fileOf(const char *day) { return QStringLiteral("snap-%1.jsonl").arg(QString::fromLatin1(day)); }

    /// A snapshot of one device, taken now. `network` tells one signature from another.
    [[nodiscard]] QVariantMap snapshot(const char *network = "a") const { return snapshotAt(now(), network); }
    [[nodiscard]] static QVariantMap snapshotAt(double seconds, const char *network = "a")
    {
        RGFCoreScanDevice device;
        device.ipAddress = QStringLiteral("192.168.1.10");
        QVariantMap made = networkSnapshot({device}, QStringLiteral("Harbour"), QStringLiteral("192.168.1"), {});
        made.insert(QStringLiteral("dateEpoch"), seconds);
        made.insert(QStringLiteral("macSig"), QString::fromLatin1(network));
        return made;
    }
    [[nodiscard]] double now() const { return double(dispatch.now().toMSecsSinceEpoch()) / 1000.0; }
    /// 12:00 UTC on a day.
    [[nodiscard]] static double noonOf(int year, int month, int day)
    {
        return double(QDateTime(QDate(year, month, day), QTime(12, 0), Qt::UTC).toSecsSinceEpoch());
    }

    /// Hands a snapshot over and lets the queue write.
    void record(const QVariantMap &snapshot)
    {
        writer->recordSnapshot(snapshot);
        dispatch.runReady();
    }
    /// Another launch of the program.
    void relaunch() { writer = std::make_unique<SnapshotHistoryWriter>(dispatch, folder()); }

    /// Makes a file that some run has left.
    void leave(const QString &name, const QByteArray &content = "{}\n") const
    {
        QDir().mkpath(folder());
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(content), content.size());
    }
    [[nodiscard]] QByteArray contentOf(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    [[nodiscard]] QStringList files() const
    {
        return QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }
    /// The signatures of a file's lines, joined by blanks; "?" for a line that is none.
    [[nodiscard]] QString linesOf(const char *day) const
    {
        QStringList signatures;
        QList<QByteArray> lines = contentOf(fileOf(day)).split('\n');
        EXPECT_TRUE(lines.takeLast().isEmpty()); // the last line has its end
        for (const QByteArray &line : std::as_const(lines))
            signatures.append(parseJson(line).value_or(QVariant()).toMap().value(QStringLiteral("macSig"), QStringLiteral("?")).toString());
        return signatures.join(u' ');
    }

    QTemporaryDir m_temporary;
    VirtualDispatch dispatch;
    std::unique_ptr<SnapshotHistoryWriter> writer = std::make_unique<SnapshotHistoryWriter>(dispatch, folder());
};

} // namespace lanterna
