#pragma once

#include <QByteArray>
#include <QString>

#include <array>

/// Stands in every password, token and other secret of the tests, so that whoever looks through logs can tell one. A macro, for string literals.
///
/// None of its characters is changed by percent encoding or by JSON. tests/support/never_logged.py has the same mark.
#define SECRET_MARK "s3cr3t-never-log"

namespace lanterna
{

/// Whether a text holds a secret of the tests: as it is, in any case of letters, or in Base64 with whatever before it.
inline bool holdsSecret(const QByteArray &text)
{
    static const QByteArray mark = SECRET_MARK;
    static const std::array<QByteArray, 3> encoded = [] {
        std::array<QByteArray, 3> forms;
        for (qsizetype before = 0; before < 3; ++before) {
            // The characters of which all six bits are the mark's.
            const qsizetype begin = (before * 8 + 5) / 6;
            const qsizetype end = (before + mark.size()) * 8 / 6;
            forms.at(size_t(before)) = (QByteArray(before, '\0') + mark).toBase64().mid(begin, end - begin);
        }
        return forms;
    }();
    if (text.toLower().contains(mark))
        return true;
    for (const QByteArray &form : encoded) {
        if (text.contains(form))
            return true;
    }
    return false;
}

inline bool holdsSecret(const QString &text)
{
    return holdsSecret(text.toUtf8());
}

} // namespace lanterna
