#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

namespace lanterna
{

/// The documents that were found in the record but could not be read, before they are replaced: somebody may still want what is in them.
///
/// Files (0600) named after the moment, such as "20261115T140509.123Z-00", in a folder of their own (0700); the newest 20 stay. Any thread; calls touch
/// the disk. The object has no state but the folder's name.
class UnreadableDocuments
{
public:
    static constexpr int mostKept = 20;

    /// `folder` is usually "unreadable" in the `dataFolder`.
    explicit UnreadableDocuments(const QString &folder) : m_folder(folder) { }

    struct Kept {
        QString path; ///< of the file that holds the bytes; empty when there is none
        QString error; ///< why there is none, in words; else empty
    };
    /// Keeps the bytes on the disk proper. Those that the newest file has already are not kept twice: a save that fails again and again would push all
    /// others out.
    [[nodiscard]] Kept keep(const QByteArray &bytes, const QDateTime &now) const;

private:
    QString m_folder;
};

} // namespace lanterna
