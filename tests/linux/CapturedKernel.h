#pragma once

#include "platform/linux/NetlinkTransport.h"

#include <QMap>
#include <QString>
#include <QStringList>

namespace lanterna
{

/// A kernel that answers from a recording in tests/data/nl80211: each request gets what the real kernel answered to the same bytes. Sequence numbers
/// and port ids are not compared.
class CapturedKernel : public NetlinkTransport
{
public:
    /// One wireless interface as the independent reader saw it; keys are those of the `# ref:` lines ("if", "type", "running", ...).
    using Reference = QMap<QString, QString>;

    explicit CapturedKernel(const QString &file);

    [[nodiscard]] NetlinkAnswer exchange(NetlinkBus bus, const QByteArray &request) override;

    [[nodiscard]] const QList<Reference> &references() const { return m_references; }
    /// Requests that are not in the recording, in hexadecimal; each was answered with the error ENODATA.
    [[nodiscard]] const QStringList &unknownRequests() const { return m_unknownRequests; }
    /// All recordings, by file name.
    static QStringList files();

private:
    QMap<QByteArray, QByteArray> m_answers;
    QList<Reference> m_references;
    QStringList m_unknownRequests;
};

} // namespace lanterna
