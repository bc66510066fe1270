#pragma once

#include "tests/support/Children.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <cerrno>
#include <cstring>

#include <sched.h>
#include <sys/mount.h>

namespace lanterna
{

/// A disk of a few kilobytes in memory, in the place of a folder. Only the process that makes it sees it, and it goes with that process.
///
/// Needs root, or a kernel that lets everyone make user namespaces.
class SmallDisk
{
public:
    /// Result of a child that could not get its disk.
    static constexpr int noDisk = 77;

    /// Runs the steps in a process of its own that has such a disk on the folder. Where there can be none the test is skipped; under CI=true that is a
    /// failure. To be the last call of a test.
    static void with(const QString &folder, int kilobytes, const std::function<void(SmallDisk &)> &steps)
    {
        const int result = inChild([&] {
            SmallDisk disk(folder);
            if (!ownMounts() || !disk.mount(0, kilobytes))
                return noDisk;
            steps(disk);
            return 0;
        });
        if (result == noDisk && qEnvironmentVariable("CI") != QLatin1String("true"))
            GTEST_SKIP() << "no mounts of its own";
        EXPECT_EQ(result, 0);
    }

    /// Takes all the space that is left, and gives it back.
    void fill() const
    {
        QFile file(fillerPath());
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered));
        for (const qint64 size : {4096, 1}) {
            while (file.write(QByteArray(size, 'x')) == size) { }
        }
    }
    void empty() const { EXPECT_TRUE(QFile::remove(fillerPath())); }

    /// Lets nobody write, not even root; and lets them again.
    void makeReadOnly() { EXPECT_TRUE(mount(MS_REMOUNT | MS_RDONLY, 0)) << std::strerror(errno); }
    void makeWritable() { EXPECT_TRUE(mount(MS_REMOUNT, 0)) << std::strerror(errno); }

private:
    explicit SmallDisk(const QString &folder) : m_folder(folder) { }

    [[nodiscard]] QString fillerPath() const { return m_folder + QStringLiteral("/filler"); }

    static bool ownMounts()
    {
        const bool asRoot = ::geteuid() == 0 && ::unshare(CLONE_NEWNS) == 0;
        return (asRoot || enterUserNamespace()) && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    }

    /// Both namespaces in one step. The user stays who it is: a user who is not mapped can make no files.
    static bool enterUserNamespace()
    {
        const QByteArray user = QByteArray::number(::geteuid());
        const QByteArray group = QByteArray::number(::getegid());
        return ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeFile("/proc/self/setgroups", "deny")
            && writeFile("/proc/self/uid_map", user + ' ' + user + " 1") && writeFile("/proc/self/gid_map", group + ' ' + group + " 1");
    }

    static bool writeFile(const char *path, const QByteArray &text)
    {
        QFile file(QString::fromLatin1(path));
        return file.open(QIODevice::WriteOnly | QIODevice::ExistingOnly | QIODevice::Unbuffered) && file.write(text) == text.size();
    }

    [[nodiscard]] bool mount(unsigned long flags, int kilobytes) const
    {
        const QByteArray options = kilobytes > 0 ? QByteArray("mode=0777,size=") + QByteArray::number(kilobytes) + 'k' : QByteArray();
        return ::mount("tmpfs", QFile::encodeName(m_folder).constData(), "tmpfs", flags, options.isEmpty() ? nullptr : options.constData()) == 0;
    }

    QString m_folder;
};

} // namespace lanterna
