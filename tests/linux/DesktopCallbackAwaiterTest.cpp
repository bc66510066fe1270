#include "platform/linux/DesktopCallbackAwaiter.h"

#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/RunUntil.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <future>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

/// Sets the default as xdg-mime does, or nothing.
class PlayedXdgMime : public ChildProcesses
{
public:
    explicit PlayedXdgMime(QString list) : m_list(std::move(list)) { }
    void run(const QStringList &command) override
    {
        QFile file(m_list);
        if (works && file.open(QIODevice::WriteOnly))
            file.write("[Default Applications]\n" + command.value(3).toLatin1() + '=' + command.value(2).toLatin1() + '\n');
    }
    void start(const QStringList &) override { }
    bool works = true;

private:
    QString m_list;
};

class DesktopCallbackAwaiterTest : public testing::Test
{
protected:
    void begin(const QString &address = {})
    {
        awaiter = std::make_unique<DesktopCallbackAwaiter>(dispatch,
            URLSchemeHandler(programs, {"/usr/bin/lanternactl", folder.filePath("applications"), folder.path()}), folder.filePath("run"), address);
        ready.reset();
        awaiter->begin(
            "cloudkit-icloud.a", [this](const QString &problem) { ready = problem; }, [](const QByteArray &) { return true; });
        EXPECT_FALSE(ready);
        dispatch.runReady();
    }
    [[nodiscard]] bool hasSocket() const { return QFile::exists(folder.filePath("run/sign-in")); }
    [[nodiscard]] bool hasEntry() const { return QFile::exists(folder.filePath("applications/lanterna-sign-in.desktop")); }

    QTemporaryDir folder;
    VirtualDispatch dispatch;
    PlayedXdgMime programs{folder.filePath("mimeapps.list")};
    std::unique_ptr<DesktopCallbackAwaiter> awaiter;
    std::optional<QString> ready;
};

} // namespace

TEST_F(DesktopCallbackAwaiterTest, SchemeIsRegisteredAndTheSocketIsThereUntilTheEnd)
{
    begin();
    EXPECT_EQ(ready.value_or("?"), "");
    EXPECT_TRUE(hasSocket() && hasEntry());
    awaiter->end();
    EXPECT_FALSE(hasSocket());
    EXPECT_TRUE(hasEntry()) << "until somebody signs out";
}

TEST_F(DesktopCallbackAwaiterTest, AddressOnThisMachineNeedsNoRegistration)
{
    begin("http://127.0.0.1:1/");
    EXPECT_EQ(ready.value_or("?"), "the setting cloudKitCallback holds no such address");
    quint16 port = 20'000;
    for (begin(QString("http://127.0.0.1:%1/").arg(port)); ready.value_or("?") != "" && port < 20'100;
         begin(QString("http://127.0.0.1:%1/").arg(port)))
        ++port; // taken
    EXPECT_EQ(ready.value_or("?"), "");
    EXPECT_TRUE(hasSocket()) << "for a person who types the command";
    EXPECT_FALSE(hasEntry());
}

TEST_F(DesktopCallbackAwaiterTest, RegistrationThatFailsIsSaid)
{
    programs.works = false;
    begin();
    EXPECT_EQ(ready.value_or("?"), "xdg-mime could not make Lanterna the program for cloudkit-icloud.a addresses");
}

TEST_F(DesktopCallbackAwaiterTest, NothingIsHeardBeforeTheRegistrationIsDone)
{
    awaiter = std::make_unique<DesktopCallbackAwaiter>(dispatch,
        URLSchemeHandler(programs, {"/usr/bin/lanternactl", folder.filePath("applications"), folder.path()}), folder.filePath("run"), QString());
    int heard = 0;
    awaiter->begin(
        "cloudkit-icloud.a", [this](const QString &problem) { ready = problem; }, [&](const QByteArray &) { return ++heard > 0; });
    const auto handOver = [&] {
        auto done =
            std::async(std::launch::async, [&] { return CallbackSocket::handOver(folder.filePath("run"), "cloudkit-icloud.a:?ckSession=x"); });
        EXPECT_TRUE(runUntil([&] { return done.wait_for(0s) == std::future_status::ready; }));
        return done.get();
    };
    EXPECT_FALSE(handOver().isEmpty());
    EXPECT_EQ(heard, 0);
    dispatch.runReady();
    EXPECT_TRUE(ready);
    EXPECT_EQ(handOver(), "");
    EXPECT_EQ(heard, 1);
}

TEST_F(DesktopCallbackAwaiterTest, SecondAttemptHearsThatAnotherIsUnderWay)
{
    begin();
    DesktopCallbackAwaiter second(dispatch, URLSchemeHandler(programs, {"/usr/bin/lanternactl", folder.filePath("applications"), folder.path()}),
        folder.filePath("run"), "http://127.0.0.1:1/");
    QString problem;
    second.begin(
        "cloudkit-icloud.a", [&](const QString &said) { problem = said; }, [](const QByteArray &) { return true; });
    dispatch.runReady();
    EXPECT_TRUE(problem.contains("under way")) << problem.toStdString();
}

TEST_F(DesktopCallbackAwaiterTest, NothingIsSaidAfterTheEnd)
{
    awaiter = std::make_unique<DesktopCallbackAwaiter>(dispatch,
        URLSchemeHandler(programs, {"/usr/bin/lanternactl", folder.filePath("applications"), folder.path()}), folder.filePath("run"), QString());
    awaiter->begin(
        "cloudkit-icloud.a", [this](const QString &problem) { ready = problem; }, [](const QByteArray &) { return true; });
    awaiter->end();
    dispatch.runReady();
    EXPECT_FALSE(ready);
    EXPECT_FALSE(hasSocket());
}
