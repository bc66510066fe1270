#include "platform/linux/PanelHosts.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <iterator>
#include <utility>

namespace lanterna
{

namespace
{

using Label = PanelTraits::Label;
using Picture = PanelTraits::Picture;

/// Length of a name in /proc/PID/comm (TASK_COMM_LEN in linux/sched.h, without the terminating zero).
constexpr qsizetype commLength = 15;

struct KnownPanel {
    const char *process;
    PanelTraits traits;
};

constexpr KnownPanel knownPanels[] = {
    {"ayatana-indicator-application-service", {Label::draws, Picture::name}},
    {"indicator-application-service", {Label::draws, Picture::name}},
    {"gnome-shell", {Label::draws, Picture::pixmap}}, // shrinks a file to its 16 pixels, and takes the pixmap of just that size
    {"mate-panel", {Label::draws, Picture::unknown}},
    {"notification-area-applet", {Label::draws, Picture::unknown}}, // mate-panel's own tray, where applets are processes of their own
    {"xfce4-panel", {Label::ignores, Picture::pixmap}},
    {"lxqt-panel", {Label::ignores, Picture::pixmap}},
    {"waybar", {Label::ignores, Picture::pixmap}},
    {"plasmashell", {Label::ignores, Picture::pixmap}},
    {"kded5", {Label::ignores, Picture::pixmap}}, // the watcher of plasmashell
    {"kded6", {Label::ignores, Picture::pixmap}},
};

QByteArray readProcessFile(uint processId, const char *file)
{
    QFile source(QStringLiteral("/proc/%1/%2").arg(processId).arg(QLatin1String(file)));
    return source.open(QIODevice::ReadOnly) ? source.read(4096) : QByteArray();
}

} // namespace

struct PanelHosts::Request {
    int waiting = 0;
    QStringList processNames;
    std::function<void(const QStringList &)> done;
};

PanelTraits panelTraits(const QString &processName)
{
    const auto matches = [&](const KnownPanel &panel) {
        const QLatin1String known(panel.process);
        return processName == known || (processName.size() == commLength && known.startsWith(processName));
    };
    const auto *found = std::find_if(std::begin(knownPanels), std::end(knownPanels), matches);
    return found == std::end(knownPanels) ? PanelTraits() : found->traits;
}

PanelTraits commonPanelTraits(const QStringList &processNames)
{
    if (processNames.isEmpty())
        return {};
    PanelTraits common = panelTraits(processNames.first());
    for (const QString &name : processNames) {
        const PanelTraits traits = panelTraits(name);
        if (traits.label != common.label)
            common.label = Label::unknown;
        if (traits.picture != common.picture)
            common.picture = Picture::unknown;
    }
    return common;
}

QString processNameFrom(const QByteArray &comm, const QByteArray &commandLine)
{
    const QList<QByteArray> arguments = commandLine.split('\0');
    const QString program = QFileInfo(QString::fromLocal8Bit(arguments.value(0))).fileName();
    // Panels that run each plugin in a process of its own start it as a wrapper; what counts is the panel.
    if (program.startsWith(QLatin1String("wrapper-")) && arguments.value(0).contains("/xfce4/panel/"))
        return QStringLiteral("xfce4-panel");
    return program.isEmpty() ? QString::fromLocal8Bit(comm).trimmed() : program;
}

QStringList hostNames(const QStringList &busNames)
{
    QStringList hosts;
    std::copy_if(busNames.begin(), busNames.end(), std::back_inserter(hosts), [](const QString &name) {
        return name.startsWith(QLatin1String("org.kde.StatusNotifierHost")) || name.startsWith(QLatin1String("org.freedesktop.StatusNotifierHost"));
    });
    return hosts;
}

void PanelHosts::lookUp(const QString &watcher, std::function<void(const QStringList &processNames)> done)
{
    m_current = std::make_shared<Request>();
    m_current->done = std::move(done);
    m_current->waiting = 1;
    callBus(m_bus, busDaemonCall(QStringLiteral("ListNames")), &m_context, [this, watcher, request = m_current](const QDBusMessage &reply) {
        QStringList names = hostNames(reply.arguments().value(0).toStringList());
        names.append(watcher);
        request->waiting += static_cast<int>(names.size()) - 1;
        for (const QString &name : names)
            askProcess(request, name);
    });
}

void PanelHosts::askProcess(const std::shared_ptr<Request> &request, const QString &busName)
{
    callBus(m_bus, busDaemonCall(QStringLiteral("GetConnectionUnixProcessID"), {busName}), &m_context, [this, request](const QDBusMessage &reply) {
        if (reply.type() == QDBusMessage::ReplyMessage) {
            const uint processId = reply.arguments().value(0).toUInt();
            request->processNames.append(processNameFrom(readProcessFile(processId, "comm"), readProcessFile(processId, "cmdline")));
        }
        if (--request->waiting == 0 && request == m_current)
            request->done(request->processNames);
    });
}

} // namespace lanterna
