#pragma once

#include "platform/WindowLibrary.h"

#include <QObject>
#include <QQmlApplicationEngine>
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
    bool show(const Alert &alert, WindowLibrary::Palette palette, std::function<void(int button)> completion);

private:
    Q_SLOT void choose(int button);

    std::unique_ptr<QQmlApplicationEngine> m_engine; ///< lives while a window is open, so that its memory goes with the window
    std::function<void(int)> m_completion;
};

} // namespace lanterna
