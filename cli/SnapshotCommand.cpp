#include "cli/SnapshotCommand.h"

#include "platform/Json.h"

namespace lanterna
{

CommandResult snapshotCommand(const SettingsStore &settings)
{
    const QVariantMap snapshot = settings.dictionary(QStringLiteral("latestLocalSnapshot"));
    if (snapshot.isEmpty())
        return {1, {}, QStringLiteral("no snapshot is stored; a running Lanterna stores one with each pass, and so does 'lanternactl scan --save'")};
    return {0, QString::fromUtf8(compactJson(snapshot)) + u'\n', {}};
}

} // namespace lanterna
