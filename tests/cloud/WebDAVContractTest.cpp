#include "tests/cloud/RecordDatabaseContract.h"

#include "cloud/WebDAVRecordDatabase.h"
#include "tests/cloud/FileServer.h"

#include <QUuid>

using namespace lanterna;

namespace
{

/// A folder of its own on a real server, which the first save makes.
class FolderUnderTest : public StoreUnderTest
{
public:
    explicit FolderUnderTest(FileServer::Kind kind) : m_kind(kind), m_server(FileServer::shared(kind)) { }
    QString hindrance() const override { return m_server.hindrance(); }
    std::unique_ptr<RecordDatabase> makeDatabase(Dispatch &dispatch) override
    {
        return std::make_unique<WebDAVRecordDatabase>(
            dispatch, WebDAVAccount{m_server.url(m_folder), FileServer::user, [] { return FileServer::password; }});
    }
    bool mayForgetLocks() const override { return m_kind == FileServer::Kind::apache; } // its database of locks is read and written in two steps
    bool remove(const QString &recordName) override { return m_server.ask("DELETE", m_folder + '/' + recordName + ".record") == 204; }

private:
    FileServer::Kind m_kind;
    FileServer &m_server;
    QString m_folder = QUuid::createUuid().toString(QUuid::Id128);
};

RecordBackend backend(const std::string &name, FileServer::Kind kind)
{
    return {name, [kind] { return std::make_unique<FolderUnderTest>(kind); }};
}

} // namespace

INSTANTIATE_TEST_SUITE_P(WebDAV, RecordDatabaseContractTest,
    testing::Values(backend("Lighttpd", FileServer::Kind::lighttpd), backend("LighttpdWithoutLocks", FileServer::Kind::lighttpdWithoutLocks),
        backend("Apache", FileServer::Kind::apache)),
    RecordBackend::nameOf);
