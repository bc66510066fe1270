#pragma once

#include <QString>
#include <QVariant>

namespace lanterna
{

/// Fills a format with values. The directives are "%@" (any value) and the integer forms "%d", "%i", "%u", "%ld", "%lu", "%lld", "%llu" (a boolean
/// counts as 0 or 1); "%%" is a percent sign, anything else stands as it is.
///
/// "%@" of nothing (an invalid or null value, or a missing one) gives "(null)"; numbers give their decimal text; lists and dictionaries give compact
/// JSON. The result may hold control characters; `SystemLog::write` escapes them.
QString formatText(const QString &format, const QVariantList &values);

/// The text with its control characters written out ("\n" for a line end, "\t" for a tab, "\x1b" and the like for others), but for those in `kept`.
QString escapedControls(const QString &text, const QString &kept = {});

/// One plain line per event, to the machine's log.
class SystemLog
{
public:
    virtual ~SystemLog() = default;

    /// Writes one line; the text has no control characters. Any thread.
    virtual void writeLine(const QString &line) = 0;

    /// Escapes control characters so that one event stays one line, then writes it.
    void write(const QString &text);

    /// Writes a filled format, see `formatText`.
    template <typename... Values> void operator()(const QString &format, const Values &...values)
    {
        write(formatText(format, QVariantList{QVariant::fromValue(values)...}));
    }
};

} // namespace lanterna
