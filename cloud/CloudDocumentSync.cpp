#include "cloud/CloudDocumentSync.h"

#include "cloud/CloudDocument.h"
#include "cloud/MACTable.h"

#include <utility>

namespace lanterna
{

namespace
{

constexpr std::chrono::seconds updateDelay{5};
constexpr std::chrono::seconds saveDelay{4};

constexpr QLatin1String recordName("userCustomizationsDict");
constexpr QLatin1String recordType("UserDictionary");
constexpr QLatin1String assetField("dictAsset");
constexpr QLatin1String nameField("dictName");
constexpr QLatin1String documentName("currentCustomizationsDict");

constexpr QLatin1String tablesKey("MACAddressesByNetworkSegment");
constexpr QLatin1String currentNetworkKey("currentWiFiName");

QVariant printed(const QDateTime &date)
{
    return date.isValid() ? QVariant(date.toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) + QStringLiteral(" +0000")) : QVariant();
}

RecordError failure(const QString &words, const QString &reason)
{
    return {RecordErrorCode::internalError, words.arg(reason), std::nullopt};
}

} // namespace

/// What the queue made of a stored document.
struct CloudDocumentSync::NewDocument {
    QString error; ///< why there is none; a null text when there is one
    QString obstacle; ///< why it must not be stored; a null text when it may
    std::variant<QByteArray, RecordError> asset; ///< why there is none when it could not be written to a file
};

CloudDocumentSync::CloudDocumentSync(const CloudDocumentPorts &ports) : m_ports(ports), m_queue(ports.dispatch.makeSerialQueue()) { }

CloudDocumentSync::~CloudDocumentSync() = default;

void CloudDocumentSync::setDatabase(std::unique_ptr<RecordDatabase> database)
{
    m_alive = std::make_shared<char>();
    m_database = std::move(database);
    m_imports = 0;
    m_saving = false;
    m_saveAgain = false; // the other store is read first; the next update brings the next save
    m_savePending = false;
    m_pendingSave.cancel();
}

bool CloudDocumentSync::isBusy() const
{
    return m_updatePending || m_savePending || m_saving || m_imports > 0;
}

void CloudDocumentSync::saveMACAddressesToiCloud()
{
    m_updatePending = true;
    m_pendingUpdate = m_ports.dispatch.performAfter(updateDelay, [this] {
        m_updatePending = false;
        actualSaveMACAddressesToiCloud();
    });
}

void CloudDocumentSync::actualSaveMACAddressesToiCloud()
{
    SettingsStore &settings = m_ports.settings;
    std::optional<QVariantMap> &tables = m_ports.macAddressesByNetworkSegmentDict;
    if (!tables) {
        m_ports.log(QStringLiteral("CKMacSync: no DB yet — MACAddressesByNetworkSegmentDict is nil"));
        return;
    }
    const QString associated = settings.text(QStringLiteral("associatedWiFiNetwork"));
    if (!associated.isNull())
        m_ports.log(QStringLiteral("associatedWifiNetwork from prefs (set by user or nil if default): %@"), associated);
    const QDateTime now = m_ports.dispatch.now();
    const QString lastUpdate = lastUpdateText(now, m_ports.localeIdentifier());
    const MACTable table = macTable(m_ports.readARPTable(), lastUpdate);
    const QString current = settings.text(currentNetworkKey);
    const QString key = networkKey(associated, current);
    m_ports.log(QStringLiteral("CKMacSync: updating MACAddressesByNetworkSegment (key: %@, currentWiFi: %@): %@"), key, current, lastUpdate);
    MACTablesUpdate update = updatedMACTables(*tables, settings.value(tablesKey), key, table, settings.boolean(QStringLiteral("AppleTVNetwork")));
    for (const QString &line : std::as_const(update.lines))
        m_ports.log.write(line);
    tables = std::move(update.tables);
    settings.setValue(tablesKey, *tables);
    if (settings.boolean(QStringLiteral("iCloud_MAC_Sync"))) {
        settings.setValue(QStringLiteral("recentICloudActivity"), *tables);
        settings.setValue(QStringLiteral("lastICloudActivityUpdateDate"), now);
    }
    saveCustomizationsToCloudKit();
}

void CloudDocumentSync::saveCustomizationsToCloudKit()
{
    m_savePending = true;
    m_pendingSave = m_ports.dispatch.performAfter(saveDelay, [this] {
        m_savePending = false;
        saveCustomizationsToCloudKitDelayed();
    });
}

void CloudDocumentSync::saveCustomizationsToCloudKitDelayed()
{
    if (!m_database)
        return;
    // Beside a save under way it would but be refused, for the record changes with that one; and what is being read is to be saved with the rest.
    if (m_saving || m_imports > 0) {
        m_saveAgain = true;
        return;
    }
    m_saving = true;
    m_fetchError.reset();
    m_database->fetchRecord(recordName, [this](const RecordResult<Record> &result) { fetched(result); });
}

void CloudDocumentSync::fetched(const RecordResult<Record> &result)
{
    Record created;
    created.recordName = recordName;
    created.recordType = recordType;
    if (const auto *record = std::get_if<Record>(&result)) {
        merge(*record);
        return;
    }
    const auto &error = std::get<RecordError>(result);
    if (error.code != RecordErrorCode::unknownItem) {
        m_ports.log(QStringLiteral("CKMacSync: Error fetching existing record before save: %@"), error.description);
        m_fetchError = error;
    }
    merge(created); // where there is a record after all, the database refuses the new one, and nothing is lost
}

void CloudDocumentSync::merge(const Record &record)
{
    const NetworkStatusToPublish status = networkStatusToPublish(m_ports.settings.value(QStringLiteral("latestLocalSnapshot")));
    if (!status.line.isNull())
        m_ports.log.write(status.line);
    m_queue->async(
        [this, record, status = status.status, tables = m_ports.macAddressesByNetworkSegmentDict, ports = m_ports, alive = std::weak_ptr(m_alive)] {
            const QByteArray stored = record.assets.value(assetField);
            const CloudDocumentMerge merged = mergedCloudDocument(stored, tables, status);
            NewDocument document{merged.error, {}, {}};
            if (document.error.isNull()) {
                if (merged.stored == StoredDocument::unreadable)
                    document.obstacle = ports.keepUnreadable(stored);
                if (document.obstacle.isNull())
                    document.asset = createCKAssetWithData(ports, merged.json);
            }
            ports.dispatch.mainAsync([this, alive, record, document = std::move(document)] {
                if (!alive.expired())
                    save(record, document);
            });
        });
}

std::variant<QByteArray, RecordError> CloudDocumentSync::createCKAssetWithData(const CloudDocumentPorts &ports, const QByteArray &data)
{
    const QString error = ports.writeTemporaryFile(data);
    if (error.isNull())
        return data;
    ports.log(QStringLiteral("Error writing data to file: %@"), error);
    return failure(QStringLiteral("The document was cleared, for its file could not be written: %1"), error);
}

void CloudDocumentSync::save(Record record, const NewDocument &document)
{
    if (!document.error.isNull()) {
        m_ports.log(QStringLiteral("CKMacSync: Error converting NSDictionary to JSON: %@"), document.error);
        endSave(failure(QStringLiteral("The document cannot be written as JSON: %1"), document.error));
        return;
    }
    if (!document.obstacle.isNull()) {
        m_ports.log(QStringLiteral("CKMacSync: not saving over a document that is unreadable and could not be kept: %@"), document.obstacle);
        endSave(failure(QStringLiteral("The stored document is unreadable and could not be kept: %1"), document.obstacle));
        return;
    }
    std::optional<RecordError> cleared;
    if (const auto *bytes = std::get_if<QByteArray>(&document.asset)) {
        record.assets.insert(assetField, *bytes);
    } else {
        record.assets.remove(assetField);
        cleared = std::get<RecordError>(document.asset);
    }
    record.texts.insert(nameField, documentName);
    m_database->saveRecord(record, [this, cleared](const RecordResult<Record> &result) { saved(result, cleared); });
}

void CloudDocumentSync::saved(const RecordResult<Record> &result, const std::optional<RecordError> &cleared)
{
    if (const auto *record = std::get_if<Record>(&result)) {
        m_ports.log(QStringLiteral("CKMacSync: save successful. modificationDate: %@"), printed(record->modificationDate));
        endSave(cleared);
        return;
    }
    const auto &error = std::get<RecordError>(result);
    if (error.code == RecordErrorCode::requestRateLimited) {
        const QVariant seconds = error.retryAfter ? QVariant(*error.retryAfter) : QVariant();
        m_ports.log(QStringLiteral("CKMacSync: Rate limited, retry after: %@ seconds"), seconds);
    }
    m_ports.log(QStringLiteral("CKMacSync: Error saving: %@"), error.description);
    // A record that could not be fetched is there all the same: that, and not the refusal, is the trouble.
    endSave(m_fetchError && error.code == RecordErrorCode::serverRecordChanged ? *m_fetchError : error);
}

void CloudDocumentSync::tell(CloudOutcome::Call call, const std::optional<RecordError> &error)
{
    if (m_observer)
        m_observer({call, m_ports.dispatch.now(), error});
}

void CloudDocumentSync::endSave(const std::optional<RecordError> &error)
{
    m_saving = false;
    tell(CloudOutcome::Call::save, error);
    saveIfAsked();
}

void CloudDocumentSync::endImport()
{
    --m_imports;
    saveIfAsked();
}

void CloudDocumentSync::saveIfAsked()
{
    if (!m_saving && m_imports == 0 && std::exchange(m_saveAgain, false))
        saveCustomizationsToCloudKitDelayed();
}

void CloudDocumentSync::getCustomDictFromCloudKit()
{
    m_ports.log(QStringLiteral("getCustomDictFromCloudKit"));
    if (!m_database)
        return;
    ++m_imports;
    m_database->queryRecords(recordType, [this](const RecordResult<QList<Record>> &result) {
        if (const auto *error = std::get_if<RecordError>(&result)) {
            m_ports.log(QStringLiteral("cloud Error retrieving records: %@"), describe(*error));
            tell(CloudOutcome::Call::import, *error);
        } else {
            tell(CloudOutcome::Call::import, std::nullopt);
            for (const Record &record : std::get<QList<Record>>(result))
                importRecord(record);
        }
        endImport();
    });
}

void CloudDocumentSync::importRecord(const Record &record)
{
    const auto asset = record.assets.find(assetField);
    if (asset == record.assets.end())
        return;
    ++m_imports;
    m_queue->async([this, bytes = *asset, dispatch = &m_ports.dispatch, alive = std::weak_ptr(m_alive)] {
        dispatch->mainAsync([this, alive, document = readCloudDocument(bytes)] {
            if (alive.expired())
                return;
            takeDocument(document);
            endImport();
        });
    });
}

void CloudDocumentSync::takeDocument(const std::variant<CloudDocumentContents, NoCloudDocument> &document)
{
    if (const auto *none = std::get_if<NoCloudDocument>(&document)) {
        m_ports.log(QStringLiteral("cloud Error: JSON is not a dictionary (type: %@, error: %@)"), none->type, none->error);
        return;
    }
    const auto &contents = std::get<CloudDocumentContents>(document);
    m_ports.log(QStringLiteral("cloudKit downloaded initial dictionary with keys: %lu"), contents.members.size());
    if (contents.macTables)
        replaceTables(*contents.macTables);
    m_ports.loadCustomizationsFromCloudKitDict(contents.members);
}

void CloudDocumentSync::replaceTables(const QVariantMap &tables)
{
    m_ports.macAddressesByNetworkSegmentDict = tables;
    m_ports.settings.setValue(tablesKey, tables);
}

void CloudDocumentSync::processICloudDataToExtractMostRecentDate(const QVariantMap &tables, const QString &source)
{
    if (const auto decoded = lastUpdateOfNetwork(tables, m_ports.settings.text(currentNetworkKey)))
        m_ports.log(QStringLiteral("CloudKit import date: %@ source: %@"), decoded->text, source);
}

void noteCloudOutcome(SettingsStore &settings, const QString &store, const CloudOutcome &outcome)
{
    const QString errorKey = QStringLiteral("cloudLastError");
    const QString saveKey = QStringLiteral("cloudLastSave");
    const QString storeKey = QStringLiteral("cloudLastStore");
    if (settings.text(storeKey) != store) {
        settings.remove(errorKey);
        settings.remove(saveKey);
        settings.setValue(storeKey, store);
    }
    if (outcome.error)
        settings.setValue(errorKey, describe(*outcome.error));
    if (outcome.error || outcome.call != CloudOutcome::Call::save)
        return;
    settings.remove(errorKey);
    settings.setValue(saveKey, outcome.date);
}

} // namespace lanterna
