#pragma once

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <array>

/// Stands in every password, token and other secret of the tests, so that whoever looks through logs can tell one. A macro, for string literals.
///
/// None of its characters is changed by percent encoding or by JSON. tests/support/never_logged.py has the same mark.
#define SECRET_MARK "s3cr3t-never-log"

namespace lanterna
{

/// The mark, and the characters of its Base64 of which all six bits are the mark's, with any number of bytes before it.
inline const std::array<QByteArray, 4> secretForms = [] {
    const QByteArray mark = SECRET_MARK;
    std::array<QByteArray, 4> forms{mark};
    for (qsizetype before = 0; before < 3; ++before) {
        const qsizetype begin = (before * 8 + 5) / 6;
        const qsizetype end = (before + mark.size()) * 8 / 6;
        forms.at(size_t(before) + 1) = (QByteArray(before, '\0') + mark).toBase64().mid(begin, end - begin);
    }
    return forms;
}();

/// Whether a text holds a secret of the tests: as it is, in any case of letters, or in Base64 with whatever before it.
inline bool holdsSecret(const QByteArray &text)
{
    return text.toLower().contains(secretForms.front())
        || std::ranges::any_of(secretForms, [&](const QByteArray &form) { return text.contains(form); });
}

inline bool holdsSecret(const QString &text)
{
    return holdsSecret(text.toUtf8());
}

} // namespace lanterna
