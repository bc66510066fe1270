#pragma once

#include "platform/WindowLibrary.h"

#include <QHash>
#include <QObject>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QVariantMap>

#include <memory>

namespace lanterna
{

/// What the windows share: the program's ports, the desktop's wishes, and the engine that runs their QML. In QML it is the singleton `Program`.
///
/// One at a time. Main thread only.
class Program : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool dark READ dark NOTIFY lookChanged)
    Q_PROPERTY(bool animated READ animated NOTIFY lookChanged)
    /// What sizes in points are multiplied by, so that they fit the desktop's font: at least 1.
    Q_PROPERTY(qreal scale READ scale CONSTANT)
public:
    explicit Program(const WindowPorts &ports);
    ~Program() override;

    /// The one there is.
    static Program &current();
    /// For the QML engine.
    static Program *create(QQmlEngine *engine, QJSEngine *scriptEngine);

    [[nodiscard]] const WindowPorts &ports() const { return m_ports; }
    [[nodiscard]] bool dark() const;
    [[nodiscard]] bool animated() const { return m_look.animated; }
    [[nodiscard]] qreal scale() const { return m_scale; }
    void setLook(const WindowLook &look);

    /// Makes the window of a QML file ("PreferencesView"), hidden unless the file shows it. Null, with one log line, when that fails. The window keeps
    /// the engine; when the last window goes, the engine's memory goes too.
    std::unique_ptr<QQuickWindow> makeWindow(const QString &type, const QVariantMap &properties = {});

    /// Makes the windows of a QML file open faster from now on, for two megabytes: the engine stays, and the file compiled.
    void keepCompiled(const QString &type);

    /// Puts the setting `launchAtLogin` into force.
    Q_INVOKABLE void applyLaunchAtLogin() const;
    /// Tells the program that a setting of the preferences has changed: "PreferencesChanged", then "updateMenubarData".
    Q_INVOKABLE void postPreferencesChanged() const;

    Q_SIGNAL void lookChanged();
    /// A setting changed, whoever changed it.
    Q_SIGNAL void settingChanged(const QString &key);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    std::shared_ptr<QQmlEngine> engine();

    WindowPorts m_ports;
    WindowLook m_look;
    qreal m_scale = 1;
    std::weak_ptr<QQmlEngine> m_engine;
    struct Kept {
        std::shared_ptr<QQmlEngine> engine;
        std::shared_ptr<QQmlComponent> component;
    };
    QHash<QString, Kept> m_kept; // by type
};

} // namespace lanterna
