#pragma once

#include <QFile>
#include <QString>

namespace lanterna
{

/// Opens the file of this name for reading, without a buffer. What is wrong, in the system's words, or nothing.
///
/// Follows no link in its last part and takes nothing but a regular file, and waits for nobody: a pipe without a writer or a device without an end in
/// the file's place holds nothing up. Any thread.
QString openRegularFile(QFile &file);

} // namespace lanterna
