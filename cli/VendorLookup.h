#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <utility>
#include <vector>

namespace lanterna
{

/// One assignment of a block of MAC addresses, as an entry of the lists of Debian's package ieee-data.
struct VendorBlock {
    quint64 key = 0; ///< the block's prefix, see `vendorKey`
    QByteArrayView name; ///< organisation as it stands in the list, which it looks into; `vendorName` makes it readable
};

/// Number that stands for a prefix of 6, 7 or 9 hexadecimal digits (24, 28 or 36 bits); 0 for anything else.
quint64 vendorKey(QByteArrayView digits);

/// The text of a field as it stands in a list: without its quotation marks, white space made single.
QString vendorName(QByteArrayView field);

/// Reads a list: comma-separated values (RFC 4180), an assignment's prefix in the second column and the organisation in the third. A record that is
/// no such line is skipped, and reading goes on with the line that follows its first.
std::vector<VendorBlock> parseVendorList(QByteArrayView text);

/// Finds out who made a network interface, by its MAC address; for people to read, nothing depends on it. One owner.
class VendorLookup
{
public:
    /// Looks into the lists in this folder; reads them once, when first asked.
    explicit VendorLookup(QString folder = QStringLiteral("/usr/share/ieee-data")) : m_folder(std::move(folder)) { }

    /// The organisation whose block holds an address ("00:11:32:00:77:14"), the longest prefix counting. "private" for locally administered
    /// addresses, which belong to nobody. Empty when the list is missing or does not know it, for group addresses, for the address of zeros, and
    /// for what is no MAC address.
    [[nodiscard]] QString vendor(const QString &macAddress) const;

private:
    void read() const;

    const QString m_folder;
    mutable bool m_read = false;
    mutable QList<QByteArray> m_lists; // what the blocks look into
    mutable std::vector<VendorBlock> m_blocks; // sorted by key, equal ones in the order of the lists
};

} // namespace lanterna
