#include "cloud/WebDAVAnswers.h"

#include <QXmlStreamReader>

namespace lanterna
{

namespace
{

/// The next token, none of which may declare anything.
bool readNext(QXmlStreamReader &xml)
{
    const auto token = xml.readNext();
    if (token == QXmlStreamReader::DTD || token == QXmlStreamReader::EntityReference)
        xml.raiseError(QStringLiteral("a document type"));
    return !xml.atEnd();
}

bool isElement(const QXmlStreamReader &xml, QLatin1String name)
{
    return xml.isStartElement() && xml.namespaceUri() == QLatin1String("DAV:") && xml.name() == name;
}

/// The last part of the path that an href ends in: servers behind another one may give a path that is not the one asked for.
QString fileNameOf(const QString &href, bool &isFolder)
{
    QByteArray path = QUrl(href.trimmed()).path(QUrl::FullyEncoded).toLatin1();
    if (path.endsWith('/')) {
        isFolder = true;
        path.chop(1);
    }
    return QString::fromUtf8(QByteArray::fromPercentEncoding(path.mid(path.lastIndexOf('/') + 1)));
}

/// The text of an element that holds nothing else; the reader stands at its end then.
QString readText(QXmlStreamReader &xml)
{
    QString text;
    while (readNext(xml) && !xml.isEndElement()) {
        if (xml.isStartElement())
            xml.raiseError(QStringLiteral("an element inside a text"));
        if (xml.isCharacters())
            text += xml.text();
    }
    return text;
}

/// One `response` element; the reader stands at its end then. Nothing for one that only tells an error.
std::optional<WebDAVMember> readResponse(QXmlStreamReader &xml)
{
    WebDAVMember member;
    bool isError = false;
    for (int depth = 1; depth > 0 && readNext(xml);) {
        if (depth == 1 && isElement(xml, QLatin1String("href"))) {
            member.fileName = fileNameOf(readText(xml), member.isFolder);
        } else if (depth == 1 && isElement(xml, QLatin1String("status"))) {
            isError = !readText(xml).contains(QLatin1String(" 200"));
        } else if (xml.isStartElement()) {
            ++depth;
            // response, propstat, prop, resourcetype, collection
            member.isFolder = member.isFolder || (depth == 5 && isElement(xml, QLatin1String("collection")));
        } else if (xml.isEndElement()) {
            --depth;
        }
    }
    return isError || member.fileName.isEmpty() ? std::nullopt : std::optional(member);
}

} // namespace

std::optional<QList<WebDAVMember>> parseMultistatus(const QByteArray &bytes)
{
    if (bytes.size() > longestWebDAVListing)
        return std::nullopt;
    QXmlStreamReader xml(bytes);
    QList<WebDAVMember> members;
    qsizetype responses = 0;
    while (readNext(xml) && !xml.isStartElement()) { }
    if (!isElement(xml, QLatin1String("multistatus")))
        return std::nullopt;
    for (int depth = 1; readNext(xml);) {
        if (depth == 1 && isElement(xml, QLatin1String("response"))) {
            const auto member = readResponse(xml);
            if (++responses > mostWebDAVMembers)
                return std::nullopt;
            if (member)
                members.append(*member);
        } else if (xml.isStartElement()) {
            ++depth;
        } else if (xml.isEndElement()) {
            --depth;
        }
    }
    return xml.hasError() ? std::nullopt : std::optional(members);
}

} // namespace lanterna
