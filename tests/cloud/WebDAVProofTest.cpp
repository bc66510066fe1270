#include "tests/cloud/FileServer.h"
#include "tests/cloud/WebDAVFixture.h"

#include <QDir>

using namespace lanterna;

namespace
{

using Tags = PlayedFileServer::Tags;
using Locks = PlayedFileServer::Locks;

class WebDAVProofTest : public WebDAVFixture
{
protected:
    /// The words with which the server is refused.
    QString refusal()
    {
        const auto error = prove();
        EXPECT_TRUE(error);
        EXPECT_EQ(error ? int(error->code) : 0, serverRejectedRequest);
        EXPECT_TRUE(server.files.isEmpty()) << "something was left behind";
        return error ? error->description : QString();
    }
    void expectFit()
    {
        const auto error = prove();
        EXPECT_FALSE(error) << describe(*error).toStdString();
        EXPECT_TRUE(server.files.isEmpty()) << "something was left behind";
    }
};

class RealServerProofTest : public WebDAVProofTest, public testing::WithParamInterface<FileServer::Kind>
{
};

std::string kindName(const testing::TestParamInfo<FileServer::Kind> &info)
{
    switch (info.param) {
    case FileServer::Kind::lighttpd:
        return "Lighttpd";
    case FileServer::Kind::lighttpdWithoutLocks:
        return "LighttpdWithoutLocks";
    case FileServer::Kind::apache:
        return "Apache";
    case FileServer::Kind::apacheWithoutLocks:
        break;
    }
    return "ApacheWithoutLocks";
}

} // namespace

TEST_P(RealServerProofTest, RealServerIsFitAndHasNothingLeftOnIt)
{
    FileServer &real = FileServer::shared(GetParam());
    if (!real.hindrance().isEmpty() && qEnvironmentVariable("CI") == QLatin1String("true"))
        FAIL() << real.hindrance().toStdString();
    if (!real.hindrance().isEmpty())
        GTEST_SKIP() << real.hindrance().toStdString();
    QtDispatch patient;
    WebDAVRecordDatabase database(patient, {real.url("proof"), FileServer::user, [] { return FileServer::password; }});
    std::optional<std::optional<RecordError>> result;
    database.prove([&](const auto &error) { result = error; });
    ASSERT_TRUE(runUntil([&] { return result.has_value(); }));
    EXPECT_FALSE(*result) << describe(**result).toStdString();
    EXPECT_TRUE(QDir(real.file("proof")).exists());
    EXPECT_EQ(QDir(real.file("proof")).entryList(QDir::Files), QStringList());
}

INSTANTIATE_TEST_SUITE_P(Kinds, RealServerProofTest,
    testing::Values(
        FileServer::Kind::lighttpd, FileServer::Kind::lighttpdWithoutLocks, FileServer::Kind::apache, FileServer::Kind::apacheWithoutLocks),
    kindName);

TEST_F(WebDAVProofTest, StrongTagsWithoutLocksAreEnough)
{
    expectFit();
}

TEST_F(WebDAVProofTest, LocksAreEnoughWithWeakTagsAndWithNone)
{
    server.locks = Locks::good;
    for (const Tags tags : {Tags::weak, Tags::weakAndAlwaysTheSame, Tags::strongAndAlwaysTheSame, Tags::none}) {
        server.tags = tags;
        expectFit();
    }
}

TEST_F(WebDAVProofTest, ServerThatIgnoresIfMatchIsRefused)
{
    server.honoursIfMatch = false;
    EXPECT_EQ(refusal(), "127.0.0.1 does not honour If-Match: it lets one machine overwrite what another has changed.");
    server.locks = Locks::good;
    EXPECT_TRUE(refusal().contains("If-Match"));
}

TEST_F(WebDAVProofTest, ServerThatIgnoresIfNoneMatchIsRefused)
{
    server.honoursIfNoneMatch = false;
    EXPECT_EQ(refusal(), "127.0.0.1 does not honour If-None-Match: it lets one machine overwrite what another has created.");
}

TEST_F(WebDAVProofTest, TagsThatDoNotTellVersionsApartAreRefusedWithoutLocks)
{
    for (const Tags tags : {Tags::weak, Tags::weakAndAlwaysTheSame, Tags::strongAndAlwaysTheSame, Tags::none}) {
        server.tags = tags;
        EXPECT_TRUE(refusal().contains("two machines could overwrite each other")) << int(tags);
    }
}

TEST_F(WebDAVProofTest, LocksThatKeepNobodyOutAreNotReliedOn)
{
    for (const Locks locks : {Locks::ignored, Locks::shared}) {
        server.locks = locks;
        server.tags = Tags::weak;
        EXPECT_TRUE(refusal().contains("does not keep to the locks")) << int(locks);
        server.tags = Tags::strong;
        expectFit();
        server.requests.clear();
        valueOf(save(newRecord()));
        EXPECT_EQ(server.asked(), QList<QByteArray>{"PUT /records/a.record"});
        server.files.clear();
    }
}

TEST_F(WebDAVProofTest, WeakTagThatBecomesStrongIsWaitedFor)
{
    server.tags = Tags::weak;
    int looks = 0;
    server.instead = [&](const PlayedFileServer::Request &request) {
        if (request.method == "GET" && ++looks == 3)
            server.tags = Tags::strong;
        return std::nullopt;
    };
    expectFit();
    EXPECT_EQ(looks, 3);
}

TEST_F(WebDAVProofTest, UnfitServerGetsNoRecord)
{
    server.honoursIfMatch = false;
    EXPECT_EQ(codeOf(save(newRecord())), serverRejectedRequest);
    EXPECT_TRUE(server.files.isEmpty());
    server.honoursIfMatch = true;
    EXPECT_EQ(valueOf(save(newRecord())).assets, newRecord().assets);
}

TEST_F(WebDAVProofTest, FolderIsMadeOneLevelDeep)
{
    server.hasFolder = false;
    expectFit();
    EXPECT_TRUE(server.hasFolder);
    server.hasFolder = false;
    server.hasFolderAbove = false;
    const auto error = prove();
    ASSERT_TRUE(error);
    EXPECT_EQ(int(error->code), unknownItem);
    EXPECT_EQ(error->description, "On 127.0.0.1 the folder above the one for the records does not exist.");
}

TEST_F(WebDAVProofTest, WhatIsNoWebDAVFolderIsRefused)
{
    server.instead = [](const PlayedFileServer::Request &) { return PlayedFileServer::reply("200 OK", "DAV: 1\r\n", "<html>Welcome</html>"); };
    EXPECT_EQ(refusal(), "This address on 127.0.0.1 is no WebDAV folder.");
}

TEST_F(WebDAVProofTest, WrongPasswordIsNoFaultOfTheServer)
{
    server.instead = [](const PlayedFileServer::Request &) {
        return PlayedFileServer::reply("401 Unauthorized", "WWW-Authenticate: Basic realm=\"files\"\r\n");
    };
    const auto error = prove();
    ASSERT_TRUE(error);
    EXPECT_EQ(int(error->code), notAuthenticated);
    EXPECT_EQ(error->description, "127.0.0.1 does not accept user and password.");
}

TEST_F(WebDAVProofTest, ProofThatIsCutShortRemovesItsFileAndGivesBackItsLock)
{
    server.locks = Locks::good;
    server.instead = [&](const PlayedFileServer::Request &request) -> std::optional<QByteArray> {
        const bool underLock = request.method == "PUT" && request.headers.contains("if");
        return underLock ? std::optional(PlayedFileServer::reply("507 Insufficient Storage")) : std::nullopt;
    };
    const auto error = prove();
    ASSERT_TRUE(error);
    EXPECT_EQ(int(error->code), quotaExceeded);
    EXPECT_TRUE(server.files.isEmpty());
}

TEST_F(WebDAVProofTest, RealWeakTagIsWaitedOutWhereLocksAreForbidden)
{
    FileServer &real = FileServer::shared(FileServer::Kind::apacheWithoutLocks);
    if (!real.hindrance().isEmpty())
        GTEST_SKIP() << real.hindrance().toStdString();
    account = {real.url("waited"), FileServer::user, [] { return FileServer::password; }};
    QtDispatch patient;
    WebDAVRecordDatabase database(patient, account);
    std::optional<RecordResult<Record>> result;
    database.saveRecord(newRecord("1"), [&](const auto &first) {
        database.saveRecord(changed(valueOf(first), "2"),
            [&, first](const auto &) { database.saveRecord(changed(valueOf(first), "3"), [&](const auto &third) { result = third; }); });
    });
    ASSERT_TRUE(runUntil([&] { return result.has_value(); }));
    EXPECT_EQ(codeOf(*result), serverRecordChanged);
}
