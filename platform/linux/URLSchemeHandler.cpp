#include "platform/linux/URLSchemeHandler.h"

#include "platform/DataFolder.h"
#include "platform/linux/DesktopEntry.h"

#include <QFile>

#include <algorithm>

namespace lanterna
{

namespace
{

const QByteArray entryName = "lanterna-sign-in.desktop";
const QByteArray mimePrefix = "x-scheme-handler/";

} // namespace

QByteArray schemeHandlerEntry(const QString &executable, const QString &scheme)
{
    return "[Desktop Entry]\nType=Application\nName=Lanterna sign-in\nNoDisplay=true\nStartupNotify=false\nMimeType=" + mimePrefix + scheme.toLatin1()
        + ";\nExec=" + execArgument(executable) + " cloud callback %u\n";
}

bool isSchemeDefault(const QByteArray &mimeAppsList, const QString &scheme)
{
    const QByteArray key = mimePrefix + scheme.toLatin1();
    bool isInDefaults = false;
    for (const QByteArray &line : mimeAppsList.split('\n')) {
        if (line.startsWith('['))
            isInDefaults = line.startsWith("[Default Applications]");
        else if (const qsizetype equals = line.indexOf('='); isInDefaults && equals > 0 && line.first(equals).trimmed() == key)
            return line.sliced(equals + 1).split(';').value(0).trimmed() == entryName;
    }
    return false;
}

QByteArray withoutSchemeHandler(const QByteArray &mimeAppsList)
{
    QByteArrayList kept;
    for (const QByteArray &line : mimeAppsList.split('\n')) {
        const qsizetype equals = line.indexOf('=');
        if (equals < 0 || !line.trimmed().startsWith(mimePrefix) || !line.contains(entryName)) {
            kept.append(line);
            continue;
        }
        QByteArrayList others = line.sliced(equals + 1).split(';');
        others.removeIf([](const QByteArray &name) { return name.trimmed() == entryName; });
        if (std::ranges::any_of(others, [](const QByteArray &name) { return !name.trimmed().isEmpty(); }))
            kept.append(line.first(equals + 1) + others.join(';'));
    }
    return kept.join('\n');
}

URLSchemeHandler::Places URLSchemeHandler::usualPlaces(const QString &executable)
{
    QString configuration = qEnvironmentVariable("XDG_CONFIG_HOME"); // as xdg-mime reads it
    const QString home = qEnvironmentVariable("HOME");
    if (configuration.isEmpty() && !home.isEmpty())
        configuration = home + QStringLiteral("/.config");
    const QString data = dataHome();
    return {executable, data.isEmpty() ? QString() : data + QStringLiteral("/applications"), configuration};
}

QString URLSchemeHandler::install(const QString &scheme) const
{
    if (m_places.applications.isEmpty() || m_places.configuration.isEmpty())
        return QStringLiteral("there is no home folder");
    if (isUnfitForExec(m_places.executable))
        return QStringLiteral("no desktop can start a program with such a path");
    const QByteArray entry = schemeHandlerEntry(m_places.executable, scheme);
    if (contentOf(entryFile()) != entry) {
        if (const QString problem = replaceFile(entryFile(), entry); !problem.isEmpty())
            return problem;
    }
    if (isSchemeDefault(contentOf(mimeAppsFile()), scheme))
        return {};
    m_processes.run(
        {QStringLiteral("xdg-mime"), QStringLiteral("default"), QString::fromLatin1(entryName), QString::fromLatin1(mimePrefix) + scheme});
    if (!isSchemeDefault(contentOf(mimeAppsFile()), scheme))
        return QStringLiteral("xdg-mime could not make Lanterna the program for %1 addresses").arg(scheme);
    return {};
}

QString URLSchemeHandler::remove() const
{
    if (QFile::exists(entryFile()) && !QFile::remove(entryFile()))
        return QStringLiteral("%1 cannot be removed").arg(entryFile());
    const QByteArray list = contentOf(mimeAppsFile());
    const QByteArray without = withoutSchemeHandler(list);
    return without == list ? QString() : replaceFile(mimeAppsFile(), without);
}

} // namespace lanterna
