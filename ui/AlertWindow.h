#pragma once

#include "platform/WindowLibrary.h"

#include <QObject>
#include <QQuickWindow>

#include <functional>
#include <memory>

namespace lanterna
{

/// Shows one alert at a time in the window of qml/AlertWindow.qml. Main thread only.
class AlertWindow : public QObject
{
    Q_OBJECT
public:
    AlertWindow();
    ~AlertWindow() override;

    /// False when the window cannot be made. `completion` is called once, when a button is chosen.
    bool show(const Alert &alert, std::function<void(int button)> completion);

private:
    Q_SLOT void choose(int button);

    std::unique_ptr<QQuickWindow> m_window;
    std::function<void(int)> m_completion;
};

} // namespace lanterna
