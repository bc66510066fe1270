#pragma once

#include "platform/Dispatch.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

class QTcpServer;

namespace lanterna
{

/// What a request to the address of callbacks is worth. Pure, any thread.
struct LoopbackRequest {
    int status = 400; ///< for the answer; 200 for a callback
    QByteArray callback; ///< the whole address with its query; empty unless there is one
};

/// Reads a request's head, all up to and with the empty line. Only a browser's own GET of exactly this address ("http://127.0.0.1:8123/signed-in"), with
/// any query, is a callback; not what another page embeds or fetches.
LoopbackRequest readLoopbackRequest(const QByteArray &head, const QString &address);

/// A tiny web server on this machine to which a browser comes back after a sign-in, in place of a URL scheme.
///
/// Main thread only. It answers with short pages of fixed text: nothing of a request stands in them. What is in an address's fragment stays in the
/// browser, so a token that comes there cannot be had in this way; only the URL scheme brings it.
class LoopbackCallback
{
public:
    using Received = std::function<bool(const QByteArray &address)>;

    static constexpr std::chrono::seconds patience{5}; ///< for a request, and for the answer to be read

    explicit LoopbackCallback(Dispatch &dispatch);
    ~LoopbackCallback();
    LoopbackCallback(const LoopbackCallback &) = delete;
    LoopbackCallback &operator=(const LoopbackCallback &) = delete;

    /// Listens at an address that `isCallbackAddress` allows. `received` gets each callback and says whether it was of use. Why nothing can be heard,
    /// in one line; empty when all is well.
    [[nodiscard]] QString listen(const QString &address, Received received);
    /// Safe inside `received`, too; that answer still goes out.
    void close();

private:
    void accept();

    Dispatch &m_dispatch;
    QString m_address;
    std::unique_ptr<QTcpServer> m_server;
    std::shared_ptr<Received> m_received; // clients hold it weakly, since they go a little later than the server
};

} // namespace lanterna
