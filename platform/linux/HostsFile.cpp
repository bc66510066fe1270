#include "platform/linux/HostsFile.h"

#include "platform/linux/HostName.h"

#include <QByteArray>
#include <QtEndian>

#include <arpa/inet.h>

namespace lanterna
{

QHash<quint32, QString> hostsFileNames(QByteArrayView text)
{
    QHash<quint32, QString> names;
    const QList<QByteArray> lines = QByteArray::fromRawData(text.data(), text.size()).split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> words = line.first(line.indexOf('#') < 0 ? line.size() : line.indexOf('#')).simplified().split(' ');
        in_addr address = {};
        if (words.size() < 2 || inet_pton(AF_INET, words[0].constData(), &address) != 1)
            continue;
        const QString name = hostName(words[1]);
        const quint32 key = qFromBigEndian<quint32>(address.s_addr);
        if (!name.isEmpty() && !names.contains(key))
            names.insert(key, name);
    }
    return names;
}

bool namesMoreHostSources(QByteArrayView nameServiceSwitch)
{
    for (const QByteArray &line : nameServiceSwitch.toByteArray().split('\n')) {
        const QByteArray text = line.split('#').constFirst().simplified();
        if (!text.startsWith("hosts:"))
            continue;
        bool action = false; // inside "[NOTFOUND=return]", which may hold blanks
        for (const QByteArray &word : text.mid(6).split(' ')) {
            action = action || word.startsWith('[');
            if (!action && !word.isEmpty() && word != "files" && word != "dns")
                return true;
            action = action && !word.endsWith(']');
        }
    }
    return false;
}

} // namespace lanterna
