// Shows the program's windows in the session it is started in, for eyes and for scripts.
//
// window_probe SETTINGS_FOLDER: then one command per line on standard input:
//   preferences | welcome | message X TEXT (\n for a new line) | alert | look desktop|light|dark | still (no animation) | store TEXT (the record store's sentence) |
//   screens | close (every window) | frames MILLISECONDS (counts what the open windows draw from now on, and prints it after this time) | quit
// It prints what happens, one line each: "ready", "visible TITLE after N ms" (from the command to the window's first picture), "posted NAME",
// "applied 0|1" (launch at login), "answer BUTTON", "log LINE", "no window", and for "screens" one line for each monitor, "screen X Y WIDTH HEIGHT
// visible X Y WIDTH HEIGHT", then "end of screens". The windows follow changes of the settings by other processes, as the program's do.

#include "platform/linux/FolderWatch.h"
#include "platform/linux/ProgramFiles.h"
#include "platform/linux/QtDispatch.h"
#include "platform/linux/desktop/DesktopScreenLayout.h"
#include "platform/linux/desktop/DesktopWindows.h"
#include "platform/linux/desktop/WindowAlerts.h"

#include "tests/support/CommandReader.h"
#include "tests/support/PrintedLog.h"
#include "tests/windows/FrameCounter.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QSet>
#include <QWindow>

#include <cstdio>

using namespace lanterna;

namespace
{

/// Tells how long after the last command each window showed its first picture.
class FirstPictures : public QObject
{
public:
    void restart() { m_sinceCommand.start(); }

protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        auto *window = qobject_cast<QWindow *>(object);
        if (!window)
            return false;
        if (event->type() == QEvent::Hide) {
            m_seen.remove(window);
        } else if (event->type() == QEvent::Expose && window->isExposed() && !m_seen.contains(window)) {
            m_seen.insert(window);
            // After the event: the window draws inside it.
            QMetaObject::invokeMethod(
                this, [this, title = window->title()] { say(QStringLiteral("visible %1 after %2 ms").arg(title).arg(m_sinceCommand.elapsed())); },
                Qt::QueuedConnection);
        }
        return false;
    }

private:
    QElapsedTimer m_sinceCommand;
    QSet<QWindow *> m_seen;
};

/// The windows and what the commands change.
class Probe
{
public:
    explicit Probe(const QString &folder) : m_settings(folder, m_log), m_watch(folder, {}, [this] { m_settings.noticeChanges(); })
    {
        qGuiApp->installEventFilter(&m_pictures);
        m_settings.setChangeObserver([this](const QString &key, bool) { m_windows.settingChanged(key); });
        for (const char *name :
            {"PreferencesChanged", "updateMenubarData", "TriggerImmediateScan", "WiFiStubChanged", "MACAddressesByNetworkSegmentDictEdited"})
            m_observations.push_back(m_notifications.observe(
                QString::fromLatin1(name), [](const Notification &notification) { say(QStringLiteral("posted ") + notification.name); }));
    }

    void command(const QString &line)
    {
        m_pictures.restart();
        const QString verb = line.section(QLatin1Char(' '), 0, 0);
        const QString rest = line.section(QLatin1Char(' '), 1);
        WindowLibrary *windows = m_windows.library();
        if (!windows)
            say(QStringLiteral("no window"));
        else if (verb == QLatin1String("preferences"))
            m_windows.showPreferencesWindow();
        else if (verb == QLatin1String("welcome"))
            m_windows.showWelcomePopoverIfNeeded();
        else if (verb == QLatin1String("message"))
            windows->showMessage(rest.section(QLatin1Char(' '), 1).replace(QLatin1String("\\n"), QLatin1String("\n")),
                rest.section(QLatin1Char(' '), 0, 0).toDouble());
        else if (verb == QLatin1String("alert"))
            ask();
        else if (verb == QLatin1String("look"))
            changeLook([&] { m_look.palette = palette(rest); });
        else if (verb == QLatin1String("still"))
            changeLook([&] { m_look.animated = false; });
        else if (verb == QLatin1String("store"))
            m_store = rest;
        else if (verb == QLatin1String("screens"))
            sayScreens();
        else if (verb == QLatin1String("close"))
            closeAll();
        else if (verb == QLatin1String("frames"))
            countFrames(std::chrono::milliseconds(rest.toInt()));
        else if (verb == QLatin1String("quit"))
            QCoreApplication::exit(0);
    }

private:
    void sayScreens() const
    {
        const auto numbers = [](const QRectF &frame) {
            return QStringLiteral("%1 %2 %3 %4").arg(frame.x()).arg(frame.y()).arg(frame.width()).arg(frame.height());
        };
        for (const ScreenLayout::Monitor &monitor : m_screens.monitors())
            say(QStringLiteral("screen %1 visible %2").arg(numbers(monitor.frame), numbers(monitor.visibleFrame)));
        say(QStringLiteral("end of screens"));
    }
    static WindowLook::Palette palette(const QString &name)
    {
        using Palette = WindowLook::Palette;
        return name == QLatin1String("dark") ? Palette::dark : name == QLatin1String("light") ? Palette::light : Palette::desktop;
    }
    void changeLook(const std::function<void()> &change)
    {
        change();
        m_windows.lookChanged();
    }
    static void closeAll()
    {
        for (QWindow *window : QGuiApplication::allWindows())
            window->close();
    }
    void countFrames(std::chrono::milliseconds duration)
    {
        m_dispatch.mainAfter(duration, [counter = std::make_shared<FrameCounter>()] { say(counter->result()); });
    }
    void ask()
    {
        const Alert alert{QStringLiteral("Reset Prefs"), QStringLiteral("Are you sure you want to reset the prefs before launching?"),
            {QStringLiteral("Cancel"), QStringLiteral("Reset")}, 0, 0, 1};
        m_alerts.runModal(alert, [](int button) { say(QStringLiteral("answer %1").arg(button)); });
    }

    FirstPictures m_pictures;
    QtDispatch m_dispatch;
    PrintedLog m_log;
    NotificationCenter m_notifications;
    DesktopScreenLayout m_screens;
    WindowLook m_look;
    QString m_store;
    SettingsStore m_settings;
    DesktopWindows m_windows{
        {m_dispatch, m_settings, m_notifications, m_log, m_screens,
            [this] { say(QStringLiteral("applied %1").arg(m_settings.boolean(QStringLiteral("launchAtLogin")))); }, [this] { return m_store; }},
        ProgramFiles().windowLibrary(), [this] { return m_look; }};
    WindowAlerts m_alerts{m_dispatch, [this] { return m_windows.library(); }};
    std::vector<NotificationCenter::Observation> m_observations;
    FolderWatch m_watch;
};

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QGuiApplication::setApplicationName(QStringLiteral("lanterna"));
    QGuiApplication::setDesktopFileName(QStringLiteral("lanterna"));
    if (application.arguments().size() != 2) {
        std::fputs("Usage: window_probe SETTINGS_FOLDER\n", stderr);
        return 2;
    }
    Probe probe(application.arguments().at(1));
    const CommandReader reader([&](const QString &line) { probe.command(line); });
    QMetaObject::invokeMethod(
        qGuiApp, [] { say(QStringLiteral("ready")); }, Qt::QueuedConnection);
    return QGuiApplication::exec();
}
