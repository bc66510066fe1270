#pragma once

#include "ui/PreferencesWindowController.h"

#include "tests/ui/WindowFixture.h"

#include <QKeyEvent>
#include <QMouseEvent>

namespace lanterna
{

/// The real preferences with the real LAN data panel over it, used by keys, presses and the controls' own clicks.
class PanelFixture : public WindowFixture
{
protected:
    /// Opens preferences and panel; gives the panel.
    QQuickWindow *openPanel()
    {
        if (!bridge.controller()) {
            EXPECT_TRUE(bridge.showPreferencesWindow()) << log.lines().join('\n').toStdString();
        }
        settle();
        click(preferences(), "Configure LAN data sharing");
        EXPECT_TRUE(panel());
        return panel();
    }
    QQuickWindow *preferences() const { return bridge.controller()->window(); }
    QQuickWindow *panel() const { return windowWith("LAN Data Sharing"); }
    /// The visible window that shows this text; null when there is none.
    static QQuickWindow *windowWith(const char *text)
    {
        for (QWindow *window : QGuiApplication::topLevelWindows()) {
            auto *quick = qobject_cast<QQuickWindow *>(window);
            if (quick && quick->isVisible() && shownItem(quick, text))
                return quick;
        }
        return nullptr;
    }
    /// The visible item of this window with this text, label or help.
    static QQuickItem *shownItem(QQuickWindow *window, const char *text)
    {
        for (const char *property : {"text", "label", "help"}) {
            if (QQuickItem *found = shownBelow(window->contentItem(), QString::fromUtf8(text), property))
                return found;
        }
        return nullptr;
    }
    void click(QQuickWindow *window, const char *text)
    {
        QQuickItem *button = window ? shownItem(window, text) : nullptr;
        ASSERT_TRUE(button) << text;
        ASSERT_TRUE(button->isEnabled());
        ASSERT_TRUE(QMetaObject::invokeMethod(button, "clicked"));
        settle();
    }
    void choose(const char *item)
    {
        QQuickItem *picker = shownItem(panel(), "Associate data with WiFi network:");
        const QVariantList items = panelPicker()->property("model").toList();
        for (int index = 0; index < items.size(); ++index) {
            if (items.at(index).toMap().value("text") == QString::fromUtf8(item)) {
                QMetaObject::invokeMethod(panelPicker(), "choose", Q_ARG(QVariant, index));
                settle();
                return;
            }
        }
        FAIL() << item << (picker ? "" : ", and no picker");
    }
    QQuickItem *panelPicker() const
    {
        for (QQuickItem *found : allBelow(panel()->contentItem())) {
            if (found->inherits("QQuickComboBox"))
                return found;
        }
        return nullptr;
    }
    void press(QQuickWindow *window, int key, const QString &text = {})
    {
        QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier, text);
        QGuiApplication::sendEvent(window, &down);
        QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier, text);
        QGuiApplication::sendEvent(window, &up);
        settle();
    }
    /// Presses and releases the left button there.
    void pressAt(QQuickWindow *window, const QPointF &point)
    {
        for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
            QMouseEvent event(type, point, window->position() + point, Qt::LeftButton,
                type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
            QGuiApplication::sendEvent(window, &event);
        }
        settle();
    }
    static QPointF middleOf(QQuickItem *item) { return item->mapToScene(QPointF(item->width() / 2, item->height() / 2)); }
    static QList<QQuickItem *> allBelow(QQuickItem *item)
    {
        QList<QQuickItem *> found{item};
        for (QQuickItem *child : item->childItems())
            found += allBelow(child);
        return found;
    }

    PrefsWindowBridge bridge;

private:
    static QQuickItem *shownBelow(QQuickItem *from, const QString &text, const char *property)
    {
        if (!from->isVisible())
            return nullptr;
        const bool control = qstrcmp(property, "text") != 0 || !from->property("text").isNull();
        if (control && from->property(property) == text)
            return from;
        for (QQuickItem *child : from->childItems()) {
            if (QQuickItem *found = shownBelow(child, text, property))
                return found;
        }
        return nullptr;
    }
};

} // namespace lanterna
