#pragma once

#include "platform/Desktop.h"
#include "platform/Dispatch.h"
#include "platform/SystemLog.h"
#include "platform/WindowLibrary.h"

#include <deque>

namespace lanterna
{

/// Alerts as windows, by way of the library that is loaded at the first one. Main thread only; each answer comes on the main queue.
///
/// Without the library (or where it can show no window) one line is logged, and every alert is answered with its cancel button.
class WindowAlerts : public Alerts
{
public:
    /// `libraryPath` is where the library lies; empty when it is not there. `appearance` is asked at each alert: "dark", "light", or empty when not
    /// known.
    WindowAlerts(Dispatch &dispatch, SystemLog &log, const QString &libraryPath, std::function<QString()> appearance = nullptr);
    ~WindowAlerts() override;

    void runModal(const Alert &alert, std::function<void(int button)> completion) override;

private:
    struct Waiting {
        Alert alert;
        std::function<void(int)> completion;
    };
    void showNext();
    void answer(int button);
    [[nodiscard]] WindowLibrary::Palette palette() const;
    WindowLibrary *library();

    Dispatch &m_dispatch;
    SystemLog &m_log;
    QString m_libraryPath;
    std::function<QString()> m_appearance;
    WindowLibrary *m_library = nullptr; // owned by the library itself
    bool m_loaded = false;
    bool m_showing = false;
    std::deque<Waiting> m_waiting; ///< the first is the one that is shown
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);
};

} // namespace lanterna
