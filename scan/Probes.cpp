#include "scan/Probes.h"

#include <QtEndian>

namespace lanterna
{

quint16 internetChecksum(QByteArrayView bytes)
{
    quint32 sum = 0;
    for (qsizetype index = 0; index < bytes.size(); ++index) {
        const auto byte = quint8(bytes[index]);
        sum += index % 2 == 0 ? quint32(byte) << 8 : byte;
        sum = (sum & 0xffff) + (sum >> 16);
    }
    return quint16(~sum);
}

QByteArray echoRequest(quint16 identifier)
{
    QByteArray message(8, '\0');
    message[0] = 8;
    qToBigEndian(identifier, message.data() + 4);
    qToBigEndian(quint16(1), message.data() + 6);
    qToBigEndian(internetChecksum(message), message.data() + 2);
    return message;
}

} // namespace lanterna
