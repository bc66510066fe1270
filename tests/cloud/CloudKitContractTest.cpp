#include "cloud/CloudKitRecordDatabase.h"

#include "tests/cloud/FakeCloudKitServer.h"
#include "tests/cloud/MemorySession.h"
#include "tests/cloud/RecordDatabaseContract.h"

using namespace lanterna;

namespace
{

/// One person's container; each database has a sign-in of its own, as each machine has.
class FakeContainer : public StoreUnderTest
{
public:
    ~FakeContainer() override { EXPECT_EQ(m_server.complaints.join(", ").toStdString(), ""); }
    std::unique_ptr<RecordDatabase> makeDatabase(Dispatch &dispatch) override
    {
        m_sessions.push_back(std::make_unique<MemorySession>(dispatch, m_server.signIn()));
        return std::make_unique<CloudKitRecordDatabase>(dispatch, m_server.configuration(), m_sessions.back()->session());
    }
    bool remove(const QString &recordName) override { return m_server.remove(recordName); }

private:
    FakeCloudKitServer m_server;
    std::vector<std::unique_ptr<MemorySession>> m_sessions;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(CloudKit, RecordDatabaseContractTest,
    testing::Values(RecordBackend{"CloudKit", [] { return std::make_unique<FakeContainer>(); }}), RecordBackend::nameOf);
