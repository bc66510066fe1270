#include "platform/WindowLibrary.h"
#include "ui/AlertWindow.h"

#include <QQuickWindow>

#include <utility>

namespace lanterna
{

namespace
{

class QuickWindows : public WindowLibrary
{
public:
    QuickWindows()
    {
        // Drawn by the processor: the windows are small, and a graphics driver costs several times the program's memory.
        QQuickWindow::setSceneGraphBackend(QStringLiteral("software"));
    }
    bool showAlert(const Alert &alert, Palette palette, std::function<void(int button)> completion) override
    {
        return m_alert.show(alert, palette, std::move(completion));
    }

private:
    AlertWindow m_alert;
};

} // namespace

} // namespace lanterna

extern "C" Q_DECL_EXPORT lanterna::WindowLibrary *lanternaWindowLibrary()
{
    static lanterna::QuickWindows windows;
    return &windows;
}
