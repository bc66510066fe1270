#pragma once

#include "platform/Dispatch.h"
#include "platform/linux/Descriptor.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

class QLocalServer;

namespace lanterna
{

/// A socket in the person's runtime folder through which another program of theirs hands over one address.
///
/// Main thread only. There while it listens, and no longer; one program at a time listens, and what a killed one left behind is replaced. The folder
/// is the person's alone (0700), so is the socket (0600), and who connects has to be the same person.
class CallbackSocket
{
public:
    using Received = std::function<bool(const QByteArray &address)>;

    /// Who connects has to have said everything by then.
    static constexpr std::chrono::seconds patience{5};

    CallbackSocket(Dispatch &dispatch, QString folder);
    ~CallbackSocket();
    CallbackSocket(const CallbackSocket &) = delete;
    CallbackSocket &operator=(const CallbackSocket &) = delete;

    /// `received` gets each address, 32 KiB at most, and says whether it was of use. Why nobody can connect, in one line; empty when all is well.
    [[nodiscard]] QString listen(Received received);
    /// Safe inside `received`, too.
    void close();

    /// `$XDG_RUNTIME_DIR/lanterna`; empty without one.
    static QString usualFolder();
    /// Hands an address to the program that listens in this folder. Blocks for some seconds at most. Why it went nowhere, in one line without the
    /// address; empty when it was of use.
    [[nodiscard]] static QString handOver(const QString &folder, const QByteArray &address);

private:
    [[nodiscard]] QString lockFolder();
    void accept();

    Dispatch &m_dispatch;
    QString m_folder;
    Descriptor m_lock; // of the folder
    std::unique_ptr<QLocalServer> m_server;
    std::shared_ptr<Received> m_received; // clients hold it weakly, since they go a little later than the server
};

} // namespace lanterna
