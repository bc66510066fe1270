#include "platform/FileSecretStore.h"

#include "platform/Json.h"
#include "platform/SettingsFiles.h"

#include <QFile>
#include <QVariantMap>

#include <optional>
#include <utility>

namespace lanterna
{

namespace
{

const QString fileName = QStringLiteral("secrets.json");
const QString lockName = QStringLiteral("secrets.lock");

SecretResult failed(const QString &what, const std::error_code &error)
{
    return {{}, QStringLiteral("the secrets cannot be %1: %2").arg(what, QString::fromStdString(error.message()))};
}

/// The file with secrets, for one call. Any thread.
class SecretFile
{
public:
    SecretFile(const QString &folder, SystemLog &log) : m_folder(folder), m_files(folder, lockName), m_log(log) { }

    SecretResult read(const QString &name)
    {
        if (m_folder.isEmpty())
            return {{}, QStringLiteral("the secrets cannot be read: no home folder is known")};
        keepToOwner();
        SettingsFiles::Content content = m_files.read(fileName);
        std::optional<QVariantMap> secrets = parsed(content);
        if (!secrets) {
            std::error_code error;
            const std::unique_ptr<SettingsFiles::Lock> lock = m_files.lock(error);
            if (!lock)
                return failed(QStringLiteral("read"), error);
            secrets = readLocked(content);
        }
        if (!secrets)
            return failed(QStringLiteral("read"), content.error);
        return {textOf(secrets->value(name)), {}};
    }

    SecretResult write(const QString &name, const QString &secret)
    {
        if (m_folder.isEmpty())
            return {{}, QStringLiteral("the secrets cannot be written: no home folder is known")};
        std::error_code error = m_files.makeFolder();
        std::unique_ptr<SettingsFiles::Lock> lock = error ? nullptr : m_files.lock(error);
        if (!lock)
            return failed(QStringLiteral("written"), error);
        SettingsFiles::Content content;
        std::optional<QVariantMap> secrets = readLocked(content);
        if (!secrets)
            return failed(QStringLiteral("read"), content.error);
        if (secret.isNull())
            secrets->remove(name);
        else
            secrets->insert(name, secret);
        if (content.status != SettingsFiles::Status::absent || !secrets->isEmpty())
            error = m_files.replace(fileName, compactJson(*secrets));
        lock.reset(); // others need not wait for the disk
        if (!error)
            error = m_files.flush({fileName});
        return error ? failed(QStringLiteral("written"), error) : SecretResult{};
    }

private:
    static QString textOf(const QVariant &value)
    {
        if (value.typeId() != QMetaType::QString)
            return {};
        return value.toString().isNull() ? QStringLiteral("") : value.toString(); // an empty secret is one
    }

    /// A file that came from elsewhere, such as a backup, may be readable for others.
    void keepToOwner() const
    {
        const QString path = m_folder + u'/' + fileName;
        constexpr QFileDevice::Permissions owner = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadUser
            | QFileDevice::WriteUser | QFileDevice::ExeUser;
        if (QFile::exists(path) && (QFile::permissions(path) & ~owner) != 0)
            QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    }

    /// Nothing where the file is damaged or cannot be read.
    static std::optional<QVariantMap> parsed(const SettingsFiles::Content &content)
    {
        if (content.status == SettingsFiles::Status::absent)
            return QVariantMap();
        if (content.status != SettingsFiles::Status::read)
            return std::nullopt;
        const std::optional<QVariant> json = parseJson(content.bytes);
        return json && json->typeId() == QMetaType::QVariantMap ? std::optional(json->toMap()) : std::nullopt;
    }

    /// Reads the file under the lock and sets a damaged one aside. Nothing, and the reason in `content`, where it cannot be read.
    std::optional<QVariantMap> readLocked(SettingsFiles::Content &content)
    {
        content = m_files.read(fileName);
        std::optional<QVariantMap> secrets = parsed(content);
        if (secrets || content.status == SettingsFiles::Status::unreadable)
            return secrets;
        keepToOwner(); // what is left of it may still be somebody's password
        const QString aside = m_files.setAside(fileName);
        if (aside.isEmpty()) {
            content.error = std::make_error_code(std::errc::io_error);
            return std::nullopt;
        }
        m_log(QStringLiteral("the file of secrets was damaged and is now %@"), m_folder + u'/' + aside);
        content.status = SettingsFiles::Status::absent;
        return QVariantMap();
    }

    QString m_folder;
    SettingsFiles m_files;
    SystemLog &m_log;
};

} // namespace

FileSecretStore::FileSecretStore(Dispatch &dispatch, const QString &folder, SystemLog &log) : m_dispatch(dispatch), m_folder(folder), m_log(log) { }

void FileSecretStore::read(const QString &name, Completion completion)
{
    run([folder = m_folder, &log = m_log, name] { return SecretFile(folder, log).read(name); }, std::move(completion));
}

void FileSecretStore::write(const QString &name, const QString &secret, Completion completion)
{
    run([folder = m_folder, &log = m_log, name, secret] { return SecretFile(folder, log).write(name, secret); }, std::move(completion));
}

void FileSecretStore::run(std::function<SecretResult()> work, Completion completion)
{
    if (!m_queue)
        m_queue = m_dispatch.makeSerialQueue();
    const quint64 number = ++m_lastNumber;
    m_completions.emplace(number, std::move(completion)); // what they hold stays on this thread
    m_queue->async([this, &dispatch = m_dispatch, work = std::move(work), number, alive = std::weak_ptr(m_alive)] {
        dispatch.mainAsync([this, result = work(), number, alive] {
            if (!alive.expired())
                m_completions.extract(number).mapped()(result);
        });
    });
}

} // namespace lanterna
