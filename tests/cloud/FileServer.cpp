#include "tests/cloud/FileServer.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

constexpr uid_t nobody = 65534; // Apache does not serve as root
constexpr auto patience = std::chrono::seconds(20);

const QString lighttpd = QStringLiteral("/usr/sbin/lighttpd");
const QString lighttpdModule = QStringLiteral("/usr/lib/lighttpd/mod_webdav.so");
const QString apache = QStringLiteral("/usr/sbin/apache2");
const QString apacheModules = QStringLiteral("/usr/lib/apache2/modules/");

sockaddr_in loopback(quint16 port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/// A port that nobody listens at now.
quint16 freePort()
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof(address);
    if (::bind(descriptor, reinterpret_cast<sockaddr *>(&address), size) == 0)
        ::getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &size);
    ::close(descriptor);
    return ntohs(address.sin_port);
}

/// A connection to the port; -1 without one.
int connectTo(quint16 port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    if (::connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0)
        return descriptor;
    ::close(descriptor);
    return -1;
}

bool write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray lighttpdConfiguration(const QByteArray &folder, quint16 port, bool withLocks)
{
    return "server.modules = (\"mod_auth\", \"mod_authn_file\", \"mod_webdav\")\n"
           "server.document-root = \""
        + folder + "/files\"\nserver.errorlog = \"" + folder + "/error.log\"\nserver.upload-dirs = (\"" + folder + "/run\")\n"
        + "server.bind = \"127.0.0.1\"\nserver.port = " + QByteArray::number(port) + "\nwebdav.activate = \"enable\"\n"
        + (withLocks ? "webdav.sqlite-db-name = \"" + folder + "/run/locks.db\"\n" : QByteArray())
        + "mimetype.assign = (\"\" => \"application/octet-stream\")\n" // without a type it gives no tags
        + "auth.backend = \"plain\"\nauth.backend.plain.userfile = \"" + folder + "/users\"\n"
        + "auth.require = (\"\" => (\"method\" => \"basic\", \"realm\" => \"files\", \"require\" => \"valid-user\"))\n";
}

QByteArray apacheConfiguration(const QByteArray &folder, quint16 port, bool withLocks)
{
    QByteArray result = "ServerRoot " + folder + "\nServerName 127.0.0.1\nListen 127.0.0.1:" + QByteArray::number(port) + "\nPidFile " + folder
        + "/run/pid\nDefaultRuntimeDir " + folder + "/run\nErrorLog " + folder + "/error.log\nDocumentRoot " + folder + "/files\n";
    for (const char *module : {"mpm_event", "authn_core", "authn_file", "authz_core", "authz_user", "auth_basic", "dav", "dav_fs"})
        result += QByteArray("LoadModule ") + module + "_module " + apacheModules.toUtf8() + "mod_" + module + ".so\n";
    result += "StartServers 1\nServerLimit 1\nThreadsPerChild 8\nMaxRequestWorkers 8\nMinSpareThreads 1\nMaxSpareThreads 8\n";
    const QByteArray locks =
        withLocks ? "<Limit LOCK UNLOCK>\nRequire valid-user\n</Limit>\n" : "<Limit LOCK UNLOCK>\nRequire all denied\n</Limit>\n";
    return result + "DavLockDB " + folder + "/run/locks\n<Directory " + folder + "/files>\nDav On\nAuthType Basic\nAuthName files\nAuthUserFile "
        + folder + "/users\n<LimitExcept LOCK UNLOCK>\nRequire valid-user\n</LimitExcept>\n" + locks + "</Directory>\n";
}

} // namespace

FileServer::FileServer(Kind kind) : m_kind(kind)
{
    const QString program = isApache() ? apache : lighttpd;
    const QString module = isApache() ? apacheModules + "mod_dav_fs.so" : lighttpdModule;
    if (!QFileInfo(program).isExecutable() || !QFileInfo::exists(module))
        m_hindrance = QStringLiteral("%1 with WebDAV is not installed").arg(program);
    for (int attempt = 0; m_hindrance.isEmpty() && attempt < 5; ++attempt) {
        m_port = freePort();
        if (writeFiles() && start())
            return;
    }
    if (m_hindrance.isEmpty())
        m_hindrance = QStringLiteral("%1 does not start").arg(program);
}

FileServer::~FileServer()
{
    if (m_process <= 0)
        return;
    ::kill(m_process, SIGTERM); // takes its own children along
    ::waitpid(m_process, nullptr, 0);
    refuseSecretsInLogs();
}

/// What a client makes a server write down is the client's matter, too.
void FileServer::refuseSecretsInLogs() const
{
    for (const char *name : {"error.log", "output"}) {
        QFile file(m_folder.filePath(QString::fromLatin1(name)));
        if (!file.open(QIODevice::ReadOnly) || !holdsSecret(file.readAll()))
            continue;
        std::fputs("a secret is in the log of a server\n", stderr); // and not which
        std::abort();
    }
}

QByteArray FileServer::configuration() const
{
    const QByteArray folder = m_folder.path().toUtf8();
    return isApache() ? apacheConfiguration(folder, m_port, m_kind == Kind::apache) : lighttpdConfiguration(folder, m_port, m_kind == Kind::lighttpd);
}

/// In memory where that can be had: lighttpd writes each lock through to the disk.
QString FileServer::folderTemplate()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) + "/lanterna-files-XXXXXX";
}

bool FileServer::writeFiles()
{
    const QString path = m_folder.path();
    QByteArray secret = password.toUtf8();
    if (isApache())
        secret = "{SHA}" + QCryptographicHash::hash(secret, QCryptographicHash::Sha1).toBase64();
    const bool written = write(path + "/conf", configuration()) && write(path + "/users", user.toUtf8() + ':' + secret + '\n');
    const bool made = QDir(path).mkpath("files") && QDir(path).mkpath("run");
    if (::geteuid() == 0) {
        for (const QString &each : {path, path + "/files", path + "/run", path + "/users", path + "/conf"})
            (void)!::chown(each.toUtf8().constData(), nobody, nobody);
    }
    return written && made;
}

bool FileServer::start()
{
    const QByteArray configurationFile = m_folder.filePath("conf").toUtf8();
    const QByteArray output = m_folder.filePath("output").toUtf8();
    m_process = ::fork();
    if (m_process == 0) {
        const int log = ::open(output.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        ::dup2(log, STDOUT_FILENO);
        ::dup2(log, STDERR_FILENO);
        if (::geteuid() == 0 && (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0))
            ::_exit(126);
        ::prctl(PR_SET_PDEATHSIG, SIGTERM); // after the change of user, which would forget it
        if (isApache())
            ::execl("/usr/sbin/apache2", "apache2", "-f", configurationFile.constData(), "-DFOREGROUND", nullptr);
        else
            ::execl("/usr/sbin/lighttpd", "lighttpd", "-D", "-f", configurationFile.constData(), nullptr);
        ::_exit(127);
    }
    return waitForPort();
}

bool FileServer::waitForPort()
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < end) {
        if (::waitpid(m_process, nullptr, WNOHANG) != 0) {
            m_process = -1; // somebody else has the port
            return false;
        }
        const int descriptor = connectTo(m_port);
        if (descriptor >= 0) {
            ::close(descriptor);
            return true;
        }
        ::poll(nullptr, 0, 5);
    }
    ::kill(m_process, SIGKILL);
    ::waitpid(m_process, nullptr, 0);
    m_process = -1;
    return false;
}

int FileServer::ask(const QByteArray &method, const QString &path, const QByteArray &body) const
{
    const int descriptor = connectTo(m_port);
    if (descriptor < 0)
        return 0;
    const QByteArray request = method + " /" + path.toUtf8() + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\nAuthorization: Basic "
        + (user + ':' + password).toUtf8().toBase64() + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
    (void)!::send(descriptor, request.constData(), size_t(request.size()), MSG_NOSIGNAL);
    std::array<char, 4096> bytes{};
    QByteArray answer;
    pollfd readable{descriptor, POLLIN, 0};
    while (::poll(&readable, 1, 10000) > 0) {
        const ssize_t count = ::recv(descriptor, bytes.data(), bytes.size(), 0);
        if (count <= 0)
            break;
        answer.append(bytes.data(), qsizetype(count));
    }
    ::close(descriptor);
    return answer.mid(9, 3).toInt(); // "HTTP/1.1 204 ..."
}

FileServer &FileServer::shared(Kind kind)
{
    static std::map<Kind, std::unique_ptr<FileServer>> servers;
    auto &server = servers[kind];
    if (!server)
        server = std::make_unique<FileServer>(kind);
    return *server;
}

} // namespace lanterna
