#include "platform/linux/AutostartEntry.h"

#include "platform/linux/DesktopEntry.h"

#include <QFile>

#include <utility>

namespace lanterna
{

QByteArray autostartEntry(const QString &executable)
{
    return "[Desktop Entry]\nType=Application\nName=Lanterna\nComment=Shows this machine's network address in the panel\nIcon=lanterna\nExec="
        + execArgument(executable) + "\nX-GNOME-Autostart-enabled=true\n";
}

bool isSwitchedOff(const QByteArray &entry)
{
    return desktopEntryValue(entry, "Hidden") == "true" || desktopEntryValue(entry, "X-GNOME-Autostart-enabled") == "false";
}

bool startsWithSession(const QByteArray &entry, const QString &executable)
{
    const QByteArray exec = desktopEntryValue(entry, "Exec").value_or(QByteArray());
    const QByteArray ours = execArgument(executable);
    const qsizetype place = exec.indexOf(ours);
    // As a whole word; the person may have put others before and after it.
    const bool isWord =
        place >= 0 && (place == 0 || exec[place - 1] == ' ') && (place + ours.size() == exec.size() || exec[place + ours.size()] == ' ');
    return isWord && !isSwitchedOff(entry);
}

QString AutostartEntry::usualFolder()
{
    QString configuration = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (!configuration.startsWith(u'/')) {
        const QString home = qEnvironmentVariable("HOME");
        configuration = home.startsWith(u'/') ? home + QStringLiteral("/.config") : QString();
    }
    return configuration.isEmpty() ? QString() : configuration + QStringLiteral("/autostart");
}

bool AutostartEntry::isEnabled() const
{
    return startsWithSession(contentOf(m_file), m_executable);
}

void AutostartEntry::registerItem(Asker asker, Completion completion)
{
    m_dispatch.mainAsync([completion = std::move(completion), error = write(asker)] { completion(error); });
}

void AutostartEntry::unregisterItem(Completion completion)
{
    m_dispatch.mainAsync([completion = std::move(completion), error = remove()] { completion(error); });
}

QString AutostartEntry::write(Asker asker) const
{
    if (m_file.isEmpty())
        return QStringLiteral("there is no home folder");
    if (isUnfitForExec(m_executable))
        return QStringLiteral("no desktop can start a program with such a path");
    const QByteArray present = contentOf(m_file);
    if (asker == Asker::program && isSwitchedOff(present))
        return QStringLiteral("it is switched off in the desktop's own settings");
    const QByteArray entry = autostartEntry(m_executable);
    return entry == present ? QString() : replaceFile(m_file, entry);
}

QString AutostartEntry::remove() const
{
    QFile file(m_file);
    if (!file.exists() || file.remove())
        return {};
    return QStringLiteral("%1 cannot be removed: %2").arg(m_file, file.errorString());
}

} // namespace lanterna
