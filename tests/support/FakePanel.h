#pragma once

#include "platform/linux/DBusObject.h"

#include <QStringList>

namespace lanterna
{

/// A desktop's StatusNotifierWatcher on a bus of the test's own, with or without a host that draws. It keeps the items that registered with it.
class FakePanel : public DBusObject
{
public:
    enum class Manner {
        answers,
        keepsSilent, ///< takes the registration and never replies
        refuses, ///< replies with an error
    };

    /// Objects come first, the name last: whoever sees the name can call.
    explicit FakePanel(const QDBusConnection &bus, bool hosted = true, Manner manner = Manner::answers);
    ~FakePanel() override;

    /// "sender path" of each registration, in order.
    [[nodiscard]] const QStringList &registrations() const { return m_registrations; }
    void setManner(Manner manner) { m_manner = manner; }
    /// A host comes or goes, and says so.
    void setHosted(bool hosted);

protected:
    [[nodiscard]] QVariantMap busProperties() const override;
    bool handleCall(const QDBusMessage &message) override;

private:
    QDBusConnection m_connection;
    bool m_hosted;
    Manner m_manner;
    QStringList m_registrations;
};

} // namespace lanterna
