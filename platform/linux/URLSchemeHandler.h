#pragma once

#include "platform/ChildProcesses.h"

#include <QByteArray>
#include <QString>

namespace lanterna
{

/// Has the person's desktop hand URLs of one scheme to `lanternactl cloud callback`: a hidden application in the person's own folder, and the
/// default for the scheme.
///
/// Any thread; `install` may wait some seconds for xdg-mime, so not the main one. The child processes outlive it.
class URLSchemeHandler
{
public:
    /// Where the desktop keeps such things for a person, and what it shall start.
    struct Places {
        QString executable; ///< absolute path of lanternactl
        QString applications; ///< folder of desktop entries
        QString configuration; ///< folder of mimeapps.list
    };
    /// `$XDG_DATA_HOME/applications` and `$XDG_CONFIG_HOME`, or what stands for them. Empty without a home folder.
    static Places usualPlaces(const QString &executable);

    URLSchemeHandler(ChildProcesses &processes, Places places) : m_processes(processes), m_places(std::move(places)) { }

    /// Writes the application and makes it the default for this scheme, if it is not already. Why that cannot be, in one line; empty when it is done.
    [[nodiscard]] QString install(const QString &scheme) const;
    /// Removes both again, for any scheme; nothing to remove is no problem.
    [[nodiscard]] QString remove() const;

private:
    [[nodiscard]] QString entryFile() const { return m_places.applications + QStringLiteral("/lanterna-sign-in.desktop"); }
    [[nodiscard]] QString mimeAppsFile() const { return m_places.configuration + QStringLiteral("/mimeapps.list"); }

    ChildProcesses &m_processes;
    Places m_places;
};

// What the files hold. Pure functions, any thread.

/// The whole desktop entry.
QByteArray schemeHandlerEntry(const QString &executable, const QString &scheme);
/// Whether a mimeapps.list names our application first for the scheme.
bool isSchemeDefault(const QByteArray &mimeAppsList, const QString &scheme);
/// A mimeapps.list without our application; the rest byte for byte.
QByteArray withoutSchemeHandler(const QByteArray &mimeAppsList);

} // namespace lanterna
