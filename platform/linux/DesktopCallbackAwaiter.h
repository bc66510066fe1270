#pragma once

#include "platform/CallbackAwaiter.h"
#include "platform/Dispatch.h"
#include "platform/linux/CallbackSocket.h"
#include "platform/linux/LoopbackCallback.h"
#include "platform/linux/URLSchemeHandler.h"

#include <memory>

namespace lanterna
{

/// Awaits a browser's return on this desktop: through `lanternactl cloud callback`, which the desktop starts for the URL scheme, or at an address on
/// this machine. In the second case nothing is registered with the desktop, but the command is listened to all the same, for a person who types it.
///
/// Main thread only; files and xdg-mime go to the pool. What it is made from outlives it. The registration stays when it ends, until somebody signs out.
class DesktopCallbackAwaiter : public CallbackAwaiter
{
public:
    /// `socketFolder` is usually `CallbackSocket::usualFolder`; `address` is empty, or the one on this machine.
    DesktopCallbackAwaiter(Dispatch &dispatch, const URLSchemeHandler &handler, const QString &socketFolder, const QString &address);

    void begin(const QString &scheme, Ready ready, Received received) override;
    void end() override;

private:
    Dispatch &m_dispatch;
    URLSchemeHandler m_handler;
    QString m_address;
    CallbackSocket m_socket;
    LoopbackCallback m_loopback;
    std::shared_ptr<char> m_waiting; // gone when it ended
};

} // namespace lanterna
