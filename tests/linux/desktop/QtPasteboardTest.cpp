#include "platform/linux/desktop/QtPasteboard.h"

#include "platform/linux/QtDispatch.h"
#include "tests/support/RunUntil.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include <sys/stat.h>

using namespace lanterna;

namespace
{

/// Sets a variable of the environment, and puts it back.
class Variable
{
public:
    Variable(const char *name, const QByteArray &value) : m_name(name), m_before(qgetenv(name)), m_had(qEnvironmentVariableIsSet(name))
    {
        qputenv(name, value);
    }
    ~Variable()
    {
        if (m_had)
            qputenv(m_name, m_before);
        else
            qunsetenv(m_name);
    }
    Variable(const Variable &) = delete;
    Variable &operator=(const Variable &) = delete;

private:
    const char *m_name;
    QByteArray m_before;
    bool m_had;
};

/// A Wayland session in which `wl-copy` is a script that writes down what it is given, and ends when the test says so.
class WaylandPasteboard : public testing::Test
{
protected:
    WaylandPasteboard()
    {
        QFile script(folder.filePath("wl-copy"));
        EXPECT_TRUE(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\n"
                     "cd \"${0%/*}\"\n"
                     "text=$(cat)\n"
                     "echo \"$*: $text\" >> runs\n"
                     "read -r status < gate\n"
                     "exit $status\n");
        script.close();
        EXPECT_TRUE(script.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
        EXPECT_EQ(mkfifo(qPrintable(folder.filePath("gate")), 0600), 0);
    }

    QStringList runs()
    {
        QFile file(folder.filePath("runs"));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts) : QStringList();
    }
    /// Ends the one script that runs.
    void end(int status)
    {
        QFile gate(folder.filePath("gate"));
        ASSERT_TRUE(gate.open(QIODevice::WriteOnly));
        gate.write(QByteArray::number(status) + '\n');
    }
    void copy(const QString &text)
    {
        pasteboard.setText(text, [this, text](bool copied) { answers.append(text + (copied ? ": copied" : ": not copied")); });
    }

    QTemporaryDir folder;
    const Variable display{"WAYLAND_DISPLAY", "wayland-of-a-test"};
    const Variable path{"PATH", folder.path().toUtf8() + ":/usr/bin:/bin"};
    QtDispatch dispatch;
    QtPasteboard pasteboard{dispatch};
    QStringList answers;
};

TEST_F(WaylandPasteboard, TextIsOfferedAsTextWhateverItLooksLike)
{
    copy("GIF89a");
    ASSERT_TRUE(runUntil([&] { return runs().size() == 1; }));
    EXPECT_EQ(runs(), QStringList{"--type text/plain: GIF89a"});
    end(0);
    ASSERT_TRUE(runUntil([&] { return !answers.isEmpty(); }));
    EXPECT_EQ(answers, QStringList{"GIF89a: copied"});
}

TEST_F(WaylandPasteboard, EmptyTextClears)
{
    copy("");
    ASSERT_TRUE(runUntil([&] { return runs().size() == 1; }));
    EXPECT_EQ(runs(), QStringList{"--clear: "});
    end(0);
    ASSERT_TRUE(runUntil([&] { return !answers.isEmpty(); }));
}

TEST_F(WaylandPasteboard, LaterTextWaitsForTheOneUnderWay)
{
    copy("first");
    copy("second");
    ASSERT_TRUE(runUntil([&] { return runs().size() == 1; }));
    EXPECT_EQ(runs(), QStringList{"--type text/plain: first"});
    end(0);
    ASSERT_TRUE(runUntil([&] { return runs().size() == 2; }));
    EXPECT_EQ(answers, QStringList{"first: copied"});
    end(0);
    ASSERT_TRUE(runUntil([&] { return answers.size() == 2; }));
    EXPECT_EQ(runs().last(), "--type text/plain: second");
    EXPECT_EQ(answers.last(), "second: copied");
}

TEST_F(WaylandPasteboard, OfSeveralTextsThatWaitTheLatestIsCopied)
{
    copy("first");
    copy("second");
    copy("third");
    ASSERT_TRUE(runUntil([&] { return !answers.isEmpty(); }));
    EXPECT_EQ(answers, QStringList{"second: not copied"});
    ASSERT_TRUE(runUntil([&] { return runs().size() == 1; }));
    end(1);
    ASSERT_TRUE(runUntil([&] { return runs().size() == 2; }));
    end(0);
    ASSERT_TRUE(runUntil([&] { return answers.size() == 3; }));
    EXPECT_EQ(runs(), (QStringList{"--type text/plain: first", "--type text/plain: third"}));
    EXPECT_EQ(answers, (QStringList{"second: not copied", "first: not copied", "third: copied"}));
}

TEST_F(WaylandPasteboard, CommandThatIsNotThereIsAnsweredAndTheNextTextGetsItsTurn)
{
    ASSERT_TRUE(QFile::rename(folder.filePath("wl-copy"), folder.filePath("away")));
    const Variable nothing("PATH", folder.path().toUtf8());
    copy("first");
    copy("second");
    ASSERT_TRUE(runUntil([&] { return answers.size() == 2; }));
    EXPECT_EQ(answers, (QStringList{"first: not copied", "second: not copied"}));
}

} // namespace
