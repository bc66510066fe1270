#pragma once

#include <QString>

namespace lanterna
{

/// Columns that a character takes on a terminal: 2 for wide ones (East Asian letters, emoji), 0 for combining marks and invisible format
/// characters, else 1.
///
/// By a table of our own (Unicode 14): the C library's `wcwidth` depends on the locale, knows nothing beyond ASCII in the locale "C" and would
/// make results differ from machine to machine. Characters of ambiguous width count one. Sequences are measured character by character, as
/// terminals do; an emoji that some terminals draw wide because of what follows it may put its line off by a column.
int columnsOf(char32_t character);
/// Columns that a text takes; a text without control characters.
int columnsOf(const QString &text);

/// The text cut to this many columns, the last of them "…" when something was left out. Empty for less than one column.
QString elided(const QString &text, int columns);
/// The text with spaces behind it, to this many columns.
QString padded(const QString &text, int columns);

/// The words of a text in lines of at most this many columns, each with its end; a word that is longer has a line of its own. What divided the words is
/// gone.
QString wrapped(const QString &text, int columns);

/// The text as it may stand in one line of a terminal: control characters are written out as `escapedControls` does, and so are those that turn
/// the direction of writing round, with which a name could disguise what stands beside it.
QString harmless(const QString &text);

} // namespace lanterna
