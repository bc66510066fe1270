#pragma once

#include "tests/support/NeverLogged.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>

#include <sys/types.h>

namespace lanterna
{

/// A real WebDAV server on 127.0.0.1, a child process with its files in a temporary folder. It asks for `user` and `password`.
///
/// Started by a plain fork, not by QProcess: tests/support/BusProcess.h says why.
class FileServer
{
public:
    enum class Kind {
        lighttpd,
        lighttpdWithoutLocks,
        apache, ///< weak tags for fresh files, strong ones later
        apacheWithoutLocks, ///< offers them, but allows them to nobody
    };
    static inline const QString user = QStringLiteral("ada");
    static inline const QString password = QString::fromUtf8("p\u00E4ss:w\u00F6rd %41 " SECRET_MARK);

    explicit FileServer(Kind kind);
    ~FileServer();
    FileServer(const FileServer &) = delete;
    FileServer &operator=(const FileServer &) = delete;

    /// Why it does not run; empty when it does.
    [[nodiscard]] QString hindrance() const { return m_hindrance; }
    [[nodiscard]] QUrl url(const QString &path) const { return QUrl(QStringLiteral("http://127.0.0.1:%1/%2").arg(m_port).arg(path)); }
    /// Where the file of a path lies.
    [[nodiscard]] QString file(const QString &path) const { return m_folder.filePath("files/" + path); }
    /// Asks it something, as another program does, and answers the status; 0 when nothing sensible came.
    [[nodiscard]] int ask(const QByteArray &method, const QString &path, const QByteArray &body = {}) const;

    /// The one server of a kind for all tests of this process.
    static FileServer &shared(Kind kind);

private:
    [[nodiscard]] bool isApache() const { return m_kind == Kind::apache || m_kind == Kind::apacheWithoutLocks; }
    [[nodiscard]] QByteArray configuration() const;
    static QString folderTemplate();
    bool writeFiles();
    bool start();
    bool waitForPort();
    void refuseSecretsInLogs() const;

    Kind m_kind;
    QTemporaryDir m_folder{folderTemplate()};
    QString m_hindrance;
    quint16 m_port = 0;
    pid_t m_process = -1;
};

} // namespace lanterna
