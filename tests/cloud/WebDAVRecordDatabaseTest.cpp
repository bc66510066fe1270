#include "cloud/WebDAVRecordFile.h"
#include "tests/cloud/WebDAVFixture.h"
#include "tests/support/NeverLogged.h"

using namespace lanterna;

namespace
{

using Tags = PlayedFileServer::Tags;
using Locks = PlayedFileServer::Locks;
using Request = PlayedFileServer::Request;
using Instead = std::optional<QByteArray>;

class WebDAVRecordDatabaseTest : public WebDAVFixture
{
protected:
    /// From now on requests of this method for a record are answered otherwise.
    void answerTo(const QByteArray &method, const QByteArray &reply)
    {
        server.instead = [=](const Request &request) { return request.method == method && isRecord(request) ? Instead(reply) : std::nullopt; };
    }
    /// From now on requests of this method for a record are done, but their answers get lost, as often as that.
    void loseAnswersTo(const QByteArray &method, int times)
    {
        server.instead = [this, method, times](const Request &request) mutable -> Instead {
            if (request.method != method || !isRecord(request) || times-- <= 0)
                return std::nullopt;
            (void)server.answer(request);
            return QByteArray();
        };
    }
    static bool isRecord(const Request &request) { return request.path.endsWith(".record"); }
    static QByteArray fileOf(const Record &record)
    {
        return makeWebDAVRecordFile(record, QDateTime::currentDateTimeUtc(), QStringLiteral("other")).bytes;
    }
};

} // namespace

TEST_F(WebDAVRecordDatabaseTest, IdleDatabaseAsksNothing)
{
    (void)database();
    (void)runUntil([end = std::chrono::steady_clock::now() + std::chrono::milliseconds(30)] { return std::chrono::steady_clock::now() > end; });
    EXPECT_TRUE(server.requests.isEmpty());
}

TEST_F(WebDAVRecordDatabaseTest, SecondSaveIsOneConditionalRequest)
{
    const Record first = valueOf(save(newRecord()));
    server.requests.clear();
    (void)valueOf(fetch());
    EXPECT_NE(valueOf(save(changed(first, "2"))).changeTag, first.changeTag);
    EXPECT_EQ(server.asked(), (QList<QByteArray>{"GET /records/a.record", "PUT /records/a.record"}));
    EXPECT_TRUE(server.requests.last().headers.contains("if-match"));
}

TEST_F(WebDAVRecordDatabaseTest, WeakTagThatNeverChangesLetsNoStaleSavePass)
{
    server.locks = Locks::good;
    server.tags = Tags::weakAndAlwaysTheSame;
    const Record first = valueOf(save(newRecord("1")));
    const Record second = valueOf(save(changed(first, "2")));
    EXPECT_EQ(codeOf(save(changed(first, "3"))), serverRecordChanged);
    EXPECT_EQ(valueOf(fetch()), second);
    EXPECT_FALSE(hasLocks());
}

TEST_F(WebDAVRecordDatabaseTest, WeakTagWithoutLocksIsWaitedOutAndNeverPassed)
{
    const Record first = valueOf(save(newRecord("1")));
    server.tags = Tags::weak;
    EXPECT_EQ(codeOf(save(changed(first, "2"))), serviceUnavailable);
    int looks = 0;
    server.instead = [&](const Request &request) -> Instead {
        if (request.method == "GET" && ++looks == 2)
            server.tags = Tags::strong;
        return std::nullopt;
    };
    EXPECT_EQ(valueOf(save(changed(first, "3"))).assets, newRecord("3").assets);
}

TEST_F(WebDAVRecordDatabaseTest, LockIsGivenBackHoweverTheSaveEnds)
{
    server.locks = Locks::good;
    const Record first = valueOf(save(newRecord()));
    EXPECT_FALSE(hasLocks());
    for (const char *status : {"507 Insufficient Storage", "403 Forbidden", "500 Internal Server Error", "423 Locked", "412 Precondition Failed"}) {
        answerTo("PUT", PlayedFileServer::reply(status));
        (void)errorOf(save(changed(first, "2")));
        EXPECT_FALSE(hasLocks()) << status;
        EXPECT_EQ(server.asked().last(), "UNLOCK /records/a.record");
    }
    loseAnswersTo("PUT", 5);
    (void)save(changed(first, "2"));
    EXPECT_FALSE(hasLocks());
}

TEST_F(WebDAVRecordDatabaseTest, LockOfSomebodyElseIsWaitedForAndThenAnError)
{
    server.locks = Locks::good;
    const Record first = valueOf(save(newRecord()));
    server.files["/records/a.record"].lock = "urn:somebody";
    EXPECT_EQ(codeOf(save(changed(first, "2"))), serviceUnavailable);
    int tries = 0;
    server.instead = [&](const Request &request) -> Instead {
        if (request.method == "LOCK" && ++tries == 3)
            server.files["/records/a.record"].lock.clear();
        return std::nullopt;
    };
    EXPECT_EQ(valueOf(save(changed(first, "3"))).assets, newRecord("3").assets);
}

TEST_F(WebDAVRecordDatabaseTest, UpdateOfWhatIsGoneLeavesNoEmptyFile)
{
    server.locks = Locks::good;
    const Record first = valueOf(save(newRecord()));
    server.files.clear();
    EXPECT_EQ(codeOf(save(changed(first, "2"))), unknownItem);
    EXPECT_TRUE(server.files.isEmpty());
}

TEST_F(WebDAVRecordDatabaseTest, FileOfNoBytesStandsForNoRecord)
{
    for (const Locks locks : {Locks::none, Locks::good}) {
        server.locks = locks;
        drop();
        server.files.clear();
        stored() = ""; // what a lock leaves whose owner was switched off
        EXPECT_EQ(codeOf(fetch()), unknownItem);
        EXPECT_TRUE(valueOf(query()).isEmpty());
        stores(newRecord());
    }
}

TEST_F(WebDAVRecordDatabaseTest, LostAnswerToAWriteThatArrivedIsASuccess)
{
    for (const Locks locks : {Locks::none, Locks::good}) {
        server.locks = locks;
        drop();
        server.files.clear();
        server.instead = nullptr;
        const Record first = valueOf(save(newRecord()));
        loseAnswersTo("PUT", 5);
        const Record second = stores(changed(first, "2"));
        loseAnswersTo("PUT", 1); // where the request is repeated on the way, the second one is refused
        stores(changed(second, "3"));
        loseAnswersTo("PUT", 1);
        stores(newRecord("4", "b"));
    }
}

TEST_F(WebDAVRecordDatabaseTest, LostWriteIsAFailure)
{
    const Record first = valueOf(save(newRecord()));
    answerTo("PUT", {});
    EXPECT_EQ(codeOf(save(changed(first, "2"))), networkFailure);
    EXPECT_EQ(codeOf(save(newRecord("3", "b"))), networkFailure);
    EXPECT_EQ(valueOf(fetch()), first);
}

TEST_F(WebDAVRecordDatabaseTest, ErrorOfAServerInBetweenIsLookedAfter)
{
    const Record first = valueOf(save(newRecord()));
    for (const char *status : {"502 Bad Gateway", "500 Internal Server Error", "200 OK"}) {
        server.instead = [&](const Request &request) -> Instead {
            if (request.method != "PUT")
                return std::nullopt;
            (void)server.answer(request);
            return PlayedFileServer::reply(status, {}, "<html>");
        };
        stores(changed(valueOf(fetch()), status));
    }
    answerTo("PUT", PlayedFileServer::reply("200 OK", {}, "<html>Please sign in</html>"));
    EXPECT_EQ(codeOf(save(changed(valueOf(fetch()), "lost"))), networkFailure);
}

TEST_F(WebDAVRecordDatabaseTest, RedirectIsNamedAndNotFollowed)
{
    PlayedFileServer elsewhere;
    const Record first = valueOf(save(newRecord()));
    const QUrl target("http://localhost:" + QString::number(elsewhere.url().port()) + "/records/a.record");
    server.instead = [&](const Request &) { return PlayedFileServer::reply("307 Temporary Redirect", "Location: " + target.toEncoded() + "\r\n"); };
    for (const RecordError &error : {errorOf(fetch()), errorOf(save(changed(first, "2"))), errorOf(query())}) {
        EXPECT_EQ(int(error.code), serverRejectedRequest);
        EXPECT_TRUE(error.description.contains("127.0.0.1 sends on to localhost")) << error.description.toStdString();
    }
    EXPECT_TRUE(elsewhere.requests.isEmpty());
    server.instead = [&](const Request &) { return PlayedFileServer::reply("301 Moved Permanently", "Location: /elsewhere/\r\n"); };
    EXPECT_EQ(codeOf(fetch()), serverRejectedRequest);
}

TEST_F(WebDAVRecordDatabaseTest, PasswordIsAskedForEachTime)
{
    (void)fetch();
    EXPECT_EQ(
        server.requests.last().headers.value("authorization"), "Basic " + QString::fromUtf8("ada:se:cr\u00E9t " SECRET_MARK).toUtf8().toBase64());
    password = "new";
    (void)fetch();
    EXPECT_EQ(server.requests.last().headers.value("authorization"), "Basic " + QByteArray("ada:new").toBase64());
}

TEST_F(WebDAVRecordDatabaseTest, NothingIsAskedWithoutThePassword)
{
    password = QString();
    EXPECT_EQ(codeOf(fetch()), notAuthenticated);
    EXPECT_EQ(codeOf(save(newRecord())), notAuthenticated);
    EXPECT_EQ(codeOf(query()), notAuthenticated);
    EXPECT_TRUE(server.requests.isEmpty());
}

TEST_F(WebDAVRecordDatabaseTest, NoUserIsNobody)
{
    account.user.clear();
    valueOf(save(newRecord()));
    EXPECT_FALSE(server.requests.last().headers.contains("authorization"));
}

TEST_F(WebDAVRecordDatabaseTest, NothingGoesToAnAddressThatIsNotSecure)
{
    for (const char *address :
        {"http://192.0.2.1/records", "https://ada:" SECRET_MARK "@cloud.example/", "https://cloud.example/?a=" SECRET_MARK, "", "/" SECRET_MARK}) {
        account.folder = QUrl(address);
        drop();
        const RecordError error = errorOf(save(newRecord()));
        EXPECT_EQ(int(error.code), invalidArguments) << address;
        EXPECT_FALSE(holdsSecret(error.description));
    }
    account = {server.url(), "a:b", account.password};
    drop();
    EXPECT_EQ(codeOf(fetch()), invalidArguments);
    EXPECT_TRUE(server.requests.isEmpty());
}

TEST_F(WebDAVRecordDatabaseTest, AnswersThatAreNoRecordAreNetworkFailures)
{
    const Record first = valueOf(save(newRecord()));
    const QByteArray file = stored();
    QByteArray flipped = file;
    flipped.back() = char(flipped.back() ^ 1);
    const QByteArray html("<html><title>Sign in to the network</title></html>\n");
    for (const QByteArray &bytes : {html, file.chopped(1), file + "x", flipped, fileOf(newRecord("content", "b")), QByteArray("{}\n")}) {
        answerTo("GET", PlayedFileServer::reply("200 OK", "Content-Type: text/html\r\n", bytes));
        EXPECT_EQ(codeOf(fetch()), networkFailure) << bytes.toStdString();
    }
    answerTo("GET", "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 100000\r\n\r\n" + file);
    EXPECT_EQ(codeOf(fetch()), networkFailure);
    answerTo("GET", PlayedFileServer::reply("206 Partial Content", {}, file));
    EXPECT_EQ(codeOf(fetch()), networkFailure);
    server.instead = nullptr;
    EXPECT_EQ(valueOf(fetch()), first);
}

TEST_F(WebDAVRecordDatabaseTest, WhatCannotBeReadIsNotOverwritten)
{
    stored() = "not ours";
    EXPECT_EQ(codeOf(fetch()), networkFailure);
    EXPECT_EQ(codeOf(save(newRecord())), serverRecordChanged);
    EXPECT_EQ(stored(), "not ours");
}

TEST_F(WebDAVRecordDatabaseTest, MoreThanFiftyMegabytesAreNeitherSentNorTaken)
{
    EXPECT_EQ(codeOf(save(newRecord(QByteArray(largestWebDAVAsset + 1, 'x')))), invalidArguments);
    EXPECT_TRUE(server.files.isEmpty());
    answerTo("GET", PlayedFileServer::reply("200 OK", {}, QByteArray(HttpExchange::largestBody + 1, 'x')));
    const RecordError error = errorOf(fetch());
    EXPECT_EQ(int(error.code), networkFailure);
    EXPECT_TRUE(error.description.contains("50 MB")) << error.description.toStdString();
}

TEST_F(WebDAVRecordDatabaseTest, ThrottlingAndFullServersAreSaidSo)
{
    valueOf(save(newRecord()));
    answerTo("PUT", PlayedFileServer::reply("429 Too Many Requests", "Retry-After: 110207\r\n"));
    const RecordError error = errorOf(save(newRecord("2", "b")));
    EXPECT_EQ(int(error.code), requestRateLimited);
    EXPECT_EQ(error.retryAfter, 110207);
    answerTo("PUT", PlayedFileServer::reply("507 Insufficient Storage"));
    EXPECT_EQ(codeOf(save(newRecord("2", "b"))), quotaExceeded);
}

TEST_F(WebDAVRecordDatabaseTest, FolderThatWentAwayIsMadeAgain)
{
    for (const Locks locks : {Locks::none, Locks::good}) {
        server.locks = locks;
        drop();
        const Record first = valueOf(save(newRecord()));
        server.files.clear();
        server.hasFolder = false;
        EXPECT_EQ(codeOf(save(changed(first, "2"))), unknownItem);
        EXPECT_FALSE(server.hasFolder);
        EXPECT_TRUE(valueOf(query()).isEmpty());
        stores(newRecord());
        server.files.clear();
    }
}

TEST_F(WebDAVRecordDatabaseTest, QueryReadsRecordsOnly)
{
    const Record record = valueOf(save(newRecord()));
    server.files["/records/notes.txt"].bytes = "somebody's";
    server.files["/records/%2e%2e%2fb.record"].bytes = "a path";
    server.files["/records/c.record/"].bytes = "a folder";
    server.requests.clear();
    EXPECT_EQ(valueOf(query()), QList<Record>{record});
    EXPECT_EQ(server.asked(), (QList<QByteArray>{"PROPFIND /records/", "GET /records/a.record"}));
}

TEST_F(WebDAVRecordDatabaseTest, DamagedAssetComesEmptyAndTheRestStillComes)
{
    const Record first = valueOf(save(newRecord()));
    const Record second = valueOf(save(newRecord("2", "b")));
    stored().chop(1);
    server.files["/records/c.record"].bytes = "somebody's";
    EXPECT_EQ(valueOf(query()), (QList<Record>{changed(first, {}), second}));
    server.files.remove("/records/a.record");
    server.files.remove("/records/b.record");
    EXPECT_EQ(codeOf(query()), networkFailure);
}

TEST_F(WebDAVRecordDatabaseTest, QueryEndsAtTheFirstServerThatRefuses)
{
    valueOf(save(newRecord()));
    valueOf(save(newRecord("2", "b")));
    answerTo("GET", PlayedFileServer::reply("401 Unauthorized"));
    server.requests.clear();
    EXPECT_EQ(codeOf(query()), notAuthenticated);
    EXPECT_EQ(server.requests.size(), 2);
}

TEST_F(WebDAVRecordDatabaseTest, FolderOfTooManyRecordsIsAnError)
{
    for (int number = 0; number <= WebDAVRecordDatabase::mostRecords; ++number)
        server.files["/records/" + QByteArray::number(number) + ".record"].bytes = "x";
    EXPECT_EQ(codeOf(query()), serverRejectedRequest);
    EXPECT_EQ(server.requests.size(), 1);
}

TEST_F(WebDAVRecordDatabaseTest, ListingThatIsNoneIsANetworkFailure)
{
    const QByteArray entities =
        "<!DOCTYPE m [<!ENTITY e \"a.record\">]><multistatus xmlns=\"DAV:\"><response><href>&e;</href></response></multistatus>";
    for (const QByteArray &reply : {PlayedFileServer::reply("200 OK", {}, "<html>"), PlayedFileServer::reply("207 Multi-Status", {}, "<html/>"),
             PlayedFileServer::reply("207 Multi-Status", {}, entities), PlayedFileServer::reply("207 Multi-Status")}) {
        server.instead = [&](const Request &) { return reply; };
        EXPECT_EQ(codeOf(query()), networkFailure) << reply.toStdString();
    }
}

TEST_F(WebDAVRecordDatabaseTest, LongestNamesHaveFilesOfTheirOwn)
{
    const QString name(254, u'z');
    const Record first = valueOf(save(newRecord("1", name + 'a')));
    const Record second = valueOf(save(newRecord("2", name + 'b')));
    EXPECT_EQ(valueOf(fetch(name + 'a')), first);
    EXPECT_EQ(valueOf(fetch(name + 'b')), second);
    EXPECT_EQ(valueOf(query()).size(), 2);
    for (auto file = server.files.cbegin(); file != server.files.cend(); ++file)
        EXPECT_LT(file.key().size(), 220);
}

TEST_F(WebDAVRecordDatabaseTest, DatabaseMayBeDroppedInTheMiddleOfEverything)
{
    server.locks = Locks::good;
    valueOf(save(newRecord()));
    const auto whole = server.requests.size() + 5; // of a second save, if it went on to its end
    for (qsizetype requests = 1; requests < whole; ++requests) {
        drop();
        server.requests.clear();
        bool answered = false;
        database().saveRecord(newRecord("2", "b" + QString::number(requests)), [&](const auto &) { answered = true; });
        ASSERT_TRUE(runUntil([&] { return server.requests.size() >= requests || answered; }));
        if (answered)
            break;
        drop();
        (void)fetch();
        EXPECT_FALSE(answered);
        server.files.clear();
    }
}

TEST_F(WebDAVRecordDatabaseTest, FolderThatGoesAwayUnderTheLockIsMadeAgain)
{
    server.locks = Locks::good;
    bool went = false;
    server.instead = [&](const Request &request) -> Instead {
        if (request.method != "PUT" || !isRecord(request) || went)
            return std::nullopt;
        went = true;
        return PlayedFileServer::reply("409 Conflict");
    };
    stores(newRecord());
    EXPECT_TRUE(went);
    EXPECT_FALSE(hasLocks());
}
