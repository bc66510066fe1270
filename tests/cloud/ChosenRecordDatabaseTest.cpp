#include "cloud/ChosenRecordDatabase.h"

#include "cloud/EmbeddedRecordDatabase.h"

#include "tests/fakes/FakeSecretStore.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/NeverLogged.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <map>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class ChosenRecordDatabase : public testing::Test
{
protected:
    [[nodiscard]] std::unique_ptr<RecordDatabase> choose()
    {
        return chosenRecordDatabase({dispatch, settings, [this]() -> SecretStore & { return secrets; }, folder.filePath("records.sqlite")});
    }
    RecordError fetchError(RecordDatabase &database)
    {
        std::optional<RecordResult<Record>> answer;
        database.fetchRecord("record", [&](const RecordResult<Record> &result) { answer = result; });
        EXPECT_FALSE(answer);
        dispatch.runReady();
        EXPECT_TRUE(answer);
        return answer ? std::get<RecordError>(*answer) : RecordError{};
    }

    QTemporaryDir folder;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    SettingsStore settings{folder.path(), log};
    FakeSecretStore secrets{dispatch};
};

} // namespace

TEST_F(ChosenRecordDatabase, IsTheEmbeddedOneUnlessAnotherIsNamed)
{
    for (const QVariant &name : {QVariant(), QVariant("embedded"), QVariant("punched cards")}) {
        settings.setValue("cloudBackend", name);
        const auto database = choose();
        EXPECT_NE(dynamic_cast<EmbeddedRecordDatabase *>(database.get()), nullptr);
        EXPECT_EQ(fetchError(*database).code, RecordErrorCode::unknownItem);
    }
    EXPECT_EQ(secrets.reads, 0);
}

TEST_F(ChosenRecordDatabase, PasswordThatCannotBeReadIsSaidAndNotAskedForAtEveryCall)
{
    settings.setValue("cloudBackend", "webdav");
    settings.setValue("cloudWebDAVURL", "https://cloud.example/lanterna/");
    secrets.error = "the keyring is locked";
    const auto database = choose();
    EXPECT_EQ(secrets.reads, 0) << "nobody has asked for anything yet";
    for (int calls = 0; calls < 3; ++calls)
        EXPECT_EQ(fetchError(*database), (RecordError{RecordErrorCode::notAuthenticated, "The password cannot be read: the keyring is locked", {}}));
    EXPECT_EQ(secrets.reads, 1);
    dispatch.advance(11min);
    (void)fetchError(*database);
    EXPECT_EQ(secrets.reads, 2);
}

TEST_F(ChosenRecordDatabase, DroppedWhileItsPasswordIsReadNeverAnswers)
{
    settings.setValue("cloudBackend", "webdav");
    bool answered = false;
    auto database = choose();
    database->fetchRecord("record", [&](const RecordResult<Record> &) { answered = true; });
    database.reset();
    dispatch.runReady();
    EXPECT_FALSE(answered);
}

TEST_F(ChosenRecordDatabase, WithoutAContainerNothingIsAskedOfICloud)
{
    settings.setValue("cloudBackend", "cloudkit");
    EXPECT_EQ(fetchError(*choose()).code, RecordErrorCode::invalidArguments);
}

TEST_F(ChosenRecordDatabase, PauseThatICloudAskedForSurvivesTheProgram)
{
    settings.setValue("cloudBackend", "cloudkit");
    settings.setValue("cloudKitContainer", "iCloud.com.example.lanterna");
    settings.setValue("cloudKitAPIToken", "api+" SECRET_MARK);
    keepCloudKitThrottle(settings, cloudKitConfiguration(settings), CloudKitThrottle{dispatch.now(), 110207.0});
    secrets.secrets[cloudKitSessionSecret] = "106__" SECRET_MARK;
    dispatch.advance(7s);
    const RecordError error = fetchError(*choose());
    EXPECT_EQ(error.code, RecordErrorCode::requestRateLimited);
    EXPECT_EQ(error.retryAfter, 110200.0);
    EXPECT_TRUE(settings.contains("cloudKitThrottle"));
}

TEST_F(ChosenRecordDatabase, PauseOfAnotherContainerIsNoneOfThisOne)
{
    settings.setValue("cloudBackend", "cloudkit");
    settings.setValue("cloudKitContainer", "iCloud.com.example.lanterna");
    keepCloudKitThrottle(settings, cloudKitConfiguration(settings), CloudKitThrottle{dispatch.now(), 110207.0});
    EXPECT_TRUE(keptCloudKitThrottle(settings, cloudKitConfiguration(settings)));
    settings.setValue("cloudKitEnvironment", "development");
    EXPECT_FALSE(keptCloudKitThrottle(settings, cloudKitConfiguration(settings)));
    settings.remove("cloudKitEnvironment");
    EXPECT_TRUE(keptCloudKitThrottle(settings, cloudKitConfiguration(settings)));
}

TEST_F(ChosenRecordDatabase, PauseThatAnotherProcessWasAskedForIsKeptToAndNotExtendedByAClockSetBack)
{
    settings.setValue("cloudBackend", "cloudkit");
    settings.setValue("cloudKitContainer", "iCloud.com.example.lanterna");
    settings.setValue("cloudKitAPIToken", "api+" SECRET_MARK);
    const auto database = choose();
    EXPECT_EQ(fetchError(*database).code, RecordErrorCode::notAuthenticated) << "nobody is signed in";
    keepCloudKitThrottle(settings, cloudKitConfiguration(settings), CloudKitThrottle{dispatch.now(), 100.0});
    EXPECT_EQ(fetchError(*database).retryAfter, 100.0);
    dispatch.advance(40s);
    dispatch.jumpWallClock(-1h);
    EXPECT_EQ(fetchError(*database).retryAfter, 60.0);
    dispatch.advance(61s);
    EXPECT_EQ(fetchError(*database).code, RecordErrorCode::notAuthenticated);
    EXPECT_FALSE(settings.contains("cloudKitThrottle")) << "it is over";
}

TEST_F(ChosenRecordDatabase, StoreIsToldWithoutUserAndSecret)
{
    EXPECT_EQ(chosenStore(settings), "embedded");
    settings.setValue("cloudBackend", "webdav");
    settings.setValue("cloudWebDAVURL", "https://cloud.example/dav/?key=" SECRET_MARK);
    settings.setValue("cloudWebDAVUser", "keeper");
    EXPECT_EQ(chosenStore(settings), "webdav https://cloud.example/dav/");
    settings.setValue("cloudBackend", "cloudkit");
    settings.setValue("cloudKitContainer", "iCloud.com.example.lanterna");
    EXPECT_EQ(chosenStore(settings), "cloudkit iCloud.com.example.lanterna production https://api.apple-cloudkit.com");
}

TEST_F(ChosenRecordDatabase, PasswordOfOneServerGoesToNoOther)
{
    settings.setValue("cloudBackend", "webdav");
    settings.setValue("cloudWebDAVURL", "http://127.0.0.1:9/dav/");
    keepWebDAVPassword(secrets, settings, QUrl("https://cloud.example/dav/"), SECRET_MARK, [](const SecretResult &) {});
    dispatch.runReady();
    const RecordError error = fetchError(*choose());
    EXPECT_EQ(error.code, RecordErrorCode::notAuthenticated);
    EXPECT_EQ(error.description, "The password cannot be read: it is for another server; 'lanternactl cloud setup' asks for this one's");
}

TEST_F(ChosenRecordDatabase, SessionWithOneServerGoesToNoOther)
{
    CloudKitConfiguration configuration;
    const auto sessionAt = [&](const QString &baseURL) {
        configuration.baseURL = baseURL;
        std::optional<SecretResult> answer;
        keptCloudKitSession(secrets, settings, configuration).read([&](const SecretResult &result) { answer = result; });
        dispatch.runReady();
        return answer ? answer->secret : QString("never answered");
    };
    secrets.secrets[cloudKitSessionSecret] = "106__" SECRET_MARK;
    EXPECT_EQ(sessionAt("https://other.example"), "106__" SECRET_MARK) << "put there by hand, for whatever server";
    configuration.baseURL = "https://icloud.example/";
    keptCloudKitSession(secrets, settings, configuration).store("106__" SECRET_MARK "2", [](const SecretResult &) {});
    dispatch.runReady();
    EXPECT_EQ(sessionAt("https://icloud.example:443"), "106__" SECRET_MARK "2");
    for (const char *other : {"https://other.example", "https://icloud.example:8443", "http://icloud.example"})
        EXPECT_EQ(sessionAt(other), "") << other;
}

TEST(DatabaseChoice, IsMadeByItsSettingsAndNotByWhatIsNotedOfItsCalls)
{
    for (const char *key : {"cloudBackend", "cloudKitContainer", "cloudWebDAVUser", "cloudCredentialsDate"})
        EXPECT_TRUE(isDatabaseChoice(key)) << key;
    for (const char *key : {"cloudLastSave", "cloudLastError", "cloudKitThrottle", "whichIP"})
        EXPECT_FALSE(isDatabaseChoice(key)) << key;
}
