#include "platform/linux/desktop/QtScreenLayout.h"

#include <QGuiApplication>
#include <QScreen>

namespace lanterna
{

QList<ScreenLayout::Monitor> QtScreenLayout::monitors() const
{
    QList<Monitor> found;
    for (const QScreen *screen : QGuiApplication::screens())
        found.append({screen->geometry(), screen->availableGeometry()});
    return found;
}

} // namespace lanterna
