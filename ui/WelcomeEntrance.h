#pragma once

#include <QList>
#include <QObject>
#include <QQmlEngine>

namespace lanterna
{

/// How far a spring has come this long after it was let go: 0 at first, 1 at rest. It passes its rest by a tenth and swings back.
///
/// Response 0.8 s (the period without damping), damping 0.6 of the critical one. Times before the start count as the start.
[[nodiscard]] double springProgress(double seconds);

/// How far a movement has come that begins fast and ends slowly; both in 0 to 1, what lies outside counts as the nearer end.
[[nodiscard]] double easeOutProgress(double share);

/// Where everything on the welcome card is while it comes in, as a function of the time since it appeared. In QML as `WelcomeEntrance`.
class WelcomeEntrance : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    /// Since the card appeared.
    Q_PROPERTY(qreal seconds MEMBER m_seconds NOTIFY moved)
    /// False: everything stands where it ends, whatever the time.
    Q_PROPERTY(bool animated MEMBER m_animated NOTIFY moved)
    /// Seconds until nothing moves any more.
    Q_PROPERTY(qreal duration READ duration CONSTANT)
    Q_PROPERTY(qreal iconScale READ iconScale NOTIFY moved)
    Q_PROPERTY(qreal iconOpacity READ iconOpacity NOTIFY moved)
    /// How far each block of the card has come, from 0 (not there yet) to 1 (in its place): header, features, hint, buttons.
    Q_PROPERTY(QList<qreal> arrivals READ arrivals NOTIFY moved)
public:
    using QObject::QObject;

    [[nodiscard]] qreal duration() const;
    [[nodiscard]] qreal iconScale() const;
    [[nodiscard]] qreal iconOpacity() const;
    [[nodiscard]] QList<qreal> arrivals() const;

    Q_SIGNAL void moved();

private:
    [[nodiscard]] bool over() const { return !m_animated || m_seconds >= duration(); }

    qreal m_seconds = 0;
    bool m_animated = true;
};

} // namespace lanterna
