#include "cli/CloudRun.h"

#include "tests/fakes/FakeRecordDatabase.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/NeverLogged.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QString recordName = "userCustomizationsDict";

class NoSecrets : public SecretStore
{
public:
    explicit NoSecrets(Dispatch &dispatch) : m_dispatch(dispatch) { }
    void read(const QString &, Completion completion) override
    {
        m_dispatch.mainAsync([this, completion] { completion(answer); });
    }
    void write(const QString &, const QString &, Completion) override { FAIL(); }

    SecretResult answer;

private:
    Dispatch &m_dispatch;
};

class CloudRunTest : public testing::Test
{
protected:
    CommandResult run(const QStringList &arguments)
    {
        const ParsedCloudOptions parsed = parseCloudOptions(arguments);
        EXPECT_EQ(parsed.error, "");
        bool finished = false;
        CloudRun command({dispatch, settings, log,
                             {[this] { return std::make_unique<FakeRecordDatabase>(dispatch, store); }, [] { return QString("en_US"); },
                                 [this](const QByteArray &) { return fileError; }, [this](const QByteArray &) { return keepError; }},
                             [this]() -> SecretStore & { return secrets; }, "/data/records.sqlite",
                             [this](const QString &question) {
                                 questions.append(question);
                                 return agrees;
                             }},
            parsed.options);
        command.start([&] { finished = true; });
        EXPECT_FALSE(finished);
        dispatch.runReady();
        EXPECT_TRUE(finished);
        return command.result();
    }
    void put(const QByteArray &document) { store->put({recordName, "UserDictionary", {}, {{"dictAsset", document}}, {}, {}}, dispatch.now()); }
    [[nodiscard]] QByteArray stored() const { return store->record(recordName).value_or(Record{}).assets.value("dictAsset"); }
    QString write(const QByteArray &bytes)
    {
        QFile file(folder.filePath("document.json"));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    }

    QTemporaryDir folder;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    SettingsStore settings{folder.path(), log};
    NoSecrets secrets{dispatch};
    std::shared_ptr<FakeRecordStore> store = std::make_shared<FakeRecordStore>();
    QString fileError;
    QString keepError;
    QStringList questions;
    bool agrees = false;
};

} // namespace

TEST(CloudCommandLine, IsReadOrRefusedInWords)
{
    using enum CloudOptions::Action;
    EXPECT_EQ(parseCloudOptions({"status"}).options, (CloudOptions{status, {}, false}));
    EXPECT_EQ(parseCloudOptions({"export", "a.json"}).options, (CloudOptions{exportFile, "a.json", false}));
    EXPECT_EQ(parseCloudOptions({"import", "--yes", "a.json"}).options, (CloudOptions{importFile, "a.json", true}));
    EXPECT_EQ(parseCloudOptions({}).error, "cloud: one of status, setup, sign-in, sign-out, pull, push, export and import is missing");
    EXPECT_EQ(parseCloudOptions({"steal"}).error, "cloud: unknown command 'steal'");
    EXPECT_EQ(parseCloudOptions({"export"}).error, "cloud: export: a file is missing");
    EXPECT_EQ(parseCloudOptions({"export", "a", "b"}).error, "cloud: export: unknown argument 'b'");
    EXPECT_EQ(parseCloudOptions({"export", "--yes", "a"}).error, "cloud: export: unknown argument '--yes'");
    EXPECT_EQ(parseCloudOptions({"sign-in"}).options, (CloudOptions{signIn, {}, false}));
    EXPECT_EQ(parseCloudOptions({"callback", "cloudkit-a:?ckSession=b"}).options, (CloudOptions{callback, "cloudkit-a:?ckSession=b", false}));
    EXPECT_EQ(parseCloudOptions({"callback"}).options, (CloudOptions{callback, {}, false}));
    for (const QStringList &address : {QStringList{""}, {"a", "106__secret"}})
        EXPECT_EQ(parseCloudOptions(QStringList("callback") + address).error, "cloud: callback: one address is expected, or none to be asked for it");
    EXPECT_EQ(parseCloudOptions({"pull", "now"}).error, "cloud: pull: unknown argument 'now'");
}

TEST_F(CloudRunTest, StatusOfTheStoreOnThisMachine)
{
    EXPECT_EQ(run({"status"}).output, "Store:      on this machine, /data/records.sqlite\nLast save:  never\nLast error: none\n");
    settings.setValue("cloudLastError", "There is no room. (25)");
    settings.setValue("cloudLastSave", dispatch.now());
    settings.setValue("cloudLastStore", "webdav https://cloud.example/");
    EXPECT_TRUE(run({"status"}).output.endsWith("Last save:  never\nLast error: none\n")) << "both were of another store";
    settings.setValue("cloudLastStore", "embedded");
    EXPECT_TRUE(run({"status"}).output.endsWith("Last error: There is no room. (25)\n"));
    EXPECT_FALSE(run({"status"}).output.contains("never"));
}

TEST_F(CloudRunTest, StatusOfAServerSaysWhoAsksButNoSecret)
{
    settings.setValue("cloudBackend", "webdav");
    settings.setValue("cloudWebDAVURL", "https://cloud.example/dav/?key=" SECRET_MARK);
    settings.setValue("cloudWebDAVUser", "keeper");
    EXPECT_TRUE(run({"status"}).output.startsWith("Store:      WebDAV, https://cloud.example/dav/\nAccount:    keeper, without a password\n"));
    secrets.answer.secret = SECRET_MARK;
    EXPECT_TRUE(run({"status"}).output.contains("Account:    keeper\n"));
    settings.setValue("cloudBackend", "cloudkit");
    EXPECT_TRUE(run({"status"}).output.startsWith("Store:      iCloud, no container set (production)\n"));
    settings.setValue("cloudKitContainer", "iCloud.com.example");
    EXPECT_TRUE(run({"status"}).output.startsWith("Store:      iCloud, iCloud.com.example (production)\nAccount:    signed in\n"));
    settings.setValue("cloudKitUser", "_904181d1");
    EXPECT_TRUE(run({"status"}).output.contains("Account:    signed in as _904181d1\n"));
    secrets.answer = {};
    EXPECT_TRUE(run({"status"}).output.contains("Account:    nobody is signed in\n"));
    secrets.answer = {{}, "the keyring is locked"};
    EXPECT_TRUE(run({"status"}).output.contains("Account:    not known: the keyring is locked\n"));
}

TEST_F(CloudRunTest, PullTakesDocumentAndTablesIntoTheSettings)
{
    EXPECT_EQ(run({"pull"}).error, "no document is stored yet");
    put(R"({"MACAddressesByNetworkSegment":{"Cloud":{"10.0.0.1":"02:00:00:00:00:01"}},"foo":1})");
    EXPECT_EQ(run({"pull"}).output, "Read 2 members, with tables of 1 network.\n");
    EXPECT_EQ(settings.dictionary("MACAddressesByNetworkSegment").keys(), QStringList{"Cloud"});
    EXPECT_EQ(settings.dictionary("LastImportedCloudKitDict").value("foo").toInt(), 1);
    put("[1]");
    EXPECT_EQ(run({"pull"}).exitCode, 1);
    EXPECT_EQ(settings.dictionary("MACAddressesByNetworkSegment").keys(), QStringList{"Cloud"});
}

TEST_F(CloudRunTest, PushSavesTablesAndSnapshotBesideWhatOthersStored)
{
    put(R"({"foo":1})");
    EXPECT_EQ(run({"push"}).output, "Saved.\n");
    EXPECT_EQ(stored(), R"({"foo":1})");
    settings.setValue("recentICloudActivity", QVariantMap{{"Harbour", QVariantMap{{"10.0.0.1", "02:00:00:00:00:01"}}}});
    settings.setValue("MACAddressesByNetworkSegment", QVariantMap{{"Harbour", QVariantMap{{"lastUpdate", "of a pass under way"}}}});
    EXPECT_EQ(run({"push"}).output, "Saved, with tables of 1 network.\n");
    EXPECT_TRUE(settings.date("cloudLastSave").isValid());
    EXPECT_EQ(stored(), R"({"foo":1,"MACAddressesByNetworkSegment":{"Harbour":{"10.0.0.1":"02:00:00:00:00:01"}}})");
}

TEST_F(CloudRunTest, PushThatFailsEndsAndSaysWhy)
{
    settings.setValue("recentICloudActivity", QVariantMap{{"Harbour", QDateTime::currentDateTimeUtc()}});
    EXPECT_TRUE(run({"push"}).error.startsWith("the document cannot be saved: The document cannot be written as JSON: "));
    settings.remove("recentICloudActivity");
    put("[1]");
    keepError = "No space left on device";
    EXPECT_EQ(
        run({"push"}).error, "the document cannot be saved: The stored document is unreadable and could not be kept: No space left on device (1)");
    EXPECT_EQ(stored(), "[1]");
    put("{}");
    fileError = "No space left on device";
    EXPECT_EQ(run({"push"}).exitCode, 1);
    EXPECT_TRUE(settings.text("cloudLastError").startsWith("The document was cleared, for its file could not be written: "));
}

TEST_F(CloudRunTest, ExportWritesTheBytesAndNeverOverAFile)
{
    const QByteArray document = R"({ "n": 1e400 })";
    put(document);
    const QString path = folder.filePath("exported.json");
    EXPECT_EQ(run({"export", path}).output, "Wrote 14 bytes to " + path + ".\n");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), document);
    EXPECT_EQ(file.permissions() & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
    put("{}");
    EXPECT_EQ(run({"export", path}).exitCode, 1);
    file.seek(0);
    EXPECT_EQ(file.readAll(), document);
}

TEST_F(CloudRunTest, ImportAsksBeforeItReplaces)
{
    const QString file = write(R"({"new":1})");
    EXPECT_EQ(run({"import", file}).exitCode, 0);
    EXPECT_EQ(questions.size(), 0) << "nothing was there to be replaced";
    EXPECT_EQ(stored(), R"({"new":1})");
    put(R"({"old":1})");
    EXPECT_EQ(run({"import", file}).error, "nothing was changed");
    EXPECT_EQ(questions, QStringList{"Replace the stored document of 9 bytes?"});
    EXPECT_EQ(stored(), R"({"old":1})");
    EXPECT_EQ(run({"import", file, "--yes"}).exitCode, 0);
    EXPECT_EQ(stored(), R"({"new":1})");
}

TEST_F(CloudRunTest, ImportTakesNothingButAnObject)
{
    put(R"({"old":1})");
    for (const char *bytes : {"[1]", "{", "", "\xff"})
        EXPECT_EQ(run({"import", write(bytes), "--yes"}).exitCode, 1) << bytes;
    EXPECT_EQ(run({"import", folder.filePath("missing"), "--yes"}).exitCode, 1);
    EXPECT_EQ(stored(), R"({"old":1})");
}
