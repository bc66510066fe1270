// A process that keeps and reads secrets, for tests and for people who look into a keyring.
//
//   secrets_probe FOLDER PATIENCE [read NAME | write NAME SECRET | remove NAME]...
//
// FOLDER is that of the file; the keyring may take PATIENCE milliseconds for a call. Prints a line for each call in order, then the lines of the log.

#include "platform/linux/DesktopSecretStore.h"
#include "platform/linux/QtDispatch.h"
#include "tests/fakes/FakeSystemLog.h"

#include <QCoreApplication>

#include <cstdio>

using namespace lanterna;

namespace
{

void print(const QString &line)
{
    std::puts(line.toUtf8().constData());
    std::fflush(stdout);
}

/// Prints what came of a call; ends the program after the last one.
SecretStore::Completion printing(const QString &call, int &left)
{
    return [call, &left](const SecretResult &result) {
        if (!result.error.isEmpty())
            print(call + QStringLiteral(": error: ") + result.error);
        else if (call.startsWith(QLatin1String("read")))
            print(call + QStringLiteral(": ") + (result.secret.isNull() ? QStringLiteral("none") : u'"' + result.secret + u'"'));
        else
            print(call + QStringLiteral(": done"));
        if (--left == 0)
            QCoreApplication::quit();
    };
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QStringList words = QCoreApplication::arguments();
    if (words.size() < 3)
        return 2;
    const QString folder = words.at(1);
    const std::chrono::milliseconds patience(words.at(2).toInt());
    words = words.mid(3);
    FakeSystemLog log;
    int left = 0;
    {
        QtDispatch dispatch;
        DesktopSecretStore store(QDBusConnection::sessionBus(), dispatch, folder, log, patience);
        while (words.size() >= 2) {
            const QString verb = words.takeFirst();
            const QString name = words.takeFirst();
            SecretStore::Completion completion = printing(verb + u' ' + name, left);
            ++left;
            if (verb == QLatin1String("read"))
                store.read(name, std::move(completion));
            else
                store.write(name, verb == QLatin1String("write") && !words.isEmpty() ? words.takeFirst() : QString(), std::move(completion));
        }
        if (left > 0)
            QCoreApplication::exec();
    }
    for (const QString &line : log.lines())
        print(QStringLiteral("log: ") + line);
    return 0;
}
