#pragma once

#include "platform/Desktop.h"
#include "platform/Dispatch.h"

#include <QObject>

#include <functional>
#include <optional>

namespace lanterna
{

/// The desktop's clipboard. Main thread only.
///
/// On X11 the clipboard of the display. In a Wayland session a program without a focused window cannot set it (Qt believes that it did), so there the
/// text goes through `wl-copy`, which owns the clipboard in the background. One runs at a time: a text that comes meanwhile waits, and one that waited
/// already is answered as not copied, since the later one takes its place.
class QtPasteboard : public Pasteboard
{
public:
    explicit QtPasteboard(Dispatch &dispatch) : m_dispatch(dispatch) { }

    using Completion = std::function<void(bool copied)>;
    void setText(const QString &text, Completion completion) override;

private:
    struct Copy {
        QString text;
        Completion completion;
    };

    void setThroughCommand(const QString &text, Completion completion);
    void runWaiting();

    Dispatch &m_dispatch;
    std::optional<Copy> m_waiting;
    bool m_running = false; ///< a wl-copy that is not done yet
    QObject m_context; ///< children under way end with this
};

} // namespace lanterna
