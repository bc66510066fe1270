#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <memory>

namespace lanterna
{

/// The entries of a service's TXT record: keys of ASCII to any bytes. With their lengths and the sign between them, 1,300 bytes at most (RFC 6763, section 6.2).
using ServiceText = QMap<QByteArray, QByteArray>;

/// A service as it is announced.
struct ServiceRegistration {
    QString name; ///< what people read: 1 to 63 bytes of UTF-8, dots and blanks allowed
    QString type; ///< "_rgfscanmac._tcp", with or without a dot at the end
    QString domain; ///< "local."; empty for the system's default domains
    quint16 port = 0;
    ServiceText text; ///< empty for a service without entries

    bool operator==(const ServiceRegistration &) const = default;
};

/// A service that is announced for as long as this object lives. Main thread only.
class PublishedService
{
public:
    virtual ~PublishedService() = default;
    /// Replaces the TXT record, in place: whoever browses sees the service stay.
    virtual void setText(const ServiceText &text) = 0;
};

/// Announces services over multicast DNS, on all interfaces. Main thread only; calls return at once.
///
/// A service stays announced whatever becomes of the machine's mDNS daemon. When another host has the name already, the service gets another
/// ("name #2") and keeps it. A registration that cannot be announced, such as one with a longer name, is silently not announced.
class ServicePublishing
{
public:
    virtual ~ServicePublishing() = default;
    /// Never null.
    [[nodiscard]] virtual std::unique_ptr<PublishedService> publish(const ServiceRegistration &service) = 0;
};

} // namespace lanterna
