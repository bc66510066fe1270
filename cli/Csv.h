#pragma once

#include <QString>
#include <QStringList>

namespace lanterna
{

/// A cell of comma-separated values: with a comma, quotation mark or line end it is quoted as in RFC 4180. One that begins with = + - @, a tab or a
/// carriage return gets an apostrophe in front: spreadsheets would otherwise run as a formula what any device in the network may choose as its name.
QString csvCell(QString text);

/// The cells as one line, ended by "\n".
QString csvLine(const QStringList &cells);

} // namespace lanterna
