#include "platform/RecordDatabase.h"

#include <algorithm>

namespace lanterna
{

bool isRecordIdentifier(const QString &text)
{
    constexpr qsizetype longest = 255;
    const auto allowed = [](QChar c) { return (c.unicode() < 128 && c.isLetterOrNumber()) || c == u'.' || c == u'_' || c == u'-'; };
    return !text.isEmpty() && text.size() <= longest && std::ranges::all_of(text, allowed);
}

QString describe(const RecordError &error)
{
    return QStringLiteral("%1 (%2)").arg(error.description).arg(int(error.code));
}

} // namespace lanterna
