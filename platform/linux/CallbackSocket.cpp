#include "platform/linux/CallbackSocket.h"

#include "platform/CallbackAwaiter.h"

#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

constexpr int mostClients = 8;
constexpr char taken = '1';
constexpr char refused = '0';

QString socketPath(const QString &folder)
{
    return folder + QStringLiteral("/sign-in");
}

QString systemProblem(const QString &what)
{
    return QStringLiteral("%1: %2").arg(what, QString::fromLocal8Bit(std::strerror(errno)));
}

/// Whether the other end belongs to the same person.
bool isOurs(qintptr socket)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    return ::getsockopt(int(socket), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == ::getuid();
}

/// A listening socket at this path, in a folder in which nobody else listens; none with the reason in errno.
Descriptor listeningAt(const QByteArray &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= qsizetype(sizeof address.sun_path)) {
        errno = ENAMETOOLONG;
        return {};
    }
    std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    ::unlink(path.constData()); // of a program that was killed
    constexpr mode_t ownersOnly = 0600;
    const bool listens = socket && ::fchmod(socket.get(), ownersOnly) == 0 // so that it never has another mode
        && ::bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 && ::listen(socket.get(), mostClients) == 0;
    if (!listens)
        socket.reset();
    return socket;
}

/// Takes the one line that a client says, and answers with one character.
void readFrom(QLocalSocket &client, const std::weak_ptr<CallbackSocket::Received> &whoever)
{
    const QByteArray said = client.peek(CallbackAwaiter::longestAddress + 1);
    const qsizetype end = said.indexOf('\n');
    if (end < 0 && said.size() <= CallbackAwaiter::longestAddress)
        return;
    QObject::disconnect(&client, &QLocalSocket::readyRead, nullptr, nullptr);
    const auto received = whoever.lock(); // held, since it may end the listening
    client.putChar(end >= 0 && received && (*received)(said.first(end)) ? taken : refused);
    client.flush();
    client.disconnectFromServer();
}

} // namespace

CallbackSocket::CallbackSocket(Dispatch &dispatch, QString folder) : m_dispatch(dispatch), m_folder(std::move(folder)) { }

CallbackSocket::~CallbackSocket()
{
    close();
}

QString CallbackSocket::usualFolder()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return runtime.startsWith(u'/') ? runtime + QStringLiteral("/lanterna") : QString();
}

/// Makes the folder ours alone, and keeps other programs from listening in it for as long as the lock is held.
QString CallbackSocket::lockFolder()
{
    constexpr mode_t ownersOnly = 0700;
    constexpr mode_t everybody = 0777;
    if (m_folder.isEmpty())
        return QStringLiteral("XDG_RUNTIME_DIR is not set");
    const QByteArray path = QFile::encodeName(m_folder);
    ::mkdir(path.constData(), ownersOnly);
    Descriptor folder(::open(path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat about = {};
    if (!folder || ::fstat(folder.get(), &about) != 0)
        return systemProblem(m_folder);
    if (about.st_uid != ::getuid())
        return QStringLiteral("%1 belongs to somebody else").arg(m_folder);
    if ((about.st_mode & everybody) != ownersOnly && ::fchmod(folder.get(), ownersOnly) != 0)
        return systemProblem(m_folder);
    if (::flock(folder.get(), LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK ? QStringLiteral("another sign-in is under way") : systemProblem(m_folder);
    m_lock = std::move(folder);
    return {};
}

QString CallbackSocket::listen(Received received)
{
    close();
    if (const QString problem = lockFolder(); !problem.isEmpty())
        return problem;
    const QString path = socketPath(m_folder);
    Descriptor socket = listeningAt(QFile::encodeName(path));
    const int number = socket ? ::fcntl(socket.get(), F_DUPFD_CLOEXEC, 0) : -1; // which the server will close
    if (number < 0) {
        const QString problem = systemProblem(path);
        close();
        return problem;
    }
    m_server = std::make_unique<QLocalServer>();
    QObject::connect(m_server.get(), &QLocalServer::newConnection, m_server.get(), [this] { accept(); });
    m_received = std::make_shared<Received>(std::move(received));
    if (!m_server->listen(qintptr(number))) {
        const QString problem = m_server->errorString();
        ::close(number);
        close();
        return problem;
    }
    return {};
}

void CallbackSocket::close()
{
    m_received.reset();
    if (m_server) {
        m_server->disconnect();
        m_server->close();
        ::unlink(QFile::encodeName(socketPath(m_folder)).constData());
        m_server.release()->deleteLater(); // it may be one of its clients that led here
    }
    m_lock.reset();
}

void CallbackSocket::accept()
{
    while (QLocalSocket *client = m_server->nextPendingConnection()) {
        if (!isOurs(client->socketDescriptor()) || m_server->findChildren<QLocalSocket *>().size() > mostClients) {
            client->abort();
            client->deleteLater();
            continue;
        }
        client->setReadBufferSize(CallbackAwaiter::longestAddress + 1);
        QObject::connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
        QObject::connect(client, &QLocalSocket::readyRead, client, [client, received = std::weak_ptr(m_received)] { readFrom(*client, received); });
        m_dispatch.mainAfter(patience, [client = QPointer(client)] {
            if (client)
                client->abort();
        });
    }
}

QString CallbackSocket::handOver(const QString &folder, const QByteArray &address)
{
    constexpr int milliseconds = std::chrono::milliseconds(patience).count();
    if (address.size() > CallbackAwaiter::longestAddress || address.contains('\n'))
        return QStringLiteral("that is no address that is waited for");
    QLocalSocket socket;
    if (!folder.isEmpty())
        socket.connectToServer(socketPath(folder));
    if (folder.isEmpty() || !socket.waitForConnected(milliseconds) || !isOurs(socket.socketDescriptor()))
        return QStringLiteral("no sign-in waits for an address; 'lanternactl cloud sign-in' begins one");
    socket.write(address + '\n');
    char answer = 0;
    if (!socket.waitForReadyRead(milliseconds) || !socket.getChar(&answer))
        return QStringLiteral("the sign-in that waits did not answer");
    return answer == taken ? QString() : QStringLiteral("that is no address that is waited for");
}

} // namespace lanterna
