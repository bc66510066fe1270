#include "platform/ServiceName.h"

#include "platform/Json.h"

#include <QTextBoundaryFinder>

namespace lanterna
{

namespace
{

QString presentable(QString text)
{
    text.removeIf([](QChar unit) { return unit.category() == QChar::Other_Control; });
    return wellFormedText(text).trimmed();
}

/// The longest part from the front that ends where the finder says and fits.
QString fittingFront(const QString &text, QTextBoundaryFinder::BoundaryType type)
{
    QTextBoundaryFinder finder(type, text);
    qsizetype end = 0;
    for (qsizetype next = finder.toNextBoundary(); next > 0 && text.first(next).toUtf8().size() <= maximumServiceNameBytes;
         next = finder.toNextBoundary())
        end = next;
    return text.first(end).trimmed();
}

QString cut(const QString &text)
{
    if (text.toUtf8().size() <= maximumServiceNameBytes)
        return text;
    if (const QString front = fittingFront(text, QTextBoundaryFinder::Grapheme); !front.isEmpty())
        return front;
    // One letter with dozens of marks on it: some of them have to go.
    qsizetype end = text.size();
    while (end > 0 && (text.first(end).toUtf8().size() > maximumServiceNameBytes || text[end - 1].isHighSurrogate()))
        --end;
    return text.first(end);
}

} // namespace

QString defaultServiceName(const QString &prettyName, const QString &hostName)
{
    for (const QString &name : {presentable(prettyName), presentable(hostName.section(u'.', 0, 0))}) {
        if (!name.isEmpty())
            return cut(name);
    }
    return QStringLiteral("Lanterna");
}

} // namespace lanterna
