#pragma once

#include "platform/Dispatch.h"
#include "platform/LoginItem.h"

#include <QByteArray>

namespace lanterna
{

/// The login item of a desktop that follows the XDG autostart specification: `lanterna.desktop` in the person's autostart folder.
///
/// An entry that the desktop's own tool has switched off counts as not enabled; only the person's own choice here switches it on again. Whatever else
/// the person has put into an entry that starts the program is left as it is. Small files, read and written in place; the dispatch outlives it.
class AutostartEntry : public LoginItem
{
public:
    /// The folder is usually `usualFolder`; the executable's path is absolute.
    AutostartEntry(Dispatch &dispatch, const QString &folder, QString executable)
        : m_dispatch(dispatch), m_file(folder.isEmpty() ? QString() : folder + QStringLiteral("/lanterna.desktop")),
          m_executable(std::move(executable))
    {
    }

    /// `$XDG_CONFIG_HOME/autostart`, or `~/.config/autostart`; empty without a home folder.
    static QString usualFolder();

    [[nodiscard]] bool isEnabled() const override;
    void registerItem(Asker asker, Completion completion) override;
    void unregisterItem(Completion completion) override;

private:
    [[nodiscard]] QString write(Asker asker) const;
    [[nodiscard]] QString remove() const;

    Dispatch &m_dispatch;
    QString m_file;
    QString m_executable;
};

// What is in the file. Pure functions, any thread.

/// The entry that starts this executable with the session.
QByteArray autostartEntry(const QString &executable);
/// Whether the entry starts this executable with the session.
bool startsWithSession(const QByteArray &entry, const QString &executable);
/// Whether the entry is one that shall start nothing.
bool isSwitchedOff(const QByteArray &entry);

} // namespace lanterna
