#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

namespace lanterna
{

/// Hears the address with which a browser comes back from a page at which the person signed in. Main thread only.
///
/// Such an address holds a secret: it goes to nobody but `Received`, and into no log line. Anybody can send one, so whoever hears it has to check it.
class CallbackAwaiter
{
public:
    /// Gets why nothing can be heard, in one line; empty when it can from now on.
    using Ready = std::function<void(const QString &problem)>;
    /// Gets the address as it came, 32 KiB at most; says whether it was of use.
    using Received = std::function<bool(const QByteArray &address)>;

    static constexpr qsizetype longestAddress = 32 * 1024;

    virtual ~CallbackAwaiter() = default;
    /// Begins to listen for addresses of this scheme ("cloudkit-icloud.org.example.name"). `ready` is called once, never inside the call, and
    /// `received` for each address after that; neither after `end`.
    virtual void begin(const QString &scheme, Ready ready, Received received) = 0;
    /// Ends it; what listened is gone. Safe at any time, also inside `received`, and a second time.
    virtual void end() = 0;
};

} // namespace lanterna
