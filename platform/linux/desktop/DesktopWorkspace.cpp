#include "platform/linux/desktop/DesktopWorkspace.h"

#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

#include <algorithm>

namespace lanterna
{

namespace
{

const QString settingsScheme = QStringLiteral("x-apple.systempreferences");

QStringList readMimeAppsLists()
{
    QStringList paths = QStandardPaths::locateAll(QStandardPaths::GenericConfigLocation, QStringLiteral("mimeapps.list"));
    paths += QStandardPaths::locateAll(QStandardPaths::ApplicationsLocation, QStringLiteral("mimeapps.list"));
    paths += QStandardPaths::locateAll(QStandardPaths::ApplicationsLocation, QStringLiteral("mimeinfo.cache"));
    QStringList texts;
    for (const QString &path : paths) {
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            texts.append(QString::fromUtf8(file.readAll()));
    }
    return texts;
}

bool startCommand(const QStringList &command)
{
    const QString program = QStandardPaths::findExecutable(command.value(0));
    return !program.isEmpty() && QProcess::startDetached(program, command.mid(1));
}

} // namespace

bool hasSchemeHandler(const QString &scheme, const QStringList &mimeAppsLists)
{
    const QString key = QStringLiteral("x-scheme-handler/") + scheme + QLatin1Char('=');
    return std::any_of(mimeAppsLists.begin(), mimeAppsLists.end(), [&](const QString &list) {
        bool removals = false;
        for (const QString &line : list.split(QLatin1Char('\n'))) {
            if (line.startsWith(QLatin1Char('[')))
                removals = line.startsWith(QLatin1String("[Removed"));
            if (!removals && line.startsWith(key) && line.size() > key.size())
                return true;
        }
        return false;
    });
}

QList<QStringList> privacySettingsCommands(const QString &currentDesktop)
{
    struct Entry {
        const char *desktop;
        QStringList command;
    };
    const QList<Entry> known{
        {"GNOME", {QStringLiteral("gnome-control-center"), QStringLiteral("location")}},
        {"KDE", {QStringLiteral("systemsettings")}},
        {"KDE", {QStringLiteral("systemsettings5")}},
        {"Cinnamon", {QStringLiteral("cinnamon-settings"), QStringLiteral("privacy")}},
        {"MATE", {QStringLiteral("mate-control-center")}},
        {"XFCE", {QStringLiteral("xfce4-settings-manager")}},
        {"LXQt", {QStringLiteral("lxqt-config")}},
    };
    QList<QStringList> commands;
    // The running desktop's settings first; the others follow, since a desktop without privacy settings may borrow another's.
    for (const bool running : {true, false}) {
        for (const Entry &entry : known) {
            if (currentDesktop.contains(QLatin1String(entry.desktop), Qt::CaseInsensitive) == running)
                commands.append(entry.command);
        }
    }
    return commands;
}

bool DesktopWorkspace::openURL(const QString &url)
{
    const QUrl target(url);
    if (target.scheme() == settingsScheme && !hasSchemeHandler(settingsScheme, readMimeAppsLists())) {
        const QList<QStringList> commands = privacySettingsCommands(qEnvironmentVariable("XDG_CURRENT_DESKTOP"));
        return std::any_of(commands.begin(), commands.end(), startCommand);
    }
    if (!target.isValid() || target.scheme().isEmpty())
        return false;
    return startCommand({QStringLiteral("xdg-open"), target.toString(QUrl::FullyEncoded)}) || QDesktopServices::openUrl(target);
}

quint64 DesktopWorkspace::modifierFlags() const
{
    // Other platforms answer with the keys of the last event, which for a program just started is nothing.
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        return 0;
    const Qt::KeyboardModifiers held = QGuiApplication::queryKeyboardModifiers();
    quint64 flags = 0;
    if (held.testFlag(Qt::ControlModifier))
        flags |= controlKey;
    if (held.testFlag(Qt::AltModifier))
        flags |= optionKey;
    if (held.testFlag(Qt::MetaModifier))
        flags |= commandKey;
    return flags;
}

void DesktopWorkspace::terminate()
{
    // Through the queue: a call before the main loop runs would be lost.
    m_dispatch.mainAsync([] { QCoreApplication::exit(0); }); // quit() would ask open windows first, and an alert says no
}

} // namespace lanterna
