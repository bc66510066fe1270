// What a process of Qt Gui, DBus and Network costs before it does anything: stands beside the program in program_bench.py.
//
// Prints "ready" from the event loop. With a URL it then fetches that once and prints "fetched", whatever came of it.

#include <QDBusConnection>
#include <QGuiApplication>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <cstdio>

namespace
{

void say(const char *word)
{
    std::puts(word);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    const QDBusConnection bus = QDBusConnection::sessionBus();
    QNetworkAccessManager network;
    QMetaObject::invokeMethod(
        &network,
        [&] {
            say(bus.isConnected() ? "ready" : "no bus");
            if (argc < 2)
                return;
            auto *reply = network.get(QNetworkRequest(QUrl(QString::fromLocal8Bit(argv[1]))));
            QObject::connect(reply, &QNetworkReply::finished, reply, [reply] {
                reply->deleteLater();
                say("fetched");
            });
        },
        Qt::QueuedConnection);
    return QGuiApplication::exec();
}
