#include "cli/Csv.h"

#include <algorithm>

namespace lanterna
{

QString csvCell(QString text)
{
    static const QString formulaStarts = QStringLiteral("=+-@\t\r");
    if (!text.isEmpty() && formulaStarts.contains(text.front()))
        text.prepend(u'\'');
    const bool quoted = std::any_of(text.cbegin(), text.cend(),
        [](QChar character) { return character == u',' || character == u'"' || character == u'\n' || character == u'\r'; });
    if (!quoted)
        return text;
    return u'"' + text.replace(u'"', QStringLiteral("\"\"")) + u'"';
}

QString csvLine(const QStringList &cells)
{
    QStringList quoted = cells;
    std::transform(quoted.begin(), quoted.end(), quoted.begin(), csvCell);
    return quoted.join(u',') + u'\n';
}

} // namespace lanterna
