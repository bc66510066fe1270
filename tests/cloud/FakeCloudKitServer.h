#pragma once

#include "cloud/CloudKitRequests.h"
#include "platform/SettingsStore.h"
#include "tests/cloud/FakeHttpPort.h"

#include <QMap>
#include <QSet>
#include <QStringList>
#include <QVariantMap>

#include <deque>
#include <functional>

namespace lanterna
{

/// CloudKit's web services for one private database, as strict as the written rules: it takes no key that it does not know, no token that is not
/// encoded once, no token twice, and no file address with a token. Assets lie behind a second port.
///
/// It lives in the test's own event loop.
class FakeCloudKitServer
{
public:
    using Change = std::function<FakeHttpReply(FakeHttpReply)>;

    struct Stored {
        QString recordType;
        QString changeTag;
        qint64 modified = 0; ///< milliseconds since 1970
        QVariantMap fields; ///< as in a reply, but for the assets
        QMap<QString, QByteArray> assets;
    };

    FakeCloudKitServer();

    [[nodiscard]] CloudKitConfiguration configuration() const;
    /// Makes these settings choose it.
    void storeIn(SettingsStore &settings) const;
    static inline const QString owner = QStringLiteral("_904181d1d76652d1");

    /// Another sign-in of the person's, or of another account: its first token.
    QString signIn(const QString &account = owner);
    /// Where a browser comes back to after that sign-in, by a URL scheme: both keys, encoded.
    static QByteArray callback(const QByteArray &scheme, const QString &token);
    /// The token that is good now, for the session that began with this one; empty when it has ended.
    [[nodiscard]] QString currentToken(const QString &firstToken) const { return m_sessions.value(firstToken); }
    /// Makes the good token of the session that began with this one worthless, as a reply does; gives the next.
    QString rotate(const QString &session);
    void endSessions() { m_sessions.clear(); }

    /// The next requests for an operation ("records/modify", "upload" and "download" for assets, "" for any) get this reply and have no effect.
    void insteadOf(const QByteArray &operation, const FakeHttpReply &reply, int times = 1);
    /// The next replies to an operation are changed on their way; the requests take effect.
    void onTheWayBack(const QByteArray &operation, const Change &change, int times = 1);
    /// Before the next request for an operation is dealt with.
    void before(const QByteArray &operation, const std::function<void()> &happening);

    Stored &put(const QString &recordName, Stored stored); ///< at once, with a new change tag
    bool remove(const QString &recordName) { return records.remove(recordName) > 0; }

    QMap<QString, Stored> records;
    qsizetype pageSize = 200;
    QStringList asked; ///< every request's operation, in order
    QList<FakeHttpRequest> requests; ///< the same, whole
    QStringList complaints; ///< what no client may do
    QString signInPage; ///< where a request without a session is sent; a page of this server's when empty
    std::function<void()> onRequest; ///< called with each, when it is in `asked`
    int mostInFlight = 0; ///< so many requests waited for their answers at the same time
    int expiryStatus = 410; ///< what the address of an asset answers that is no longer good
    /// Makes all addresses of assets that were told so far expire.
    void expireAll() { m_expiredBelow = m_lastNumber + 1; }

private:
    struct Fault {
        QByteArray operation;
        int times;
        std::function<void()> before;
        std::function<FakeHttpReply()> instead;
        Change change;
    };
    struct Refusal {
        int status;
        const char *code;
        QString reason;
    };
    struct Upload {
        QString recordName;
        QString fieldName;
        QByteArray bytes;
        QVariantMap receipt; // once the bytes came
    };

    void note(const QString &operation, const FakeHttpRequest &request);
    FakeHttpReply withFaults(const QByteArray &operation, const std::function<FakeHttpReply()> &serve);
    FakeHttpReply serveApi(const FakeHttpRequest &request);
    FakeHttpReply serveAssets(const FakeHttpRequest &request);
    FakeHttpReply serveOperation(const QByteArray &operation, const QString &session, const FakeHttpRequest &request);
    QString sessionOf(const FakeHttpRequest &request, const QByteArray &query);
    QString tokenIn(const QByteArray &query, const QByteArray &key);
    void complain(const QString &words) { complaints.append(words); }
    QVariantMap answer(const QByteArray &operation, const QVariantMap &body);
    QVariantMap lookUp(const QVariantMap &body);
    QVariantMap query(const QVariantMap &body);
    QVariantMap modify(const QVariantMap &body);
    QVariantMap modifyOne(const QVariantMap &record, bool isNew);
    void setField(Stored &stored, const QString &recordName, const QString &name, const QVariantMap &field);
    QVariantMap uploadSlots(const QVariantMap &body);
    QVariantMap recordDictionary(const QString &recordName, const Stored &stored);
    FakeHttpReply takeUpload(const FakeHttpRequest &request, const QByteArray &number);
    FakeHttpReply giveDownload(const FakeHttpRequest &request);
    void requireOnly(const QVariantMap &object, const QStringList &keys, const QStringList &required);

    FakeHttpPort m_api;
    FakeHttpPort m_assets;
    QMap<QString, QString> m_sessions; // first token -> the one that is good now
    QMap<QString, QString> m_accounts; // first token -> whose session it is
    std::deque<Fault> m_faults;
    QMap<QByteArray, Upload> m_uploads; // by number
    QMap<QByteArray, QPair<QByteArray, QByteArray>> m_downloads; // by number: what the address ends with, the bytes
    QMap<QString, qsizetype> m_markers; // where the page begins
    QSet<QString> m_types; // that ever had a record
    int m_lastNumber = 0;
    int m_expiredBelow = 0;
};

} // namespace lanterna
