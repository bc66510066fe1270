#include "platform/NotificationCenter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace lanterna;

namespace
{

const QString name = QStringLiteral("PreferencesChanged");

TEST(NotificationCenter, DeliversBeforePostReturnsOnThePostersThread)
{
    NotificationCenter center;
    std::thread::id seen;
    const auto observation = center.observe(name, [&](const Notification &) { seen = std::this_thread::get_id(); });
    center.post(name);
    EXPECT_EQ(seen, std::this_thread::get_id());
}

TEST(NotificationCenter, HandsOverObjectAndUserInfo)
{
    NotificationCenter center;
    Notification received;
    const auto observation = center.observe(name, [&](const Notification &notification) { received = notification; });
    center.post(name, 7, {{QStringLiteral("authorized"), true}});
    EXPECT_EQ(received.name, name);
    EXPECT_EQ(received.object, QVariant(7));
    EXPECT_TRUE(received.userInfo.value(QStringLiteral("authorized")).toBool());
}

TEST(NotificationCenter, ObserversOfOtherNamesHearNothing)
{
    NotificationCenter center;
    int calls = 0;
    const auto observation = center.observe(QStringLiteral("updateMenubarData"), [&](const Notification &) { ++calls; });
    center.post(name);
    EXPECT_EQ(calls, 0);
}

TEST(NotificationCenter, ADroppedObserverHearsNothingMore)
{
    NotificationCenter center;
    int calls = 0;
    {
        const auto observation = center.observe(name, [&](const Notification &) { ++calls; });
        center.post(name);
    }
    center.post(name);
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, AnObserverMayEndItselfAndOthersDuringAPost)
{
    NotificationCenter center;
    int calls = 0;
    NotificationCenter::Observation first;
    NotificationCenter::Observation second;
    first = center.observe(name, [&](const Notification &) {
        ++calls;
        first = {};
        second = {};
    });
    second = center.observe(name, [&](const Notification &) { ++calls; });
    center.post(name);
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, AnObserverMayPostAndObserve)
{
    NotificationCenter center;
    std::vector<NotificationCenter::Observation> observations;
    int inner = 0;
    observations.push_back(center.observe(name, [&](const Notification &) {
        observations.push_back(center.observe(QStringLiteral("inner"), [&](const Notification &) { ++inner; }));
        center.post(QStringLiteral("inner"));
    }));
    center.post(name);
    EXPECT_EQ(inner, 1);
}

TEST(NotificationCenter, DroppingAnObservationWaitsForACallOnAnotherThread)
{
    NotificationCenter center;
    std::atomic<bool> entered{false};
    std::atomic<bool> leave{false};
    std::atomic<bool> left{false};
    auto observation = center.observe(name, [&](const Notification &) {
        entered = true;
        while (!leave)
            std::this_thread::yield();
        left = true;
    });
    std::thread poster([&] { center.post(name); });
    while (!entered)
        std::this_thread::yield();
    std::thread release([&] { leave = true; });
    observation = {};
    EXPECT_TRUE(left);
    poster.join();
    release.join();
}

TEST(NotificationCenter, ManyThreadsMayPostObserveAndLeaveAtOnce)
{
    NotificationCenter center;
    std::atomic<int> calls{0};
    const auto work = [&] {
        for (int round = 0; round < 500; ++round) {
            const auto observation = center.observe(name, [&](const Notification &) { ++calls; });
            center.post(name);
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_GE(calls, 1000); // each thread hears at least its own posts
}

} // namespace
