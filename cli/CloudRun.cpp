#include "cli/CloudRun.h"

#include "cloud/CloudDocument.h"
#include "platform/RegularFile.h"

#include <utility>

namespace lanterna
{

namespace
{

const QString recordName = QStringLiteral("userCustomizationsDict");
const QString recordType = QStringLiteral("UserDictionary");
const QString assetField = QStringLiteral("dictAsset");
const QString nameField = QStringLiteral("dictName");
const QString documentName = QStringLiteral("currentCustomizationsDict");
const QString tablesKey = QStringLiteral("MACAddressesByNetworkSegment");
const QString importedKey = QStringLiteral("LastImportedCloudKitDict");
constexpr qint64 largestDocument = 50'000'000; // bytes, as the stores take them

QString row(const QString &title, const QString &text)
{
    return QStringLiteral("%1 %2\n").arg(title + u':', -11).arg(text);
}

QString described(const QDateTime &date)
{
    return date.isValid() ? date.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : QStringLiteral("never");
}

/// "1 network", "2 networks".
QString counted(qsizetype count, const QString &noun)
{
    return QStringLiteral("%1 %2%3").arg(count).arg(noun, count == 1 ? QString() : QStringLiteral("s"));
}

} // namespace

CloudRun::CloudRun(CloudRunPorts ports, CloudOptions options)
    : m_ports(std::move(ports)), m_options(std::move(options)),
      m_sync({m_ports.dispatch, m_ports.settings, m_ports.log, m_tables, [] { return ARPTable(); }, m_ports.cloud.localeIdentifier,
          m_ports.cloud.writeTemporaryFile, m_ports.cloud.keepUnreadable, [](const QVariantMap &) {}})
{
}

CloudRun::~CloudRun() = default;

void CloudRun::start(std::function<void()> finished)
{
    m_finished = std::move(finished);
    m_sync.setDatabase(m_ports.cloud.makeDatabase());
    switch (m_options.action) {
    case CloudOptions::Action::status:
        status();
        break;
    case CloudOptions::Action::pull:
        pull();
        break;
    case CloudOptions::Action::push:
        push();
        break;
    case CloudOptions::Action::exportFile:
        withRecord(false, [this](const Record &record) { exportDocument(record); });
        break;
    case CloudOptions::Action::importFile:
        importDocument();
        break;
    case CloudOptions::Action::setUp:
    case CloudOptions::Action::signIn:
    case CloudOptions::Action::signOut:
    case CloudOptions::Action::callback:
        fail(QStringLiteral("not a matter of the document"));
        break;
    }
}

void CloudRun::finish(const CommandResult &result)
{
    if (std::exchange(m_done, true))
        return;
    m_result = result;
    m_ports.dispatch.mainAsync(std::exchange(m_finished, nullptr));
}

void CloudRun::status()
{
    const SettingsStore &settings = m_ports.settings;
    const bool used = settings.text(QStringLiteral("cloudLastStore")) == chosenStore(settings);
    const QString error = used ? settings.text(QStringLiteral("cloudLastError")) : QString();
    const QString saves = row(QStringLiteral("Last save"), described(used ? settings.date(QStringLiteral("cloudLastSave")) : QDateTime()))
        + row(QStringLiteral("Last error"), error.isNull() ? QStringLiteral("none") : error);
    const RecordBackend backend = chosenBackend(settings);
    if (backend == RecordBackend::embedded) {
        finish({0, row(QStringLiteral("Store"), QStringLiteral("on this machine, ") + m_ports.embeddedFile) + saves, {}});
        return;
    }
    const bool cloudKit = backend == RecordBackend::cloudKit;
    const CloudKitConfiguration container = cloudKitConfiguration(settings);
    const WebDAVAccount folder = webDAVAccount(settings, {});
    const QString store = cloudKit
        ? QStringLiteral("iCloud, %1 (%2)")
              .arg(container.container.isEmpty() ? QStringLiteral("no container set") : container.container, container.environment)
        : QStringLiteral("WebDAV, ") + folder.folder.toDisplayString(QUrl::RemoveUserInfo | QUrl::RemoveQuery);
    const QString user = settings.text(QStringLiteral("cloudKitUser"));
    const auto told = [=, this](const SecretResult &secret) {
        const QString person = !cloudKit ? folder.user : user.isEmpty() ? QStringLiteral("signed in") : QStringLiteral("signed in as ") + user;
        const QString nobody = cloudKit ? QStringLiteral("nobody is signed in") : person + QStringLiteral(", without a password");
        const QString account = !secret.error.isNull() ? QStringLiteral("not known: ") + secret.error : secret.secret.isEmpty() ? nobody : person;
        finish({0, row(QStringLiteral("Store"), store) + row(QStringLiteral("Account"), account) + saves, {}});
    };
    if (cloudKit)
        keptCloudKitSession(m_ports.secrets(), m_ports.settings, container).read(told);
    else
        readWebDAVPassword(m_ports.secrets(), settings, folder.folder, told);
}

void CloudRun::pull()
{
    withRecord(false, [this](const Record &record) {
        const auto document = readCloudDocument(record.assets.value(assetField));
        if (std::holds_alternative<NoCloudDocument>(document)) {
            fail(QStringLiteral("what is stored is no document; 'lanternactl cloud export FILE' shows it"));
            return;
        }
        const auto &contents = std::get<CloudDocumentContents>(document);
        SettingsStore &settings = m_ports.settings;
        bool kept = settings.setValue(importedKey, contents.members);
        if (contents.macTables)
            kept = settings.setValue(tablesKey, *contents.macTables) && kept;
        if (!kept)
            fail(QStringLiteral("the settings cannot be written"));
        else
            finish({0,
                QStringLiteral("Read %1, with tables of %2.\n")
                    .arg(counted(contents.members.size(), QStringLiteral("member")),
                        counted(contents.macTables.value_or(QVariantMap()).size(), QStringLiteral("network"))),
                {}});
    });
}

void CloudRun::push()
{
    // What was last filed, not the table itself: a running Lanterna takes the current network's addresses out of that for the time of a pass, and
    // all of it when it ends.
    const QVariant filed = m_ports.settings.value(QStringLiteral("recentICloudActivity"));
    if (filed.typeId() == QMetaType::QVariantMap)
        m_tables = filed.toMap();
    m_sync.setObserver([this](const CloudOutcome &outcome) {
        noteCloudOutcome(m_ports.settings, chosenStore(m_ports.settings), outcome);
        const QString tables = m_tables ? QStringLiteral(", with tables of %1").arg(counted(m_tables->size(), QStringLiteral("network"))) : QString();
        if (outcome.error)
            fail(QStringLiteral("the document cannot be saved: ") + describe(*outcome.error));
        else
            finish({0, QStringLiteral("Saved%1.\n").arg(tables), {}});
    });
    m_sync.saveCustomizationsToCloudKitDelayed();
}

void CloudRun::withRecord(bool mayBeNew, Then then)
{
    m_sync.database()->fetchRecord(recordName, [this, mayBeNew, then = std::move(then)](const RecordResult<Record> &result) {
        if (const auto *record = std::get_if<Record>(&result)) {
            then(*record);
            return;
        }
        const auto &error = std::get<RecordError>(result);
        if (error.code != RecordErrorCode::unknownItem)
            fail(QStringLiteral("the document cannot be read: ") + describe(error));
        else if (!mayBeNew)
            fail(QStringLiteral("no document is stored yet"));
        else
            then(Record{recordName, recordType, {}, {}, {}, {}});
    });
}

void CloudRun::exportDocument(const Record &record)
{
    QFile file(m_options.file);
    // Never over another file: it may be the only copy of an older document.
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        fail(QStringLiteral("%1: %2").arg(m_options.file, file.errorString()));
        return;
    }
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    const QByteArray document = record.assets.value(assetField);
    if (file.write(document) != document.size() || !file.flush()) {
        file.remove();
        fail(QStringLiteral("%1: %2").arg(m_options.file, file.errorString()));
        return;
    }
    finish({0, QStringLiteral("Wrote %1 to %2.\n").arg(counted(document.size(), QStringLiteral("byte")), m_options.file), {}});
}

void CloudRun::importDocument()
{
    QFile file(m_options.file);
    if (const QString error = openRegularFile(file); !error.isEmpty()) {
        fail(QStringLiteral("%1: %2").arg(m_options.file, error));
        return;
    }
    const QByteArray document = file.read(largestDocument + 1);
    if (document.size() > largestDocument) {
        fail(QStringLiteral("%1: longer than 50 MB").arg(m_options.file));
        return;
    }
    if (const auto read = readCloudDocument(document); const auto *none = std::get_if<NoCloudDocument>(&read)) {
        fail(QStringLiteral("%1: no JSON object%2").arg(m_options.file, none->error.isNull() ? QString() : QStringLiteral(": ") + none->error));
        return;
    }
    withRecord(true, [this, document](const Record &record) { replace(record, document); });
}

void CloudRun::replace(const Record &record, const QByteArray &document)
{
    const qsizetype before = record.assets.value(assetField).size();
    if (before > 0 && !m_options.yes
        && !m_ports.confirm(QStringLiteral("Replace the stored document of %1?").arg(counted(before, QStringLiteral("byte"))))) {
        finish({1, {}, QStringLiteral("nothing was changed")});
        return;
    }
    Record changed = record;
    changed.texts.insert(nameField, documentName);
    changed.assets.insert(assetField, document);
    m_sync.database()->saveRecord(changed, [this, size = document.size()](const RecordResult<Record> &result) {
        if (const auto *error = std::get_if<RecordError>(&result))
            fail(QStringLiteral("the document cannot be saved: ") + describe(*error));
        else
            finish({0, QStringLiteral("Saved %1; 'lanternactl cloud pull' takes them into use.\n").arg(counted(size, QStringLiteral("byte"))), {}});
    });
}

} // namespace lanterna
