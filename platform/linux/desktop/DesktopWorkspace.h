#pragma once

#include "platform/Desktop.h"
#include "platform/Dispatch.h"

#include <QStringList>

namespace lanterna
{

/// The desktop session: opens pages, knows the modifier keys (X11 only), ends the program. Main thread only.
class DesktopWorkspace : public Workspace
{
public:
    explicit DesktopWorkspace(Dispatch &dispatch) : m_dispatch(dispatch) { }

    /// A URL of the location settings that no program here has registered for opens the desktop's own privacy settings.
    bool openURL(const QString &url) override;
    [[nodiscard]] quint64 modifierFlags() const override;
    void terminate() override;

private:
    Dispatch &m_dispatch;
};

/// Whether one of these mimeapps.list texts (the person's first) names a program for the URL scheme.
bool hasSchemeHandler(const QString &scheme, const QStringList &mimeAppsLists);
/// The command lines that show privacy settings, best first for a desktop named as in XDG_CURRENT_DESKTOP ("ubuntu:GNOME").
QList<QStringList> privacySettingsCommands(const QString &currentDesktop);

} // namespace lanterna
