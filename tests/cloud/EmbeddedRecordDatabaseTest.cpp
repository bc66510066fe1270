#include "cloud/EmbeddedRecordDatabase.h"

#include "tests/cloud/RecordDatabaseContract.h"

#include <QTemporaryDir>

#include <sqlite3.h>

using namespace lanterna;

namespace
{

class EmbeddedStoreUnderTest : public StoreUnderTest
{
public:
    std::unique_ptr<RecordDatabase> makeDatabase(Dispatch &dispatch) override { return std::make_unique<EmbeddedRecordDatabase>(dispatch, path()); }

    /// As `sqlite3 records.sqlite` does.
    bool remove(const QString &recordName) override
    {
        sqlite3 *handle = nullptr;
        sqlite3_open(path().toUtf8().constData(), &handle);
        sqlite3_busy_timeout(handle, 5000);
        const QString sql = QStringLiteral("PRAGMA foreign_keys=ON; DELETE FROM records WHERE name = '%1'").arg(recordName);
        const bool done = sqlite3_exec(handle, sql.toUtf8().constData(), nullptr, nullptr, nullptr) == SQLITE_OK && sqlite3_changes(handle) == 1;
        sqlite3_close(handle);
        return done;
    }

private:
    [[nodiscard]] QString path() const { return m_folder.filePath("data/lanterna/records.sqlite"); }

    QTemporaryDir m_folder;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Embedded, RecordDatabaseContractTest,
    testing::Values(RecordBackend{"Embedded", [] { return std::make_unique<EmbeddedStoreUnderTest>(); }}), RecordBackend::nameOf);
