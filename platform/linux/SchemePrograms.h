#pragma once

#include <QString>
#include <QStringList>

namespace lanterna
{

/// Whether the person's desktop has a program for URLs of this scheme, by the lists of programs in these folders of data ("/usr/share") and of
/// configuration, each from the most important on. What a list takes away counts in none of those after it. Reads small files; any thread.
bool hasProgramForScheme(const QString &scheme, const QStringList &dataFolders, const QStringList &configurationFolders);
/// The same in the usual folders.
bool hasProgramForScheme(const QString &scheme);

} // namespace lanterna
