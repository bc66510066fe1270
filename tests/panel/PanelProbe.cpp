// Shows a status item in the panel of the session it is started in, for eyes and for scripts that look at real panels.
//
// panel_probe [TITLE]: then one command per line on standard input:
//   title TEXT | icon-only | warning | setting TEXT (statusItemText) | row TEXT (appends a menu row) | clear | alert [dark|light] | copy TEXT |
//   modifiers | quit
// It prints what happens, one line each: "clicked TITLE", "middle", "appearance NAME", "answer BUTTON", "copied 1", "modifiers HEX", "log LINE",
// "notice TITLE".

#include "platform/linux/QtDispatch.h"
#include "platform/linux/desktop/DesktopScreenLayout.h"
#include "platform/linux/desktop/DesktopWindows.h"
#include "platform/linux/desktop/DesktopWorkspace.h"
#include "platform/linux/desktop/QtPasteboard.h"
#include "platform/linux/desktop/SniStatusItem.h"
#include "platform/linux/desktop/WindowAlerts.h"

#include "tests/support/CommandReader.h"
#include "tests/support/PrintedLog.h"

#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdlib>

#include <xcb/xcb.h>

using namespace lanterna;

namespace
{

class PrintedNotices : public UserNotices
{
public:
    void showWithAction(const QString &title, const QString &body, const QString &, std::function<void()>) override { show(title, body); }
    void show(const QString &title, const QString &) override { say(QStringLiteral("notice ") + title); }
    void showBriefly(const QString &body, std::chrono::milliseconds) override { say(QStringLiteral("notice ") + body); }
};

MenuItem row(const QString &title)
{
    MenuItem item;
    item.identity = QStringLiteral("row:") + title;
    item.title = title;
    item.action = [](const MenuItem &clicked) { say(QStringLiteral("clicked ") + clicked.title); };
    return item;
}

Menu sampleMenu()
{
    Menu menu;
    MenuItem network = row(QStringLiteral("Home_Net"));
    network.subtitle = QStringLiteral("  → Office");
    menu.addItem(network);
    menu.addItem(MenuItem::separatorItem(QStringLiteral("line")));
    menu.addItem(row(QStringLiteral("eth0: 192.168.1.20")));
    MenuItem star = row(QStringLiteral("*"));
    star.action = nullptr;
    menu.addItem(star);
    MenuItem modes = row(QStringLiteral("Show in Panel"));
    for (const QString &title : {QStringLiteral("First Address"), QStringLiteral("Second Address")}) {
        MenuItem mode = row(title);
        mode.toggle = MenuItem::Toggle::radio;
        mode.checked = modes.children.isEmpty();
        modes.children.append(mode);
    }
    MenuItem names = row(QStringLiteral("Interface Names"));
    names.toggle = MenuItem::Toggle::check;
    names.checked = true;
    modes.children.append(names);
    menu.addItem(modes);
    menu.addItem(row(QStringLiteral("Quit")));
    return menu;
}

/// The item and what the commands change.
class Probe
{
public:
    explicit Probe(const QString &title)
        : m_item({QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("panel_probe")), m_dispatch, m_log, m_notices,
            [this] { return m_setting; }, sessionIconFolder(), ProgramFiles()}),
          m_settings(m_folder.path(), m_log),
          m_windows({m_dispatch, m_settings, m_notifications, m_log, m_screens, {}, {}}, ProgramFiles().windowLibrary(), [this] { return m_look; }),
          m_alerts(m_dispatch, [this] { return m_windows.library(); })
    {
        show(title);
        m_item.setMenu(m_menu);
        m_item.start({[] { say(QStringLiteral("middle")); }, [](const QString &name) { say(QStringLiteral("appearance ") + name); }});
    }

    void command(const QString &line)
    {
        const QString verb = line.section(QLatin1Char(' '), 0, 0);
        const QString rest = line.section(QLatin1Char(' '), 1);
        if (verb == QLatin1String("title"))
            show(rest);
        else if (verb == QLatin1String("icon-only"))
            m_item.setContent({{}, StatusImage::templateIcon, {}, {}});
        else if (verb == QLatin1String("warning"))
            m_item.setContent({{}, StatusImage::locationWarning, QStringLiteral("Needs permission"), {}});
        else if (verb == QLatin1String("setting"))
            changeSetting(rest);
        else if (verb == QLatin1String("row"))
            changeMenu([&] { m_menu.addItem(row(rest)); });
        else if (verb == QLatin1String("clear"))
            changeMenu([&] { m_menu = Menu(); });
        else if (verb == QLatin1String("alert"))
            ask(rest);
        else if (verb == QLatin1String("copy"))
            m_pasteboard.setText(rest, [](bool copied) { say(QStringLiteral("copied %1").arg(copied)); });
        else if (verb == QLatin1String("copy-late"))
            copyLate(rest);
        else if (verb == QLatin1String("modifiers"))
            say(QStringLiteral("modifiers %1").arg(m_workspace.modifierFlags(), 0, 16));
        else if (verb == QLatin1String("quit"))
            m_workspace.terminate();
    }

private:
    void show(const QString &title) { m_item.setContent({title, StatusImage::none, {}, title + QStringLiteral("\nwan: 203.0.113.7")}); }
    void changeSetting(const QString &value)
    {
        m_setting = value;
        m_item.textSettingChanged();
    }
    void changeMenu(const std::function<void()> &change)
    {
        change();
        m_item.setMenu(m_menu);
    }
    /// Another program takes the clipboard a moment before; the toolkit does not know yet, and claims it as of an earlier time.
    void copyLate(const QString &text)
    {
        xcb_connection_t *other = xcb_connect(nullptr, nullptr);
        const xcb_window_t window = xcb_generate_id(other);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
        xcb_create_window(other, 0, window, root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_intern_atom_reply_t *clipboard = xcb_intern_atom_reply(other, xcb_intern_atom(other, 0, 9, "CLIPBOARD"), nullptr);
        xcb_set_selection_owner(other, window, clipboard->atom, XCB_CURRENT_TIME);
        std::free(clipboard);
        std::free(xcb_get_input_focus_reply(other, xcb_get_input_focus(other), nullptr)); // answered once the display has done all that
        m_pasteboard.setText(text, [other](bool copied) {
            say(QStringLiteral("copied late %1").arg(copied));
            xcb_disconnect(other);
        });
    }
    void ask(const QString &appearance)
    {
        using Palette = WindowLook::Palette;
        m_look.palette = appearance == QLatin1String("dark") ? Palette::dark
            : appearance == QLatin1String("light")           ? Palette::light
                                                             : Palette::desktop;
        m_windows.lookChanged();
        const Alert alert{QStringLiteral("Reset all preferences?"),
            QStringLiteral("Every setting goes back to its first value. <b>This</b> cannot be undone."),
            {QStringLiteral("Reset"), QStringLiteral("Cancel")}, 1, 1, 0};
        m_alerts.runModal(alert, [](int button) { say(QStringLiteral("answer %1").arg(button)); });
    }

    QtDispatch m_dispatch;
    PrintedLog m_log;
    PrintedNotices m_notices;
    QString m_setting = QStringLiteral("auto");
    WindowLook m_look;
    Menu m_menu = sampleMenu();
    SniStatusItem m_item;
    QTemporaryDir m_folder;
    SettingsStore m_settings;
    NotificationCenter m_notifications;
    DesktopScreenLayout m_screens;
    DesktopWindows m_windows;
    WindowAlerts m_alerts;
    QtPasteboard m_pasteboard{m_dispatch};
    DesktopWorkspace m_workspace{m_dispatch};
};

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    Probe probe(application.arguments().value(1, QStringLiteral("192.168.1.20")));
    const CommandReader reader([&](const QString &line) { probe.command(line); });
    return QGuiApplication::exec();
}
