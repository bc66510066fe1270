#pragma once

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>

namespace lanterna
{

/// A question to the person.
struct Alert {
    QString message;
    QString informativeText;
    QStringList buttons; ///< in the order in which they are read
    int defaultButton = 0; ///< index: Return chooses it
    int cancelButton = -1; ///< index: Escape and closing choose it; -1 for none
    int destructiveButton = -1; ///< index, shown in red; -1 for none
};

/// Modal alerts.
class Alerts
{
public:
    virtual ~Alerts() = default;
    /// Shows the alert and answers once, on the main thread and never inside this call, with the index of the chosen button. Where nobody can be
    /// asked the answer is the cancel button. A second alert waits for the first.
    virtual void runModal(const Alert &alert, std::function<void(int button)> completion) = 0;
};

/// The general pasteboard.
class Pasteboard
{
public:
    virtual ~Pasteboard() = default;
    /// Replaces the content by plain text; empty text clears it. Answers once on the main thread whether the text can be pasted now.
    virtual void setText(const QString &text, std::function<void(bool copied)> completion) = 0;
};

/// Short messages that need no answer, shown by the desktop.
class UserNotices
{
public:
    virtual ~UserNotices() = default;
    /// Shows plain text; replaces the program's previous notice without a button. Fails silently where nothing can show it.
    virtual void show(const QString &title, const QString &body) = 0;
    /// The same with a button; replaces the previous one with a button. `chosen` is called at most once, on the main thread and never inside this call, when the person takes it before another
    /// notice came in its place. Some desktops show no buttons, so the body has to be of use without it.
    virtual void showWithAction(const QString &title, const QString &body, const QString &action, std::function<void()> chosen) = 0;
    /// Shows plain text for this long, and leaves it in no list of past notices; replaces the previous such text, and no other notice.
    virtual void showBriefly(const QString &body, std::chrono::milliseconds duration) = 0;
};

/// The desktop the program runs in.
class Workspace
{
public:
    virtual ~Workspace() = default;
    /// Opens a URL with the person's program for it; false when there is none.
    virtual bool openURL(const QString &url) = 0;
    /// The modifier keys held right now, as the bits below; 0 where they cannot be read.
    [[nodiscard]] virtual quint64 modifierFlags() const = 0;
    /// Ends the program: its main loop returns soon after.
    virtual void terminate() = 0;

    static constexpr quint64 controlKey = 0x40000;
    static constexpr quint64 optionKey = 0x80000; ///< Alt
    static constexpr quint64 commandKey = 0x100000; ///< Super
};

} // namespace lanterna
