#include "ui/WiFiStub.h"

#include <QTextBoundaryFinder>

namespace lanterna
{

qsizetype WiFiStub::characterCount(const QString &text)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype count = 0;
    while (finder.toNextBoundary() != -1)
        ++count;
    return count;
}

QString WiFiStub::candidate(const QString &input)
{
    return input.trimmed();
}

bool WiFiStub::valid(const QString &candidate)
{
    return !candidate.isEmpty() && !tooLong(candidate);
}

bool WiFiStub::tooLong(const QString &input)
{
    return characterCount(input) > longestName;
}

} // namespace lanterna
