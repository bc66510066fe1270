#pragma once

#include "platform/linux/BusCall.h"

#include <QStringList>

#include <functional>

namespace lanterna
{

/// How a panel draws an item. Known for some programs by trying them; nothing is assumed of others.
struct PanelTraits {
    enum class Label { draws, ignores, unknown };
    enum class Picture {
        pixmap, ///< draws the pixmap, sharp at its own size; a name may only harm
        name, ///< looks at the name alone
        unknown, ///< may do either
    };

    Label label = Label::unknown;
    Picture picture = Picture::unknown;

    bool operator==(const PanelTraits &) const = default;
};

/// What is known of a program, by its process name ("gnome-shell", "waybar"); a name cut at the kernel's 15 characters is fine.
PanelTraits panelTraits(const QString &processName);
/// What holds for all of these programs together: what they agree on, else unknown. No program at all is unknown.
PanelTraits commonPanelTraits(const QStringList &processNames);
/// The process name from the bytes of /proc/PID/comm and /proc/PID/cmdline: the file name of the program where the command line has one (the other is
/// cut at 15 characters, and threads may change it), else comm without its line end.
QString processNameFrom(const QByteArray &comm, const QByteArray &commandLine);
/// Of the names on the bus, those under which panels announce themselves as hosts.
QStringList hostNames(const QStringList &busNames);

/// Asks the bus which programs draw the items: the owner of the watcher's name and of every host's.
///
/// Main thread only. Answers are counted against the last request, so an old one never overrides a newer one.
class PanelHosts
{
public:
    explicit PanelHosts(const QDBusConnection &bus) : m_bus(bus) { }

    /// Finds out, then calls `done` on the main thread with the process names, which is empty where none can be read. A later request drops an
    /// earlier one.
    void lookUp(const QString &watcher, std::function<void(const QStringList &processNames)> done);

private:
    struct Request;
    void askProcess(const std::shared_ptr<Request> &request, const QString &busName);

    QDBusConnection m_bus;
    std::shared_ptr<Request> m_current;
    QObject m_context;
};

} // namespace lanterna
