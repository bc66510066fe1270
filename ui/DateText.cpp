#include "ui/DateText.h"

#include <QRegularExpression>

#include <memory>

#include <unicode/udat.h>

namespace lanterna
{

namespace
{

struct Close {
    void operator()(UDateFormat *format) const { udat_close(format); }
};

/// The identifier if it has the form of one: ICU falls over others.
QByteArray usable(const QString &localeIdentifier)
{
    static const QRegularExpression form(QStringLiteral("^[A-Za-z]{2,8}([_-][A-Za-z0-9]{1,8}){0,4}$"));
    return form.match(localeIdentifier).hasMatch() ? localeIdentifier.toLatin1() : QByteArray("en_US_POSIX");
}

} // namespace

QString mediumDateShortTime(const QDateTime &moment, const QString &localeIdentifier)
{
    if (!moment.isValid())
        return {};
    // The local time goes in as if it were UTC: which zone the machine is in is known to the toolkit, and no part of what is written.
    const QDateTime local = moment.toLocalTime();
    const auto milliseconds = static_cast<UDate>(QDateTime(local.date(), local.time(), Qt::UTC).toMSecsSinceEpoch());
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UDateFormat, Close> format(
        udat_open(UDAT_SHORT, UDAT_MEDIUM, usable(localeIdentifier).constData(), u"GMT", -1, nullptr, 0, &error));
    QString text(128, QChar()); // several times what any locale needs
    const int length = U_SUCCESS(error)
        ? udat_format(format.get(), milliseconds, reinterpret_cast<UChar *>(text.data()), static_cast<int>(text.size()), nullptr, &error)
        : 0;
    if (U_FAILURE(error) || length > text.size())
        return local.toString(Qt::ISODate);
    text.truncate(length);
    return text;
}

} // namespace lanterna
