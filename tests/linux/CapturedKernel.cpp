#include "tests/linux/CapturedKernel.h"

#include "platform/linux/Netlink.h"

#include <QDir>
#include <QFile>

#include <cerrno>

namespace lanterna
{

namespace
{

const QString folder = QStringLiteral(TEST_DATA "/nl80211");

/// What identifies a request: the bus, and the bytes without sequence number and port id.
QByteArray keyOf(const QByteArray &bus, QByteArray request)
{
    return bus + ' ' + request.replace(8, 8, QByteArray(8, '\0')).toHex();
}

CapturedKernel::Reference parseReference(const QString &line)
{
    CapturedKernel::Reference reference;
    for (const QString &field : line.split(u' '))
        reference[field.section(u'=', 0, 0)] = field.section(u'=', 1);
    return reference;
}

} // namespace

CapturedKernel::CapturedKernel(const QString &file)
{
    QFile recording(folder + u'/' + file);
    if (!recording.open(QIODevice::ReadOnly))
        qFatal("no such recording: %s", qPrintable(recording.fileName()));
    QByteArray key;
    for (const QByteArray &line : recording.readAll().split('\n')) {
        const QList<QByteArray> words = line.split(' ');
        if (line.startsWith("# ref: if="))
            m_references.append(parseReference(QString::fromUtf8(line.mid(7))));
        else if (words[0] == ">")
            key = keyOf(words[1], QByteArray::fromHex(words[2]));
        else if (words[0] == "<" && !words[1].endsWith("-event"))
            m_answers[key] += QByteArray::fromHex(words[2]);
    }
}

NetlinkAnswer CapturedKernel::exchange(NetlinkBus bus, const QByteArray &request)
{
    const auto answer = m_answers.constFind(keyOf(bus == NetlinkBus::route ? "route" : "genl", request));
    if (answer == m_answers.constEnd()) {
        m_unknownRequests.append(QString::fromLatin1(request.toHex()));
        return {{}, ENODATA};
    }
    return {*answer, answerError(*answer)};
}

QStringList CapturedKernel::files()
{
    return QDir(folder).entryList({QStringLiteral("*.txt")}, QDir::Files, QDir::Name);
}

} // namespace lanterna
