#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace lanterna
{

// Files of the desktop entry format, which the person's desktop reads. Pure functions but for the two of files; any thread.

/// An argument of an Exec line, quoted by the rules of the format, so that no character of it means anything.
QByteArray execArgument(const QString &argument);
/// Whether no desktop could start a program with this path: it holds control characters or "=".
bool isUnfitForExec(const QString &executable);
/// A key's value in the group "Desktop Entry", without the blanks around it; none when the key is not there.
std::optional<QByteArray> desktopEntryValue(const QByteArray &entry, const QByteArray &key);

/// A file's bytes; none when it is not there or cannot be read.
QByteArray contentOf(const QString &path);
/// Puts this content in the place of what is there, as a whole, and makes the folder. A symbolic link stays one. Why that cannot be, in one line; empty
/// when it is done.
QString replaceFile(const QString &path, const QByteArray &content);

} // namespace lanterna
