// The strict CloudKit server of the tests as a process of its own, on ports of the loopback, one command per line on standard input:
//   sign-in            the owner signs in: a session of its own
//   put NAME BASE64    another device stores a record of that name, with this document
//   get NAME
//   count              what was asked so far, and what no client may do
// It prints one JSON object per line: first {"baseURL", "container", "environment", "apiToken"}, then for each command in order {"session"}, {},
// {"document"} (Base64; null without such a record) or {"requests", "complaints", "mostInFlight"}. It ends with its input.

#include "tests/cloud/FakeCloudKitServer.h"
#include "tests/support/CommandReader.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

using namespace lanterna;

namespace
{

const QString documentField = QStringLiteral("dictAsset");

void say(const QJsonObject &line)
{
    std::puts(QJsonDocument(line).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

void put(FakeCloudKitServer &server, const QString &name, const QByteArray &document)
{
    FakeCloudKitServer::Stored stored;
    stored.recordType = QStringLiteral("UserDictionary");
    stored.fields = {{"dictName", QVariantMap{{"value", "currentCustomizationsDict"}, {"type", "STRING"}}}};
    stored.assets = {{documentField, document}};
    server.put(name, stored);
}

QJsonValue documentOf(const FakeCloudKitServer &server, const QString &name)
{
    const auto record = server.records.constFind(name);
    if (record == server.records.cend())
        return {};
    return QString::fromLatin1(record->assets.value(documentField).toBase64());
}

void carryOut(FakeCloudKitServer &server, const QString &line)
{
    const QStringList words = line.split(u' ');
    const QString &verb = words.first();
    if (verb == u"sign-in") {
        say({{"session", server.signIn()}});
    } else if (verb == u"put") {
        put(server, words.value(1), QByteArray::fromBase64(words.value(2).toLatin1()));
        say({});
    } else if (verb == u"get") {
        say({{"document", documentOf(server, words.value(1))}});
    } else if (verb == u"count") {
        say({{"requests", server.asked.size()}, {"complaints", QJsonArray::fromStringList(server.complaints)},
            {"mostInFlight", server.mostInFlight}});
    } else {
        QCoreApplication::exit(2);
    }
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    FakeCloudKitServer server;
    const CloudKitConfiguration configuration = server.configuration();
    say({{"baseURL", configuration.baseURL}, {"container", configuration.container}, {"environment", configuration.environment},
        {"apiToken", configuration.apiToken}});
    const CommandReader reader([&](const QString &line) { carryOut(server, line); });
    return QCoreApplication::exec();
}
