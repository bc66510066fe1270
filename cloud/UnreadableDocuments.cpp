#include "cloud/UnreadableDocuments.h"

#include "platform/RegularFile.h"
#include "platform/SettingsFiles.h"

#include <QDir>
#include <QRegularExpression>

#include <system_error>

namespace lanterna
{

namespace
{

/// Of one moment; beyond it something is very wrong.
constexpr int mostOfAMoment = 100;

QString nameOf(const QDateTime &moment, int number)
{
    return QStringLiteral("%1-%2").arg(moment.toUTC().toString(QStringLiteral("yyyyMMdd'T'HHmmss.zzz'Z'"))).arg(number, 2, 10, QLatin1Char('0'));
}

/// The names of the kept files, the newest first.
QStringList keptNames(const QString &folder)
{
    static const QRegularExpression form(QStringLiteral("^[0-9]{8}T[0-9]{6}\\.[0-9]{3}Z-[0-9]{2}$"));
    return QDir(folder).entryList(QDir::Files | QDir::NoSymLinks, QDir::Name | QDir::Reversed).filter(form);
}

bool holds(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return openRegularFile(file).isEmpty() && file.size() == bytes.size() && file.readAll() == bytes;
}

} // namespace

UnreadableDocuments::Kept UnreadableDocuments::keep(const QByteArray &bytes, const QDateTime &now) const
{
    const SettingsFiles files(m_folder);
    QStringList names = keptNames(m_folder);
    if (!names.isEmpty() && holds(m_folder + u'/' + names.first(), bytes))
        return {m_folder + u'/' + names.first(), {}};
    std::error_code error = files.makeFolder();
    QString name;
    for (int number = 0; !error && name.isEmpty(); ++number) {
        const QString candidate = nameOf(now, number);
        error = files.create(candidate, bytes);
        if (!error)
            name = candidate;
        else if (error == std::errc::file_exists && number + 1 < mostOfAMoment)
            error.clear();
    }
    if (!error)
        error = files.flush({name});
    if (error)
        return {{}, QString::fromStdString(error.message())};
    // The new one counts as the newest, also when the clock was set back.
    for (qsizetype kept = mostKept - 1; kept < names.size(); ++kept)
        files.remove(names.at(kept));
    return {m_folder + u'/' + name, {}};
}

} // namespace lanterna
