#include "platform/linux/LoginItems.h"

#include "platform/linux/AutostartEntry.h"
#include "platform/linux/BackgroundPortal.h"

#include <utility>

namespace lanterna
{

namespace
{

/// Of a program that nobody is to start with the session.
class NoLoginItem : public LoginItem
{
public:
    explicit NoLoginItem(Dispatch &dispatch) : m_dispatch(dispatch) { }
    [[nodiscard]] bool isEnabled() const override { return false; }
    void registerItem(Asker, Completion completion) override { unregisterItem(std::move(completion)); }
    void unregisterItem(Completion completion) override
    {
        m_dispatch.mainAsync([completion = std::move(completion)] { completion({}); });
    }

private:
    Dispatch &m_dispatch;
};

} // namespace

std::unique_ptr<LoginItem> desktopLoginItem(Dispatch &dispatch, const QDBusConnection &bus, const ProgramFiles &files, const QString &executable)
{
    if (BackgroundPortal::isNeeded())
        return std::make_unique<BackgroundPortal>(dispatch, bus, QStringLiteral("lanterna"));
    if (files.isInstalled() || qEnvironmentVariable("LANTERNA_LOGIN_ITEM") == QLatin1String("1"))
        return std::make_unique<AutostartEntry>(dispatch, AutostartEntry::usualFolder(), executable);
    return std::make_unique<NoLoginItem>(dispatch);
}

} // namespace lanterna
