#include "platform/linux/DesktopEntry.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

namespace lanterna
{

QByteArray execArgument(const QString &argument)
{
    // Quotes where they are needed only: xdg-open, outside the large desktops, knows none.
    const auto isPlain = [](QChar c) { return (c.unicode() < 0x80 && c.isLetterOrNumber()) || QStringLiteral("/._-+,:@").contains(c); };
    if (!argument.isEmpty() && std::ranges::all_of(argument, isPlain))
        return QFile::encodeName(argument);
    QByteArray quoted = "\"";
    for (const char c : QFile::encodeName(argument)) {
        if (c == '%')
            quoted += "%%"; // else a field code
        else if (c == '\\')
            quoted += R"(\\\\)"; // escaped for the quotes, and each of these two for the file
        else if (c == '"' || c == '`' || c == '$')
            quoted += QByteArray(R"(\\)") + c;
        else
            quoted += c;
    }
    return quoted + '"';
}

bool isUnfitForExec(const QString &executable)
{
    return std::ranges::any_of(executable, [](QChar c) { return c.unicode() < ' ' || c.unicode() == 0x7f || c == u'='; });
}

std::optional<QByteArray> desktopEntryValue(const QByteArray &entry, const QByteArray &key)
{
    bool isInGroup = false;
    for (const QByteArray &line : entry.split('\n')) {
        if (line.startsWith('['))
            isInGroup = line.startsWith("[Desktop Entry]");
        else if (const qsizetype equals = line.indexOf('='); isInGroup && equals > 0 && line.first(equals).trimmed() == key)
            return line.sliced(equals + 1).trimmed();
    }
    return std::nullopt;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return !path.isEmpty() && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString replaceFile(const QString &path, const QByteArray &content)
{
    const QString folder = QFileInfo(path).path();
    if (!QDir().mkpath(folder))
        return QStringLiteral("%1 cannot be made").arg(folder);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.commit())
        return QStringLiteral("%1 cannot be written: %2").arg(path, file.errorString());
    return {};
}

} // namespace lanterna
