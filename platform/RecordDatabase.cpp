#include "platform/RecordDatabase.h"

namespace lanterna
{

QString describe(const RecordError &error)
{
    return QStringLiteral("%1 (%2)").arg(error.description).arg(int(error.code));
}

} // namespace lanterna
