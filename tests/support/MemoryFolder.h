#pragma once

#include <QFileInfo>
#include <QTemporaryDir>

namespace lanterna
{

/// A folder in memory where that can be had, else on the disk for temporary files: a disk's flushes are slow, and show a test nothing.
class MemoryFolder : public QTemporaryDir
{
public:
    MemoryFolder() : QTemporaryDir(QFileInfo(QStringLiteral("/dev/shm")).isWritable() ? QStringLiteral("/dev/shm/lanterna-XXXXXX") : QString()) { }
};

} // namespace lanterna
