#include "platform/linux/DesktopSecretStore.h"

#include "platform/linux/BusCall.h"

#include <QDBusError>

#include <utility>

namespace lanterna
{

namespace
{

const QString keyringName = QStringLiteral("org.freedesktop.secrets");

} // namespace

DesktopSecretStore::DesktopSecretStore(
    const QDBusConnection &bus, Dispatch &dispatch, const QString &folder, SystemLog &log, std::chrono::milliseconds keyringPatience)
    : m_bus(bus), m_dispatch(dispatch), m_file(dispatch, folder, log), m_keyring(bus, dispatch, keyringPatience)
{
}

void DesktopSecretStore::read(const QString &name, Completion completion)
{
    enqueue([name](SecretStore &store, Completion done) { store.read(name, std::move(done)); }, std::move(completion));
}

void DesktopSecretStore::write(const QString &name, const QString &secret, Completion completion)
{
    enqueue([name, secret](SecretStore &store, Completion done) { store.write(name, secret, std::move(done)); }, std::move(completion));
}

void DesktopSecretStore::enqueue(Call call, Completion completion)
{
    m_waiting.push_back({std::move(call), std::move(completion)});
    if (m_waiting.size() == 1)
        startNext();
}

void DesktopSecretStore::startNext()
{
    if (m_bus.isConnected())
        askForOwner();
    else
        carryOut(m_file);
}

void DesktopSecretStore::askForOwner()
{
    callBus(m_bus, busDaemonCall(QStringLiteral("NameHasOwner"), {keyringName}), &m_context, [this](const QDBusMessage &reply) {
        if (reply.type() == QDBusMessage::ReplyMessage && reply.arguments().value(0).toBool())
            carryOut(m_keyring);
        else
            askForStarter();
    });
}

void DesktopSecretStore::askForStarter()
{
    callBus(m_bus, busDaemonCall(QStringLiteral("ListActivatableNames")), &m_context, [this](const QDBusMessage &reply) {
        if (reply.type() == QDBusMessage::ReplyMessage)
            carryOut(reply.arguments().value(0).toStringList().contains(keyringName) ? static_cast<SecretStore &>(m_keyring) : m_file);
        else if (!m_bus.isConnected())
            carryOut(m_file); // the bus is gone
        else
            finish({{}, QStringLiteral("the session bus does not say whether there is a keyring: %1").arg(QDBusError(reply).name())});
    });
}

void DesktopSecretStore::carryOut(SecretStore &store)
{
    m_waiting.front().call(store, [this](const SecretResult &result) { finish(result); }); // neither store answers once it is dropped
}

void DesktopSecretStore::finish(const SecretResult &result)
{
    const Completion completion = std::move(m_waiting.front().completion);
    m_waiting.pop_front();
    if (!m_waiting.empty())
        m_dispatch.mainAsync([this, alive = std::weak_ptr(m_alive)] {
            if (!alive.expired())
                startNext();
        });
    completion(result); // last: it may drop this store, or call it
}

} // namespace lanterna
