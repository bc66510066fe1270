#include "cloud/RecordChecksum.h"

#include <zlib.h>

namespace lanterna
{

namespace
{

/// Takes parts in, each with its length before it, so that no two lists of parts look the same.
class Checksum
{
public:
    Checksum &add(const QByteArray &part)
    {
        addBytes(QByteArray::number(part.size()) + ':');
        addBytes(part);
        return *this;
    }
    [[nodiscard]] quint32 value() const { return quint32(m_value); }

private:
    void addBytes(const QByteArray &bytes) { m_value = ::crc32_z(m_value, reinterpret_cast<const Bytef *>(bytes.constData()), size_t(bytes.size())); }

    uLong m_value = 0;
};

} // namespace

quint32 checksumOf(const Record &record)
{
    Checksum sum;
    sum.add(record.recordName.toUtf8()).add(record.recordType.toUtf8()).add(record.changeTag.toUtf8());
    // In the order of the names' bytes, which readers in other languages sort by; Qt's own order is another one.
    QMap<QByteArray, QByteArray> texts;
    for (auto field = record.texts.begin(); field != record.texts.end(); ++field)
        texts.insert(field.key().toUtf8(), field.value().toUtf8());
    QMap<QByteArray, QByteArray> assets;
    for (auto field = record.assets.begin(); field != record.assets.end(); ++field)
        assets.insert(field.key().toUtf8(), field.value());
    for (auto field = texts.begin(); field != texts.end(); ++field)
        sum.add("text").add(field.key()).add(field.value());
    for (auto field = assets.begin(); field != assets.end(); ++field)
        sum.add("asset").add(field.key()).add(field.value());
    return sum.value();
}

} // namespace lanterna
