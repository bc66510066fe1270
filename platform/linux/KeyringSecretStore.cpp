#include "platform/linux/KeyringSecretStore.h"

#include "platform/linux/BusCall.h"
#include "platform/linux/KeyringThread.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QMap>

#include <qt6keychain/keychain.h>

#include <utility>

namespace lanterna
{

namespace
{

using Attributes = QMap<QString, QString>;

/// Under which all of this program's secrets are filed.
const QString service = QStringLiteral("Lanterna");
/// Longer words from the keyring are cut: the error is one line.
constexpr qsizetype longestError = 200;

QString errorText(const QString &words)
{
    const QString line = words.simplified().left(longestError);
    return QStringLiteral("the keyring failed: %1").arg(line.isEmpty() ? QStringLiteral("no reason is known") : line);
}

const QString lockedError = QStringLiteral("the keyring is locked");

} // namespace

KeyringSecretStore::KeyringSecretStore(const QDBusConnection &bus, Dispatch &dispatch, std::chrono::milliseconds patience)
    : m_bus(bus), m_dispatch(dispatch), m_patience(patience)
{
    m_post->store = this;
    qDBusRegisterMetaType<Attributes>();
}

KeyringSecretStore::~KeyringSecretStore()
{
    const std::lock_guard lock(m_post->mutex);
    m_post->store = nullptr;
}

void KeyringSecretStore::read(const QString &name, Completion completion)
{
    const auto work = [name](const Answered &answered) {
        auto *job = new QKeychain::ReadPasswordJob(service); // deletes itself when it has finished, never before: the library still looks at it
        job->setKey(name);
        QObject::connect(job, &QKeychain::Job::finished, job, [job, answered](QKeychain::Job *) {
            if (job->error() == QKeychain::NoError)
                answered({false, {job->textData().isNull() ? QStringLiteral("") : job->textData(), {}}});
            else if (job->error() == QKeychain::EntryNotFound)
                answered({true, {}});
            else
                answered({false, {{}, errorText(job->errorString())}});
        });
        job->start();
    };
    run(work, name, false, std::move(completion));
}

void KeyringSecretStore::write(const QString &name, const QString &secret, Completion completion)
{
    const auto work = [name, secret](const Answered &answered) {
        QKeychain::Job *job = nullptr;
        if (secret.isNull()) {
            job = new QKeychain::DeletePasswordJob(service);
        } else if (secret.contains(QChar::Null)) {
            answered({false, {{}, QStringLiteral("the keyring cannot keep a secret with a null character")}}); // it would end there
            return;
        } else {
            auto *write = new QKeychain::WritePasswordJob(service);
            write->setTextData(secret);
            job = write;
        }
        job->setKey(name);
        QObject::connect(job, &QKeychain::Job::finished, job, [answered](QKeychain::Job *finished) {
            const QKeychain::Error error = finished->error();
            const bool done = error == QKeychain::NoError || error == QKeychain::EntryNotFound;
            answered({done, {{}, done ? QString() : errorText(finished->errorString())}});
        });
        job->start();
    };
    // Of a removal from a locked keyring the library says that all is well, so what is left is looked at.
    run(work, name, !secret.isNull(), std::move(completion));
}

void KeyringSecretStore::run(Work work, const QString &name, bool isWrite, Completion completion)
{
    const quint64 call = ++m_lastCall;
    m_calls[call] = {std::move(completion), m_dispatch.performAfter(m_patience, [this, call] {
                         finish(call, {{}, QStringLiteral("the keyring did not answer")});
                     })};
    Answered answered = [post = m_post, call, name, isWrite](const Answer &answer) {
        const std::lock_guard lock(post->mutex);
        if (post->store == nullptr)
            return;
        post->store->m_dispatch.mainAsync([store = post->store, alive = std::weak_ptr(post->store->m_alive), call, name, isWrite, answer] {
            if (!alive.expired())
                store->take(call, name, isWrite, answer);
        });
    };
    KeyringThread::instance().post([work = std::move(work), answered = std::move(answered)] { work(answered); });
}

void KeyringSecretStore::take(quint64 call, const QString &name, bool isWrite, const Answer &answer)
{
    if (answer.absent && !isWrite)
        checkLock(call, name);
    else
        finish(call, answer.result);
}

void KeyringSecretStore::checkLock(quint64 call, const QString &name)
{
    // The library finds nothing in a keyring that the person did not unlock; the keyring itself knows what it holds.
    QDBusMessage search = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.secrets"), QStringLiteral("/org/freedesktop/secrets"),
        QStringLiteral("org.freedesktop.Secret.Service"), QStringLiteral("SearchItems"));
    search.setArguments({QVariant::fromValue(Attributes{{QStringLiteral("user"), name}, {QStringLiteral("server"), service}})});
    callBus(m_bus, search, &m_context, [this, call](const QDBusMessage &reply) {
        if (reply.type() != QDBusMessage::ReplyMessage) {
            finish(call, {{}, errorText(reply.errorMessage())});
            return;
        }
        const auto locked = qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().value(1));
        finish(call, {{}, locked.isEmpty() ? QString() : lockedError});
    });
}

void KeyringSecretStore::finish(quint64 call, const SecretResult &result)
{
    const auto found = m_calls.find(call);
    if (found == m_calls.end())
        return; // its time had run out
    const Completion completion = std::move(found->second.completion);
    m_calls.erase(found);
    completion(result);
}

} // namespace lanterna
