#include "platform/linux/AvahiNames.h"

#include <QHostAddress>

#include <avahi-common/domain.h>

#include <algorithm>

namespace lanterna
{

namespace
{

QByteArrayView withoutTrailingDot(QByteArrayView name)
{
    return name.endsWith('.') ? name.chopped(1) : name;
}

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// The byte that an escape stands for, and how long the escape is; `text` begins behind the backslash. None for an escape that is none.
std::optional<std::pair<char, qsizetype>> unescaped(QByteArrayView text)
{
    if (!text.isEmpty() && (text.front() == '.' || text.front() == '\\'))
        return std::pair(text.front(), qsizetype(1));
    if (text.size() < 3 || !isDigit(text[0]) || !isDigit(text[1]) || !isDigit(text[2]))
        return std::nullopt;
    const int value = (text[0] - '0') * 100 + (text[1] - '0') * 10 + (text[2] - '0');
    if (value == 0 || value > 255)
        return std::nullopt;
    return std::pair(char(value), qsizetype(3));
}

} // namespace

std::optional<QByteArray> nameForAvahi(const QString &name)
{
    const QByteArray bytes = name.toUtf8();
    if (bytes.contains('\0'))
        return std::nullopt;
    return withoutTrailingDot(bytes).toByteArray();
}

QString withTrailingDot(const QString &name)
{
    return name.endsWith(u'.') ? name : name + u'.';
}

bool isSameName(QByteArrayView first, QByteArrayView second)
{
    return withoutTrailingDot(first).compare(withoutTrailingDot(second), Qt::CaseInsensitive) == 0;
}

std::optional<QString> hostNameFromAvahi(QByteArrayView escaped)
{
    QByteArray plain;
    for (qsizetype at = 0; at < escaped.size();) {
        if (escaped[at] == '\0')
            return std::nullopt;
        if (escaped[at] != '\\') {
            plain.append(escaped[at++]);
            continue;
        }
        const auto byte = unescaped(escaped.sliced(at + 1));
        if (!byte)
            return std::nullopt;
        plain.append(byte->first);
        at += 1 + byte->second;
    }
    // Bytes that are no UTF-8 may grow when they are replaced, so the bound is looked at behind that.
    const QString name = withTrailingDot(QString::fromUtf8(plain));
    if (name.size() < 2 || name.toUtf8().size() > longestHostName + 1)
        return std::nullopt;
    return name;
}

std::optional<QString> hostAddressText(quint32 address)
{
    const quint32 first = address >> 24;
    // 224 to 239 is multicast, 240 to 255 reserved but for the broadcast address.
    if (first == 0 || first == 127 || first >= 224)
        return std::nullopt;
    return QHostAddress(address).toString();
}

QByteArray announcedHostLabel(QByteArrayView hostName)
{
    const qsizetype dot = hostName.indexOf('.');
    const QByteArray label = (dot < 0 ? hostName : hostName.first(dot)).toByteArray();
    const bool valid = std::all_of(label.begin(), label.end(), [](char c) {
        const char small = char(c | 0x20);
        return isDigit(c) || (small >= 'a' && small <= 'z') || c == '-' || c == '_';
    });
    return valid && !label.isEmpty() && label.size() <= longestServiceName && !isSameName(label, "localhost") ? label : QByteArray("lanterna");
}

bool isAnnounceable(const ServiceRegistration &service)
{
    const QByteArray name = service.name.toUtf8();
    const auto type = nameForAvahi(service.type);
    const auto domain = nameForAvahi(service.domain);
    return !name.contains('\0') && avahi_is_valid_service_name(name) && type && avahi_is_valid_service_type_strict(*type) && domain
        && (domain->isEmpty() || avahi_is_valid_domain_name(*domain));
}

QList<QByteArray> textEntries(const ServiceText &text)
{
    QList<QByteArray> entries;
    qsizetype size = 0;
    for (const auto &[key, value] : text.asKeyValueRange()) {
        const bool validKey = !key.isEmpty() && std::all_of(key.begin(), key.end(), [](char c) { return c >= ' ' && c <= '~' && c != '='; });
        const QByteArray entry = key + '=' + value;
        if (!validKey || entry.size() > longestTextEntry)
            continue;
        size += 1 + entry.size();
        if (size > longestText)
            break;
        entries.append(entry);
    }
    return entries;
}

bool ToldServices::add(quint64 search, const QString &name, unsigned interfaceIndex)
{
    auto &told = m_told[search];
    const auto key = std::pair(name, interfaceIndex);
    if (m_toldInPass >= mostServicesPerPass || told.size() >= mostServicesPerSearch || told.contains(key))
        return false;
    told.insert(key);
    ++m_toldInPass;
    return true;
}

} // namespace lanterna
