#pragma once

#include "platform/Dispatch.h"

#include <QObject>
#include <QQuickWindow>

#include <chrono>
#include <memory>

namespace lanterna
{

/// Owns the bubble with a message, of which there is one at most. Main thread only.
class TooltipWindowController : public QObject
{
public:
    TooltipWindowController();
    ~TooltipWindowController() override;

    /// Shows the message under the panel with its middle at x, in points, and hides it after the duration. A bubble that stood before is gone at once.
    void show(const QString &message, double x, std::chrono::milliseconds duration);
    /// Fades the bubble out and closes it.
    void hide();
    /// The bubble's window; null when there is none.
    [[nodiscard]] QQuickWindow *window() const { return m_window.get(); }

private:
    void close();
    bool place(); // false when there is no monitor

    std::unique_ptr<QQuickWindow> m_window;
    double m_x = 0;
    TimerHandle m_hideTask; // pending until the bubble hides, then until it is gone
};

/// The way to the bubble for everything that has something to say.
class TooltipBridge
{
public:
    /// How long a message stands.
    static constexpr std::chrono::milliseconds displayTime{3500};

    /// Shows the message, on the main thread and after this call. Any thread.
    void showMessage(const QString &message, double atXPosition);
    /// The bubble's keeper.
    [[nodiscard]] TooltipWindowController &controller() const { return *m_controller; }

private:
    std::shared_ptr<TooltipWindowController> m_controller = std::make_shared<TooltipWindowController>();
};

} // namespace lanterna
