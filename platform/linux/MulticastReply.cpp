#include "platform/linux/MulticastReply.h"

#include "platform/linux/HostName.h"

#include <QtEndian>

#include <algorithm>

namespace lanterna
{

namespace
{

constexpr quint16 typePointer = 12; // PTR, RFC 1035
constexpr quint16 classInternet = 1;
/// The top bit of the class: "answer me directly" in a question, "forget older answers" in an answer (RFC 6762, 18.12 and 18.13).
constexpr quint16 classTopBit = 0x8000;

/// A reply (QR) to an ordinary question (opcode) without an error (rcode); the other flags say nothing here.
constexpr quint16 judgedFlags = 0xF80F;
constexpr quint16 positiveReply = 0x8000;

/// No honest name is spread over more pieces; every jump goes backwards, so this bounds the work and not the correctness.
constexpr int maximumJumps = 16;

/// Records in one reply. A host has a few names; a packet of tiny records is an attempt to keep us busy.
constexpr int maximumRecords = 256;

/// Walks over a packet. After the first fault it gives nothing any more.
class Reader
{
public:
    explicit Reader(QByteArrayView packet) : m_packet(packet) { }

    [[nodiscard]] bool good() const { return m_good; }
    quint16 number16()
    {
        const QByteArrayView bytes = take(2);
        return bytes.isEmpty() ? quint16(0) : qFromBigEndian<quint16>(bytes.data());
    }
    void skip(qsizetype count) { take(count); }
    void refuse() { m_good = false; }
    [[nodiscard]] qsizetype position() const { return m_position; }
    /// A name from here on, with dots between the labels; the position is then behind its first piece.
    QByteArray name();

private:
    QByteArrayView take(qsizetype count)
    {
        m_good = m_good && count <= m_packet.size() - m_position;
        if (!m_good || count == 0)
            return {};
        const QByteArrayView taken = m_packet.sliced(m_position, count);
        m_position += count;
        return taken;
    }
    quint8 byte()
    {
        const QByteArrayView taken = take(1);
        return taken.isEmpty() ? quint8(0) : quint8(taken.front());
    }

    QByteArrayView m_packet;
    qsizetype m_position = 0;
    bool m_good = true;
};

QByteArray Reader::name()
{
    QByteArray text;
    qsizetype pieceStart = m_position; // the next jump must go before it
    qsizetype after = -1; // where the reading goes on once the name is complete
    qsizetype wireBytes = 1; // the closing zero
    for (int jumps = 0; m_good;) {
        const quint8 length = byte();
        if (length >= 0xC0) {
            const qsizetype target = (qsizetype(length & 0x3F) << 8) | byte();
            after = after < 0 ? m_position : after;
            m_good = m_good && target < pieceStart && ++jumps <= maximumJumps;
            m_position = pieceStart = m_good ? target : m_position;
            continue;
        }
        wireBytes += length > 0 ? length + 1 : 0;
        m_good = m_good && length <= 63 && wireBytes <= maximumHostNameBytes;
        if (length == 0 || !m_good)
            break;
        if (!text.isEmpty())
            text += '.';
        text += take(length);
    }
    m_position = after < 0 ? m_position : after;
    return m_good ? text : QByteArray();
}

bool isInternet(quint16 recordClass)
{
    return (recordClass & ~classTopBit) == classInternet;
}

void readQuestion(Reader &reader, MulticastReply &reply)
{
    const QByteArray asked = reader.name().toLower();
    const quint16 type = reader.number16();
    const quint16 recordClass = reader.number16();
    // A question of another kind is kept as one that matches nobody.
    reply.questions += type == typePointer && isInternet(recordClass) ? asked : QByteArray();
}

void readAnswer(Reader &reader, MulticastReply &reply)
{
    const QByteArray owner = reader.name().toLower();
    const quint16 type = reader.number16();
    const quint16 recordClass = reader.number16();
    reader.skip(4); // the time to live: the name is asked for anew at each pass
    const quint16 length = reader.number16();
    if (type != typePointer || !isInternet(recordClass)) {
        reader.skip(length);
        return;
    }
    const qsizetype dataStart = reader.position();
    const QString name = hostName(reader.name());
    if (reader.position() - dataStart != length)
        reader.refuse(); // the record lies about its length
    if (reader.good() && !name.isEmpty())
        reply.pointers += {owner, name};
}

} // namespace

QString MulticastReply::nameFor(const QByteArray &owner, quint16 expectedId) const
{
    if (id != expectedId || (!questions.isEmpty() && !questions.contains(owner)))
        return {};
    const auto record = std::find_if(pointers.begin(), pointers.end(), [&](const PointerRecord &each) { return each.owner == owner; });
    return record == pointers.end() ? QString() : record->name;
}

QByteArray reverseName(quint32 address)
{
    QByteArray name;
    for (int shift = 0; shift < 32; shift += 8)
        name += QByteArray::number((address >> shift) & 0xFF) + '.';
    return name + "in-addr.arpa";
}

QByteArray multicastQuestion(const QList<quint32> &addresses, quint16 id)
{
    QByteArray packet(12, '\0');
    qToBigEndian(id, packet.data());
    qToBigEndian(quint16(addresses.size()), packet.data() + 4);
    for (const quint32 address : addresses) {
        const QList<QByteArray> labels = reverseName(address).split('.');
        for (const QByteArray &label : labels)
            packet += char(label.size()) + label;
        packet += QByteArray(5, '\0'); // the end of the name, type and class
        qToBigEndian(typePointer, packet.data() + packet.size() - 4);
        qToBigEndian(quint16(classInternet | classTopBit), packet.data() + packet.size() - 2);
    }
    return packet;
}

std::optional<MulticastReply> parseMulticastReply(QByteArrayView bytes)
{
    Reader reader(bytes);
    MulticastReply reply;
    reply.id = reader.number16();
    const quint16 flags = reader.number16();
    const int questions = reader.number16();
    const int answers = reader.number16();
    reader.skip(4); // the counts of what follows the answers
    if (!reader.good() || (flags & judgedFlags) != positiveReply || questions + answers > maximumRecords)
        return std::nullopt;
    for (int i = 0; i < questions && reader.good(); ++i)
        readQuestion(reader, reply);
    for (int i = 0; i < answers && reader.good(); ++i)
        readAnswer(reader, reply);
    return reader.good() ? std::optional(reply) : std::nullopt;
}

} // namespace lanterna
