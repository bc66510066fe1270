#pragma once

#include <QByteArray>
#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QString>

namespace lanterna
{

/// One size of an icon: width x height pixels of four bytes (alpha, red, green, blue), not premultiplied, row by row.
struct SniPixmap {
    int width = 0;
    int height = 0;
    QByteArray pixels;

    bool operator==(const SniPixmap &) const = default;
};

/// An icon as panels take it: a name (of a theme's icon, or an absolute file path) and the same picture in several sizes. Either may be empty.
struct SniIcon {
    QString name;
    QList<SniPixmap> pixmaps;

    bool operator==(const SniIcon &) const = default;
};

/// The tool tip structure `(sa(iiay)ss)`.
struct SniToolTip {
    QString iconName;
    QList<SniPixmap> pixmaps;
    QString title;
    QString text;

    bool operator==(const SniToolTip &) const = default;
};

/// Everything about the item that changes while it runs.
struct SniState {
    SniIcon icon;
    SniIcon attentionIcon;
    QString iconDescription; ///< for screen readers
    QString label;
    QString labelGuide; ///< the widest text that the label may become
    SniToolTip toolTip;
    bool needsAttention = false;

    bool operator==(const SniState &) const = default;
};

QDBusArgument &operator<<(QDBusArgument &argument, const SniPixmap &pixmap);
const QDBusArgument &operator>>(const QDBusArgument &argument, SniPixmap &pixmap);
QDBusArgument &operator<<(QDBusArgument &argument, const SniToolTip &toolTip);
const QDBusArgument &operator>>(const QDBusArgument &argument, SniToolTip &toolTip);

/// Makes the types known to QtDBus; needed once before the first of them is sent or read. Repeated calls do no harm.
void registerSniTypes();

} // namespace lanterna

Q_DECLARE_METATYPE(lanterna::SniPixmap)
Q_DECLARE_METATYPE(lanterna::SniToolTip)
