#pragma once

#include "app/LocationAuthHelper.h"
#include "app/NewMenuItem.h"
#include "platform/NotificationNames.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeLAN.h"
#include "tests/fakes/FakeMachine.h"
#include "tests/fakes/FakeServicePublishing.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>

namespace lanterna
{

/// A controller on a machine of fakes in virtual time, with a real settings store in a folder of its own and features that count their calls.
class ControllerFixture : public testing::Test
{
protected:
    ControllerFixture() { settings.setValue(QStringLiteral("configurationURL"), QStringLiteral("http://lan.example/lanterna.txt")); }

    void set(const char *key, const QVariant &value) { settings.setValue(QString::fromLatin1(key), value); }
    [[nodiscard]] QVariant stored(const char *key) const { return settings.value(QString::fromLatin1(key)); }

    /// A store as an earlier run left it, showing the first LAN address.
    void earlierRun(qlonglong whichIP = firstLAN)
    {
        set("first_run", QStringLiteral("TRUE"));
        set("whichIP", whichIP);
    }

    /// Wakes the controller, as the program does.
    void start(quint64 modifiers = 0)
    {
        controller = std::make_unique<NewMenuItem>(ports(), features());
        controller->awakeFromNib();
        controller->applicationWillFinishLaunching(modifiers);
        dispatch.runReady();
    }
    /// A user who has the host announced for these interfaces (`nics`).
    void presenceOf(const QStringList &interfaceTexts, bool showCurrentUser = false)
    {
        set("nics", interfaceTexts);
        set("showCurrentUser", showCurrentUser);
    }
    /// How often the host was announced, on whatever interface.
    [[nodiscard]] qsizetype announcements() const { return publishing.history.size(); }
    /// Starts with these interfaces and lets the first display settle.
    void startWith(const QList<std::pair<QString, QString>> &interfaces)
    {
        for (const auto &[name, address] : interfaces)
            kernel.add(name, address);
        start();
        dispatch.advance(std::chrono::milliseconds(600)); // the WAN lookup has ended by then
    }
    void settle() { dispatch.advance(std::chrono::milliseconds(300)); }

    /// Moves time until the number has changed twice. The time between the changes; none when they do not come within a day.
    template <typename Number> std::optional<std::chrono::seconds> timeBetween(Number number)
    {
        std::optional<std::chrono::seconds> first;
        auto last = number();
        for (std::chrono::seconds passed{1}; passed < std::chrono::hours(24); ++passed) {
            dispatch.advance(std::chrono::seconds(1));
            if (std::exchange(last, number()) == last)
                continue;
            if (first)
                return passed - *first;
            first = passed;
        }
        return std::nullopt;
    }
    [[nodiscard]] qsizetype lanPasses() const { return log.count(QStringLiteral("timerLAN")); }
    [[nodiscard]] QString title() const { return statusItem.content.title; }
    [[nodiscard]] int calls(const char *name) const { return m_calls.value(QString::fromLatin1(name)); }

    Ports ports()
    {
        return {dispatch, settings, notifications, log, kernel, events, statusItem, alerts, pasteboard, workspace, publishing, browsing, macTables,
            [] { return QStringLiteral("lighthouse"); },
            [this] {
                ++accountReads;
                const bool read = accountTime.count() == 0 || dispatch.sleepFor(accountTime);
                return read ? userName : QString();
            },
            [this](const QString &url, const HttpFetch::Completion &completion) {
                downloads.append(url);
                dispatch.mainAfter(downloadTime, [this, url, completion] {
                    completion(replies.value(url, HttpReply{QStringLiteral("no route to host"), {}}));
                });
            },
            {}};
    }

    Features features()
    {
        Features made;
        made.scanNetworkWithCompletion = [this](const Features::ScanCompletion &completion) {
            called("scan");
            if (scansAnswer)
                completion({});
            else
                openScans.append(completion);
        };
        made.scanAndSaveSnapshotWithCompletion = [this](const Features::SnapshotCompletion &completion) {
            called("snapshot");
            completion(snapshotError.isNull(), snapshotError);
        };
        made.currentIPv4SubnetPrefixes = [this] { return subnetPrefixes; };
        made.saveMACAddressesToiCloud = [this] { called("upload"); };
        made.getCustomDictFromCloudKitDelayed = [this] { called("customisations"); };
        made.saveCustomizationsToCloudKitDelayed = [this] { called("saveCustomisations"); };
        made.applyLaunchAtLogin = [this] { called("launchAtLogin"); };
        made.startSnapshotPublisher = [this] { called("publisher"); };
        made.showWelcomePopoverIfNeeded = [this] { called("welcome"); };
        made.accumulateRuntimeAndMaybeRequestReview = [this] {
            called("review");
            return reviewGoesOn;
        };
        return withFeatures ? made : Features{};
    }

    virtual void called(const char *name) { ++m_calls[QString::fromLatin1(name)]; }

    QTemporaryDir folder;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    NotificationCenter notifications;
    SettingsStore settings{folder.path(), log};
    FakeKernelTables kernel;
    FakeSystemEvents events;
    FakeStatusItem statusItem;
    FakeAlerts alerts{dispatch};
    FakePasteboard pasteboard{dispatch};
    FakeWorkspace workspace;
    FakeServicePublishing publishing;
    FakeLAN browsing{dispatch}; ///< where services are looked for, and nothing else
    QStringList subnetPrefixes;
    bool withFeatures = true;
    std::optional<QVariantMap> macTables;
    std::chrono::milliseconds downloadTime{150}; ///< two of them take longer than the display's rest between updates
    QString userName = QStringLiteral("Ada Keeper"); ///< in the account's entry
    std::atomic<int> accountReads{0}; ///< how often the account's entry was asked for
    std::chrono::seconds accountTime{0}; ///< how long the account's entry takes
    bool scansAnswer = true; ///< at once; else the test answers those that are open
    QList<Features::ScanCompletion> openScans;
    QString snapshotError; ///< null for a snapshot that is saved
    bool reviewGoesOn = true;
    QHash<QString, HttpReply> replies; ///< by URL; others fail
    QStringList downloads;
    std::unique_ptr<NewMenuItem> controller;

private:
    QHash<QString, int> m_calls;
};

} // namespace lanterna
