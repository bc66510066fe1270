#pragma once

#include "platform/Dispatch.h"
#include "platform/RecordDatabase.h"
#include "platform/SettingsStore.h"
#include "platform/SystemLog.h"
#include "scan/NetworkTables.h"

#include <QVariantMap>

#include <functional>
#include <memory>
#include <optional>

namespace lanterna
{

struct CloudDocumentContents;
struct NoCloudDocument;

/// What the sync needs. The referenced objects outlive it.
struct CloudDocumentPorts {
    Dispatch &dispatch;
    SettingsStore &settings;
    SystemLog &log;
    /// The tables of all networks in memory, which the controller shares; none until there is a first one. Main thread only.
    std::optional<QVariantMap> &macAddressesByNetworkSegmentDict;
    std::function<ARPTable()> readARPTable;
    std::function<QString()> localeIdentifier; ///< in which times are written, such as "en_US"
    /// Writes the document into a new temporary file; why it could not, or a null text. Any thread.
    std::function<QString(const QByteArray &document)> writeTemporaryFile;
    /// Keeps bytes that are about to be replaced and that nobody can read; why it could not, or a null text. Any thread.
    std::function<QString(const QByteArray &bytes)> keepUnreadable;
    /// Takes the devices' names from the owner's document, and keeps it.
    std::function<void(const QVariantMap &document)> loadCustomizationsFromCloudKitDict;
};

/// How a save or an import ended.
struct CloudOutcome {
    enum class Call { save, import };
    Call call = Call::save;
    QDateTime date; ///< UTC
    std::optional<RecordError> error; ///< none when it succeeded
};

/// Keeps the tables of hardware addresses, and one document with them and the latest snapshot in the owner's record database.
///
/// Main thread only; the document itself is read and made on a queue of its own. Bursts collapse: tables are updated 5 s after the last call, and the
/// document is saved 4 s after the last update. A save fetches what is stored, puts its own members in and stores it again; it is never repeated by
/// itself, and the next update brings the next one. While documents are being read, a save waits for them. docs/formats/cloud-document.md describes the document.
class CloudDocumentSync
{
public:
    explicit CloudDocumentSync(const CloudDocumentPorts &ports);
    ~CloudDocumentSync();
    CloudDocumentSync(const CloudDocumentSync &) = delete;
    CloudDocumentSync &operator=(const CloudDocumentSync &) = delete;

    /// The database to use from now on. What is under way in the one before is forgotten: it may arrive there or not. Without one, calls do nothing.
    void setDatabase(std::unique_ptr<RecordDatabase> database);
    [[nodiscard]] RecordDatabase *database() const { return m_database.get(); }

    /// Has the tables updated in 5 s, counted anew with each call.
    void saveMACAddressesToiCloud();
    /// Reads the ARP table, files it under the current network and has the document saved.
    void actualSaveMACAddressesToiCloud();
    /// Has the document saved in 4 s, counted anew with each call.
    void saveCustomizationsToCloudKit();
    /// Saves the document: fetch, merge, save. While one save is under way, the next waits for its end.
    void saveCustomizationsToCloudKitDelayed();
    /// Reads the stored documents at once, whatever its name says.
    void getCustomDictFromCloudKitDelayed() { getCustomDictFromCloudKit(); }
    /// Reads all documents of the owner: the tables of the last one win over those here, and each goes to the scan engine.
    void getCustomDictFromCloudKit();
    /// Logs when the current network's table was updated last, as one document has it.
    void processICloudDataToExtractMostRecentDate(const QVariantMap &tables, const QString &source);

    /// Called after each save and each import; may be empty.
    void setObserver(std::function<void(const CloudOutcome &)> observer) { m_observer = std::move(observer); }
    /// Whether a save or an import is under way, or waits for its delay.
    [[nodiscard]] bool isBusy() const;

private:
    struct NewDocument;

    void fetched(const RecordResult<Record> &result);
    void merge(const Record &record);
    static std::variant<QByteArray, RecordError> createCKAssetWithData(const CloudDocumentPorts &ports, const QByteArray &data);
    void save(Record record, const NewDocument &document);
    void saved(const RecordResult<Record> &result, const std::optional<RecordError> &cleared);
    void endSave(const std::optional<RecordError> &error);
    void endImport();
    void saveIfAsked();
    void takeDocument(const std::variant<CloudDocumentContents, NoCloudDocument> &document);
    void tell(CloudOutcome::Call call, const std::optional<RecordError> &error);
    void importRecord(const Record &record);
    void replaceTables(const QVariantMap &tables);

    CloudDocumentPorts m_ports;
    std::unique_ptr<RecordDatabase> m_database;
    std::shared_ptr<SerialQueue> m_queue;
    TimerHandle m_pendingUpdate;
    TimerHandle m_pendingSave;
    bool m_updatePending = false;
    bool m_savePending = false;
    bool m_saving = false;
    bool m_saveAgain = false;
    std::optional<RecordError> m_fetchError; // of the save under way
    int m_imports = 0; // documents, and questions for documents, that are not done with
    std::function<void(const CloudOutcome &)> m_observer;
    std::shared_ptr<char> m_alive = std::make_shared<char>(); // a new one with each database
};

/// Keeps in the settings `cloudLastSave` and `cloudLastError` how it went with a store, for those who ask later. A failure stands until the next save
/// succeeds. What was noted of another store (`cloudLastStore`) is dropped.
void noteCloudOutcome(SettingsStore &settings, const QString &store, const CloudOutcome &outcome);

} // namespace lanterna
