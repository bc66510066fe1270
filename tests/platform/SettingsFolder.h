#pragma once

#include "platform/SettingsFormat.h"
#include "platform/SettingsStore.h"
#include "tests/fakes/FakeSystemLog.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lanterna
{

/// A settings folder of its own for each test, and the verbs of tests that look at its files.
class SettingsFolder : public testing::Test
{
protected:
    [[nodiscard]] QString folder() const { return m_folder.path() + QStringLiteral("/lanterna"); }
    [[nodiscard]] QString path(const QString &name) const { return folder() + u'/' + name; }
    [[nodiscard]] QString mainPath() const { return path(QStringLiteral("settings.json")); }

    std::unique_ptr<SettingsStore> open() { return std::make_unique<SettingsStore>(folder(), log); }

    [[nodiscard]] QByteArray contentOf(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    [[nodiscard]] QByteArray mainContent() const { return contentOf(QStringLiteral("settings.json")); }

    /// Writes a file as other programs do, in place.
    void writeFile(const QString &name, const QByteArray &content) const
    {
        QDir().mkpath(folder());
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_EQ(file.write(content), content.size());
    }
    void writeMain(const QByteArray &content) const { writeFile(QStringLiteral("settings.json"), content); }

    [[nodiscard]] QStringList files() const
    {
        return QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }
    [[nodiscard]] QStringList sideFiles() const
    {
        QStringList names = files();
        names.removeIf([](const QString &name) { return !isSideFileName(name); });
        return names;
    }
    [[nodiscard]] QStringList setAside() const { return files().filter(QStringLiteral(".damaged-")); }

    /// A dictionary that does not fit into settings.json; `number` tells one from another.
    static QVariantMap largeDictionary(qlonglong number, int devices = 150)
    {
        QVariantMap table = {{QStringLiteral("number"), number}};
        for (int device = 1; device <= devices; ++device)
            table.insert(QStringLiteral("192.168.%1.%2").arg(device / 250).arg(device % 250), QStringLiteral("00:11:32:00:77:%1").arg(device));
        return table;
    }

    /// Runs the steps in a process of its own and returns their result; -1 when the process was killed.
    static int inChild(const std::function<int()> &steps)
    {
        const pid_t child = ::fork();
        if (child == 0)
            ::_exit(steps());
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /// The same as a user whom permissions bind; the folder is made over to that user first.
    int asOrdinaryUser(const std::function<int()> &steps) const
    {
        constexpr uid_t nobody = 65534;
        if (::geteuid() == 0) {
            QStringList all = {m_folder.path(), folder()};
            for (const QString &name : files())
                all.append(path(name));
            for (const QString &each : all)
                (void)!::chown(QFile::encodeName(each).constData(), nobody, nobody);
        }
        return inChild([&] {
            if (::geteuid() == 0 && (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0))
                return -1;
            return steps();
        });
    }

    FakeSystemLog log;

private:
    QTemporaryDir m_folder;
};

} // namespace lanterna
