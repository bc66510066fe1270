#include "cloud/CloudKitSignIn.h"

#include "cloud/ChosenRecordDatabase.h"

#include <utility>

namespace lanterna
{

namespace
{

const QString userKey = QStringLiteral("cloudKitUser");
const QString configurationAdvice =
    QStringLiteral("Container, environment and API token have to belong together; 'lanternactl cloud setup' asks for them.");
const QString silenceAdvice = QStringLiteral(
    "Finish signing in in the browser and try again. When the page shows an error there, the account may have Advanced Data Protection, with which "
    "it cannot sign in, or access to iCloud data on the web may be off: both stand in the iCloud settings of an iPhone, iPad or Mac. Another place "
    "for the document can be chosen with 'lanternactl cloud setup'.");

bool isNotAuthenticated(const RecordResult<QString> &answer)
{
    const auto *error = std::get_if<RecordError>(&answer);
    return error != nullptr && error->code == RecordErrorCode::notAuthenticated;
}

/// A server's word ends up on terminals and in settings, so it has to be a plain name.
RecordResult<QString> withPlainName(const RecordResult<QString> &answer)
{
    const auto *user = std::get_if<QString>(&answer);
    if (user == nullptr || isCloudKitName(*user))
        return answer;
    return notUnderstood(QStringLiteral("the name of the account cannot be one"));
}

} // namespace

CloudKitSignIn::CloudKitSignIn(CloudKitSignInParts parts)
    : m_parts(std::move(parts)), m_return{signInScheme(m_parts.configuration.container), m_parts.callbackAddress}
{
}

CloudKitSignIn::~CloudKitSignIn()
{
    stopListening();
}

/// A call that does nothing once this is gone.
template <typename Call> auto CloudKitSignIn::guarded(Call call)
{
    return [call = std::move(call), alive = std::weak_ptr(m_alive)](const auto &...values) {
        if (!alive.expired())
            call(values...);
    };
}

void CloudKitSignIn::start(Completion completion)
{
    m_completion = std::move(completion);
    ask(keptSession(), [this](const Answer &answer) { keptSessionAsked(answer); });
}

CloudKitSession CloudKitSignIn::keptSession()
{
    CloudKitSession session = m_parts.session;
    session.read = [this, read = session.read](SecretStore::Completion completion) {
        read(guarded([this, completion = std::move(completion)](const SecretResult &kept) {
            m_hadSession = m_hadSession || !kept.secret.isEmpty();
            completion(kept);
        }));
    };
    return session;
}

/// The token that is being tried, in memory.
CloudKitSession CloudKitSignIn::triedSession()
{
    return {[this](const SecretStore::Completion &completion) {
                m_parts.dispatch.mainAsync(guarded([this, completion] { completion({m_tried, {}}); }));
            },
        [this](const QString &token, const SecretStore::Completion &completion) {
            m_tried = token;
            m_parts.dispatch.mainAsync(guarded([completion] { completion({}); }));
        }};
}

void CloudKitSignIn::ask(CloudKitSession session, std::function<void(const Answer &)> then)
{
    m_database = std::make_unique<CloudKitRecordDatabase>(m_parts.dispatch, m_parts.configuration, std::move(session));
    if (const auto throttle = keptCloudKitThrottle(m_parts.settings, m_parts.configuration))
        m_database->resumeThrottle(*throttle);
    m_database->currentUser([this, then = std::move(then)](const Answer &answer) {
        if (const auto throttle = m_database->throttle())
            keepCloudKitThrottle(m_parts.settings, m_parts.configuration, *throttle);
        then(withPlainName(answer));
    });
}

void CloudKitSignIn::keptSessionAsked(const Answer &answer)
{
    // Where no page was told, the refusal may be about the session as well as about the API token: once more without the session.
    if (isNotAuthenticated(answer) && m_database->signInURL().isEmpty() && m_hadSession)
        ask(triedSession(), [this](const Answer &second) { pageAsked(second); });
    else
        pageAsked(answer);
}

void CloudKitSignIn::pageAsked(const Answer &answer)
{
    if (const auto *user = std::get_if<QString>(&answer)) {
        accept(*user);
        return;
    }
    const QUrl page = m_database->signInURL();
    if (!isNotAuthenticated(answer)) {
        fail(describe(std::get<RecordError>(answer)));
    } else if (page.isEmpty()) {
        fail(QStringLiteral("iCloud told no page of its own to sign in at: ") + describe(std::get<RecordError>(answer)), configurationAdvice);
    } else {
        m_isListening = true;
        m_parts.callbacks.begin(m_return.scheme, guarded([this, page](const QString &problem) {
            if (problem.isEmpty())
                open(page);
            else
                fail(QStringLiteral("nothing could come back from the browser: ") + problem);
        }),
            [this, alive = std::weak_ptr(m_alive)](const QByteArray &address) { return !alive.expired() && take(address); });
    }
}

void CloudKitSignIn::open(const QUrl &page)
{
    m_timeOut = m_parts.dispatch.performAfter(patience, [this] { timeIsUp(); });
    if (!m_parts.openInBrowser(page))
        fail(QStringLiteral("no browser can be opened"));
}

bool CloudKitSignIn::take(const QByteArray &address)
{
    if (!m_isListening || m_isVerifying)
        return false;
    const auto token = sessionTokenIn(address, m_return);
    if (!token) {
        passOver(QStringLiteral("Something came back that is no session; still waiting."));
        return false;
    }
    m_isVerifying = true;
    m_tried = *token;
    ask(triedSession(), [this](const Answer &answer) { verified(answer); });
    return true;
}

void CloudKitSignIn::verified(const Answer &answer)
{
    m_isVerifying = false;
    if (const auto *user = std::get_if<QString>(&answer)) {
        m_isVerified = true;
        accept(*user);
    } else if (!isNotAuthenticated(answer) || ++m_refusals >= mostRefusals) {
        fail(QStringLiteral("what came back cannot be verified: ") + describe(std::get<RecordError>(answer)));
    } else if (m_timeIsUp) {
        timeIsUp();
    } else {
        passOver(QStringLiteral("A session came back that iCloud does not know; still waiting."));
    }
}

void CloudKitSignIn::passOver(const QString &line)
{
    if (!std::exchange(m_hasToldOfOthers, true))
        m_parts.tell(line);
}

void CloudKitSignIn::timeIsUp()
{
    m_timeIsUp = true;
    if (!m_isVerifying)
        fail(QStringLiteral("nothing came back from the browser for two minutes"), silenceAdvice);
}

void CloudKitSignIn::accept(const QString &user)
{
    stopListening();
    const QString before = m_parts.settings.text(userKey);
    if (before.isEmpty() || before == user) {
        keep(user);
        return;
    }
    const QString question = QStringLiteral("Until now the document was that of another iCloud account.\nBefore: %1\nNow:    %2\n"
                                            "Go on, and let this machine's tables become part of its document?")
                                 .arg(before, user);
    m_parts.confirm(question, guarded([this, user](bool yes) {
        if (yes)
            keep(user);
        else
            fail(m_isVerified ? QStringLiteral("another account signed in; nothing was changed")
                              : QStringLiteral("another account is signed in; 'lanternactl cloud sign-out' ends that"));
    }));
}

void CloudKitSignIn::keep(const QString &user)
{
    if (!m_isVerified) {
        bind(user); // by the session that is kept already
        return;
    }
    m_parts.session.store(m_tried, guarded([this, user](const SecretResult &stored) {
        if (stored.error.isEmpty())
            bind(user);
        else
            fail(QStringLiteral("the session cannot be kept: ") + stored.error);
    }));
}

void CloudKitSignIn::bind(const QString &user)
{
    SettingsStore &settings = m_parts.settings;
    settings.remove(QStringLiteral("cloudLastError")); // that nobody was signed in, as a rule
    // The date last: a running Lanterna reads the session anew because of it.
    const bool isBound = settings.setValue(userKey, user);
    const bool isNoted = !m_isVerified || settings.setValue(QStringLiteral("cloudCredentialsDate"), m_parts.dispatch.now());
    if (isBound && isNoted)
        finish({user, !m_isVerified, {}, {}});
    else
        fail(QStringLiteral("signed in, but the settings cannot be written"));
}

void CloudKitSignIn::stopListening()
{
    m_timeOut.cancel();
    if (std::exchange(m_isListening, false))
        m_parts.callbacks.end();
}

void CloudKitSignIn::finish(const CloudKitSignInResult &result)
{
    stopListening();
    if (const Completion completion = std::exchange(m_completion, nullptr))
        m_parts.dispatch.mainAsync(guarded([completion, result] { completion(result); }));
}

void CloudKitSignIn::fail(const QString &error, const QString &advice)
{
    finish({{}, false, error, advice});
}

} // namespace lanterna
