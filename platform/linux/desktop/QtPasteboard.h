#pragma once

#include "platform/Desktop.h"
#include "platform/Dispatch.h"

#include <QObject>

namespace lanterna
{

/// The desktop's clipboard. Main thread only.
///
/// On X11 the clipboard of the display. In a Wayland session a program without a focused window cannot set it (Qt believes that it did), so there the
/// text goes through `wl-copy`, which owns the clipboard in the background.
class QtPasteboard : public Pasteboard
{
public:
    explicit QtPasteboard(Dispatch &dispatch) : m_dispatch(dispatch) { }

    void setText(const QString &text, std::function<void(bool copied)> completion) override;

private:
    void setThroughCommand(const QString &text, std::function<void(bool copied)> completion);

    Dispatch &m_dispatch;
    QObject m_context; ///< children under way end with this
};

} // namespace lanterna
