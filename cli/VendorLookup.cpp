#include "cli/VendorLookup.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <optional>

namespace lanterna
{

namespace
{

/// Longer records are no lines of a list: bounds what one quotation mark without a partner can swallow. The longest real one has some 250 bytes.
constexpr qsizetype longestRecord = 4096;
/// Larger files are no lists either; the largest real one has 3 MB.
constexpr qint64 largestFile = 64LL * 1024 * 1024;

/// Digits of the prefixes that are assigned, the longest first.
constexpr std::array<qsizetype, 3> prefixDigits = {9, 7, 6};

/// Reads one record, field by field.
class RecordReader
{
public:
    explicit RecordReader(QByteArrayView text) : m_text(text) { }

    [[nodiscard]] bool atEnd() const { return m_at >= m_text.size() || m_text[m_at] == '\n'; }
    [[nodiscard]] qsizetype position() const { return m_at; }

    /// The field here as it stands; moves behind its comma or onto the line end. Nothing when it is no field.
    std::optional<QByteArrayView> take()
    {
        const qsizetype start = m_at;
        if (m_at < m_text.size() && m_text[m_at] == '"') {
            if (!skipQuoted())
                return std::nullopt;
        } else {
            while (!atEnd() && m_text[m_at] != ',')
                ++m_at;
        }
        const QByteArrayView field = m_text.sliced(start, m_at - start);
        if (!atEnd())
            ++m_at;
        return field;
    }

private:
    bool skipQuoted()
    {
        for (++m_at;; m_at += 2) {
            const qsizetype quote = m_text.indexOf('"', m_at);
            if (quote < 0)
                return false;
            m_at = quote;
            if (quote + 1 >= m_text.size() || m_text[quote + 1] != '"')
                break;
        }
        ++m_at;
        if (m_at < m_text.size() && m_text[m_at] == '\r')
            ++m_at;
        return atEnd() || m_text[m_at] == ',';
    }

    QByteArrayView m_text;
    qsizetype m_at = 0;
};

/// The block that a record assigns, with key 0 when it assigns none, and the bytes that it takes; a length of 0 stands for no record.
struct Parsed {
    VendorBlock block;
    qsizetype length = 0;
};

Parsed parseRecord(QByteArrayView text)
{
    RecordReader reader(text);
    VendorBlock block;
    for (int column = 0; !reader.atEnd(); ++column) {
        const std::optional<QByteArrayView> field = reader.take();
        if (!field)
            return {};
        if (column == 1)
            block.key = vendorKey(*field);
        if (column == 2)
            block.name = *field;
    }
    if (block.name.trimmed().isEmpty())
        block.key = 0;
    return {block, reader.position() + 1};
}

/// Value of a hexadecimal digit, -1 for another character.
int digitValue(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    const int letter = character | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

/// The twelve digits of "00:11:32:00:77:14", empty for anything else.
QByteArray macDigits(const QString &macAddress)
{
    const QByteArray text = macAddress.toLatin1();
    QByteArray digits;
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (at % 3 == 2 ? text[at] != ':' : digitValue(text[at]) < 0)
            return {};
        if (at % 3 != 2)
            digits.append(text[at]);
    }
    return text.size() == 17 ? digits : QByteArray();
}

bool byKey(const VendorBlock &a, const VendorBlock &b)
{
    return a.key < b.key;
}

} // namespace

quint64 vendorKey(QByteArrayView digits)
{
    if (std::find(prefixDigits.begin(), prefixDigits.end(), digits.size()) == prefixDigits.end())
        return 0;
    quint64 prefix = 0;
    for (const char digit : digits) {
        const int value = digitValue(digit);
        if (value < 0)
            return 0;
        prefix = prefix << 4U | static_cast<quint64>(value);
    }
    // The number of digits stands above the digits, so that prefixes of different lengths never meet.
    return static_cast<quint64>(digits.size()) << 36U | prefix;
}

QString vendorName(QByteArrayView field)
{
    QByteArray name = field.trimmed().toByteArray();
    if (name.size() >= 2 && name.startsWith('"'))
        name = name.sliced(1, name.size() - 2).replace("\"\"", "\"");
    return QString::fromUtf8(name).simplified();
}

std::vector<VendorBlock> parseVendorList(QByteArrayView text)
{
    std::vector<VendorBlock> blocks;
    for (qsizetype at = 0; at < text.size();) {
        const QByteArrayView rest = text.sliced(at);
        const Parsed record = parseRecord(rest.first(std::min(rest.size(), longestRecord)));
        if (record.length == 0 || record.length > longestRecord) {
            const qsizetype lineEnd = rest.indexOf('\n');
            at = lineEnd < 0 ? text.size() : at + lineEnd + 1;
            continue;
        }
        if (record.block.key != 0)
            blocks.push_back(record.block);
        at += record.length;
    }
    return blocks;
}

void VendorLookup::read() const
{
    for (const char *name : {"oui.csv", "mam.csv", "oui36.csv", "iab.csv"}) {
        QFile file(m_folder + QLatin1Char('/') + QLatin1String(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        m_lists.append(file.read(largestFile));
        const std::vector<VendorBlock> blocks = parseVendorList(m_lists.last());
        m_blocks.insert(m_blocks.end(), blocks.begin(), blocks.end());
    }
    std::stable_sort(m_blocks.begin(), m_blocks.end(), byKey);
    m_read = true;
}

QString VendorLookup::vendor(const QString &macAddress) const
{
    const QByteArray digits = macDigits(macAddress);
    if (digits.isEmpty() || digits.count('0') == digits.size())
        return {};
    const uint firstOctet = digits.first(2).toUInt(nullptr, 16);
    if ((firstOctet & 1U) != 0)
        return {};
    if ((firstOctet & 2U) != 0)
        return QStringLiteral("private");
    if (!m_read)
        read();
    for (const qsizetype length : prefixDigits) {
        const VendorBlock wanted{vendorKey(QByteArrayView(digits).first(length)), {}};
        const auto block = std::lower_bound(m_blocks.cbegin(), m_blocks.cend(), wanted, byKey);
        if (block != m_blocks.cend() && block->key == wanted.key)
            return vendorName(block->name);
    }
    return {};
}

} // namespace lanterna
