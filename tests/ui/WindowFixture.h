#pragma once

#include "ui/Program.h"

#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/MemoryFolder.h"

#include <QGuiApplication>
#include <QQuickItem>

#include <gtest/gtest.h>

#include <cstdio>
#include <mutex>

namespace lanterna
{

class FakeScreenLayout : public ScreenLayout
{
public:
    [[nodiscard]] QList<Monitor> monitors() const override { return found; }
    [[nodiscard]] bool blends() const override { return blending; }
    bool blending = true;
    QList<Monitor> found{{QRectF(0, 0, 1280, 800), QRectF(0, 30, 1280, 770)}};
};

/// The windows' program with real settings in a folder of their own, and everything that it posts.
class WindowFixture : public testing::Test
{
protected:
    WindowFixture()
    {
        static std::once_flag once;
        std::call_once(once, [] {
            QQuickWindow::setSceneGraphBackend(QStringLiteral("software"));
            qInstallMessageHandler(failOnViewErrors);
        });
        // As in the program: on the main queue to its core, and once more on the main queue to the windows.
        settings.setChangeObserver([this](const QString &key, bool) {
            dispatch.mainAsync([this, key] { dispatch.mainAsync([this, key] { Q_EMIT program.settingChanged(key); }); });
        });
        for (const char *name :
            {"PreferencesChanged", "updateMenubarData", "TriggerImmediateScan", "WiFiStubChanged", "MACAddressesByNetworkSegmentDictEdited"})
            observations.push_back(
                notifications.observe(QString::fromLatin1(name), [this](const Notification &posting) { posted.append(posting.name); }));
    }
    ~WindowFixture() override
    {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); // windows that closed themselves, while there is a program
        freeTextures();
    }
    /// Lets the toolkit draw and handle what waits, and runs the program's own tasks.
    void settle()
    {
        for (int turn = 0; turn < 5; ++turn) {
            QGuiApplication::processEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); // which wait for an event loop otherwise
            dispatch.runReady();
        }
    }
    /// Another process changes a setting, and this one notices.
    void changeElsewhere(const char *key, const QVariant &value)
    {
        SettingsStore(folder.path(), log).setValue(QString::fromLatin1(key), value);
        settings.noticeChanges();
        settle();
    }
    /// The first item below one that has this accessible name or text; null when there is none.
    static QQuickItem *find(QQuickItem *from, const QString &text, const char *property = "text")
    {
        if (from->property(property).toString() == text)
            return from;
        for (QQuickItem *child : from->childItems()) {
            if (QQuickItem *found = find(child, text, property))
                return found;
        }
        return nullptr;
    }

private:
    /// An error in a view's script is only a message to the toolkit.
    static void failOnViewErrors(QtMsgType, const QMessageLogContext &, const QString &message)
    {
        std::fputs(qPrintable(message + QLatin1Char('\n')), stderr);
        if (message.contains(QLatin1String("qrc:/")))
            ADD_FAILURE() << message.toStdString();
    }
    /// The toolkit frees the textures of windows that are gone when it next draws one, which leak detection would not see happen.
    void freeTextures()
    {
        QQuickWindow last;
        last.create();
        last.releaseResources();
        (void)last.grabWindow();
    }

protected:
    MemoryFolder folder;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    NotificationCenter notifications;
    FakeScreenLayout screens;
    SettingsStore settings{folder.path(), log};
    int applied = 0; ///< how often launch at login was put into force
    QString otherStore;
    Program program{{dispatch, settings, notifications, log, screens, [this] { ++applied; }, [this] { return otherStore; }}};
    QStringList posted;
    std::vector<NotificationCenter::Observation> observations;
};

} // namespace lanterna
