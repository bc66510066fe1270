#pragma once

#include "platform/Desktop.h"
#include "platform/Dispatch.h"
#include "platform/WindowLibrary.h"

#include <deque>
#include <functional>

namespace lanterna
{

/// Alerts as windows. Main thread only; each answer comes on the main queue.
///
/// Where no window can be shown every alert is answered with its cancel button.
class WindowAlerts : public Alerts
{
public:
    /// `library` gives the windows, or null; asked at each alert.
    WindowAlerts(Dispatch &dispatch, std::function<WindowLibrary *()> library);
    ~WindowAlerts() override;

    void runModal(const Alert &alert, std::function<void(int button)> completion) override;

private:
    struct Waiting {
        Alert alert;
        std::function<void(int)> completion;
    };
    void showNext();
    void answer(int button);

    Dispatch &m_dispatch;
    std::function<WindowLibrary *()> m_library;
    bool m_showing = false;
    std::deque<Waiting> m_waiting; ///< the first is the one that is shown
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);
};

} // namespace lanterna
