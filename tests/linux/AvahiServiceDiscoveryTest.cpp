#include "platform/linux/AvahiServiceDiscovery.h"

#include "platform/linux/MdnsStack.h"

#include "tests/fakes/VirtualDispatch.h"

#include <gtest/gtest.h>

#include <map>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

const ServiceInstance printer{"Hall Printer", "_ipp._tcp.", "local.", 2};
const ResolvedService place{"printer.local.", {"192.168.77.20"}};

/// A stack that keeps what is open, and tells what the test says.
class FakeMdnsStack : public MdnsStack
{
public:
    struct State {
        std::weak_ptr<MdnsListener> listener;
        int passes = 0;
        int rests = 0;
        std::chrono::milliseconds patience{};
        std::map<quint64, QString> searches; // open ones and their types
        std::map<quint64, QString> watches; // their domains
        std::map<quint64, ServiceRegistration> publications;
        std::map<quint64, ServiceInstance> resolutions;
        QStringList asked; // the names of all resolutions, in order
    };
    explicit FakeMdnsStack(State &state) : m_state(state) { }

    void setListener(std::weak_ptr<MdnsListener> listener) override { m_state.listener = std::move(listener); }
    void beginPass() override { ++m_state.passes; }
    void search(quint64 id, const QString &ofType, const QString &) override { m_state.searches.emplace(id, ofType); }
    void resolve(quint64 id, const ServiceInstance &service) override
    {
        m_state.resolutions.emplace(id, service);
        m_state.asked.append(service.name);
    }
    void watch(quint64 id, const QString &, const QString &inDomain) override { m_state.watches.emplace(id, inDomain); }
    void publish(quint64 id, const ServiceRegistration &service) override { m_state.publications.emplace(id, service); }
    void setText(quint64 id, const ServiceText &text) override { m_state.publications.at(id).text = text; }
    void end(quint64 id) override
    {
        m_state.searches.erase(id);
        m_state.watches.erase(id);
        m_state.publications.erase(id);
        m_state.resolutions.erase(id);
    }
    void rest() override { ++m_state.rests; }
    void leave(std::chrono::milliseconds patience) override { m_state.patience = patience; }

private:
    State &m_state;
};

class AvahiServiceDiscoveryTest : public testing::Test
{
protected:
    std::shared_ptr<void> search(const QString &type = "_ipp._tcp.")
    {
        return discovery->searchForServices(
            type, "local.", [this](const ServiceInstance &service) { found.append(service.name); }, [this] { ++ended; });
    }
    std::shared_ptr<void> resolve(const QString &name = "Hall Printer", std::chrono::milliseconds timeout = 3s)
    {
        return discovery->resolve({name, "_ipp._tcp.", "local.", 2}, timeout, [this, name](const std::optional<ResolvedService> &where) {
            answers.append(name);
            (where ? resolved : unresolved).append(name);
        });
    }
    std::shared_ptr<void> watch(const QString &domain = {})
    {
        return discovery->watchForServices("_ipp._tcp.", domain, [this](const ServiceInstance &service) { found.append(service.name); });
    }
    void tellFound(const QString &name) { stack.listener.lock()->found(stack.searches.begin()->first, {name, "_ipp._tcp.", "local.", 2}); }
    void tellSearchEnded() { stack.listener.lock()->searchEnded(stack.searches.begin()->first); }
    void answerFirst() { stack.listener.lock()->resolved(stack.resolutions.begin()->first, place); }

    VirtualDispatch dispatch;
    FakeMdnsStack::State stack;
    std::unique_ptr<AvahiServiceDiscovery> discovery = std::make_unique<AvahiServiceDiscovery>(dispatch, std::make_unique<FakeMdnsStack>(stack));
    QStringList found;
    int ended = 0;
    QStringList answers;
    QStringList resolved;
    QStringList unresolved;
};

} // namespace

TEST_F(AvahiServiceDiscoveryTest, FoundServicesAreToldWhileTheHandleIsKept)
{
    auto handle = search();
    tellFound("one");
    const quint64 id = stack.searches.begin()->first;
    handle.reset();
    EXPECT_TRUE(stack.searches.empty());
    stack.listener.lock()->found(id, printer);
    stack.listener.lock()->searchEnded(id);
    EXPECT_EQ(found, QStringList("one"));
    EXPECT_EQ(ended, 0);
}

TEST_F(AvahiServiceDiscoveryTest, PassBeginsWithTheFirstSearchOnly)
{
    auto first = search("_ipp._tcp.");
    auto second = search("_http._tcp.");
    EXPECT_EQ(stack.passes, 1);
    first.reset();
    second.reset();
    auto third = search();
    EXPECT_EQ(stack.passes, 2);
}

TEST_F(AvahiServiceDiscoveryTest, SearchThatEndedByItselfIsToldOnceAndNoLongerOpen)
{
    const auto handle = search();
    const quint64 id = stack.searches.begin()->first;
    tellSearchEnded();
    stack.listener.lock()->searchEnded(id);
    stack.listener.lock()->found(id, printer);
    EXPECT_EQ(ended, 1);
    EXPECT_TRUE(found.isEmpty());
    const auto next = search();
    EXPECT_EQ(stack.passes, 2);
}

TEST_F(AvahiServiceDiscoveryTest, ResolutionIsAnsweredOnce)
{
    const auto handle = resolve();
    answerFirst();
    EXPECT_EQ(resolved, QStringList("Hall Printer"));
    dispatch.advance(10s);
    EXPECT_EQ(answers.size(), 1);
    EXPECT_TRUE(stack.resolutions.empty());
}

TEST_F(AvahiServiceDiscoveryTest, ResolutionWithoutAnswerEndsAtItsTimeout)
{
    const auto handle = resolve("Hall Printer", 3s);
    dispatch.advance(3s - 1ms);
    EXPECT_TRUE(answers.isEmpty());
    dispatch.advance(1ms);
    EXPECT_EQ(unresolved, QStringList("Hall Printer"));
    EXPECT_TRUE(stack.resolutions.empty());
}

TEST_F(AvahiServiceDiscoveryTest, DroppedResolutionIsNotAnswered)
{
    auto handle = resolve();
    handle.reset();
    EXPECT_TRUE(stack.resolutions.empty());
    dispatch.advance(10s);
    EXPECT_TRUE(answers.isEmpty());
}

TEST_F(AvahiServiceDiscoveryTest, SixtyFourAreResolvedAtOnceAndTheOthersInOrder)
{
    std::vector<std::shared_ptr<void>> handles;
    QStringList names;
    for (int number = 0; number < 200; ++number) {
        names.append(QString::number(number));
        handles.push_back(resolve(names.last()));
    }
    EXPECT_EQ(stack.resolutions.size(), 64U);
    while (!stack.resolutions.empty()) {
        answerFirst();
        dispatch.runReady();
        EXPECT_LE(stack.resolutions.size(), 64U);
    }
    EXPECT_EQ(stack.asked, names);
    EXPECT_EQ(resolved, names);
}

TEST_F(AvahiServiceDiscoveryTest, TimeoutCountsOnlyWhileTheResolutionIsUnderWay)
{
    std::vector<std::shared_ptr<void>> handles;
    for (int number = 0; number < 128; ++number)
        handles.push_back(resolve(QString::number(number), 1s));
    dispatch.advance(1s); // each has had one turn of two
    EXPECT_TRUE(unresolved.isEmpty());
    dispatch.advance(500ms);
    EXPECT_EQ(unresolved.size(), 64);
    EXPECT_EQ(unresolved.first(), "0");
    dispatch.advance(500ms);
    EXPECT_EQ(unresolved.size(), 128);
    EXPECT_TRUE(stack.resolutions.empty());
}

TEST_F(AvahiServiceDiscoveryTest, SilentResolutionsGiveTheirPlacesToThoseThatWait)
{
    std::vector<std::shared_ptr<void>> handles;
    for (int number = 0; number < 192; ++number)
        handles.push_back(resolve(QString::number(number)));
    handles.push_back(resolve("late"));
    dispatch.advance(1400ms);
    EXPECT_FALSE(stack.asked.contains("late"));
    dispatch.advance(100ms);
    EXPECT_TRUE(stack.asked.contains("late"));
    EXPECT_EQ(stack.resolutions.size(), 64U);
}

TEST_F(AvahiServiceDiscoveryTest, ASilentServiceIsAskedForAnewEachSecond)
{
    const auto handle = resolve();
    dispatch.advance(999ms);
    EXPECT_EQ(stack.asked.size(), 1);
    dispatch.advance(1ms);
    EXPECT_EQ(stack.asked.size(), 2);
    dispatch.advance(2s);
    EXPECT_EQ(stack.asked.size(), 3);
    EXPECT_EQ(unresolved, QStringList("Hall Printer"));
}

TEST_F(AvahiServiceDiscoveryTest, AnAnswerOfAnEarlierTurnIsNotHeard)
{
    std::vector<std::shared_ptr<void>> handles;
    for (int number = 0; number < 65; ++number)
        handles.push_back(resolve(QString::number(number)));
    const quint64 run = stack.resolutions.begin()->first;
    dispatch.advance(500ms);
    stack.listener.lock()->resolved(run, std::nullopt);
    EXPECT_TRUE(answers.isEmpty());
}

TEST_F(AvahiServiceDiscoveryTest, DroppedResolutionsThatWaitedAreNeverStarted)
{
    std::vector<std::shared_ptr<void>> handles;
    for (int number = 0; number < 66; ++number)
        handles.push_back(resolve(QString::number(number)));
    handles[64].reset();
    handles[0].reset();
    dispatch.runReady();
    EXPECT_EQ(stack.resolutions.size(), 64U);
    EXPECT_EQ(stack.asked.last(), "65");
}

TEST_F(AvahiServiceDiscoveryTest, DroppingAllAtOnceStartsNone)
{
    std::vector<std::shared_ptr<void>> handles;
    for (int number = 0; number < 1000; ++number)
        handles.push_back(resolve(QString::number(number)));
    for (auto &handle : handles) // front to back, those under way first
        handle.reset();
    dispatch.runReady();
    EXPECT_EQ(stack.asked.size(), 64);
    EXPECT_TRUE(stack.resolutions.empty());
    EXPECT_EQ(stack.rests, 1);
    const auto next = resolve("afterwards");
    EXPECT_EQ(stack.asked.last(), "afterwards");
}

TEST_F(AvahiServiceDiscoveryTest, StackRestsWhenNothingIsOpen)
{
    auto searching = search();
    auto resolving = resolve();
    searching.reset();
    dispatch.runReady();
    EXPECT_EQ(stack.rests, 0);
    answerFirst();
    dispatch.runReady();
    EXPECT_EQ(stack.rests, 1);
    resolving.reset();
    dispatch.runReady();
    EXPECT_EQ(stack.rests, 1);
}

TEST_F(AvahiServiceDiscoveryTest, StackDoesNotRestBetweenTwoLookups)
{
    auto handle = search();
    handle.reset();
    handle = search();
    dispatch.runReady();
    EXPECT_EQ(stack.rests, 0);
}

TEST_F(AvahiServiceDiscoveryTest, CallbackMayDropItsOwnHandleAndBeginMore)
{
    std::shared_ptr<void> handle;
    std::shared_ptr<void> next;
    handle = discovery->searchForServices("_ipp._tcp.", "local.",
        [&](const ServiceInstance &service) {
            next = resolve(service.name);
            handle.reset();
        },
        {});
    tellFound("Hall Printer");
    EXPECT_TRUE(stack.searches.empty());
    answerFirst();
    EXPECT_EQ(resolved, QStringList("Hall Printer"));
}

TEST_F(AvahiServiceDiscoveryTest, CallbackMayDestroyTheDiscovery)
{
    std::shared_ptr<void> handle = discovery->resolve(printer, 3s, [&](const auto &) { discovery.reset(); });
    dispatch.advance(3s);
    EXPECT_EQ(discovery, nullptr);
    EXPECT_TRUE(stack.listener.expired());
}

TEST_F(AvahiServiceDiscoveryTest, HandlesMayOutliveTheDiscovery)
{
    auto searching = search();
    auto resolving = resolve();
    discovery.reset();
    searching.reset();
    resolving.reset();
    dispatch.advance(10s);
    EXPECT_EQ(ended, 0);
    EXPECT_TRUE(answers.isEmpty());
}

TEST_F(AvahiServiceDiscoveryTest, WatchBelongsToNoPass)
{
    const auto watching = watch();
    EXPECT_EQ(stack.passes, 0);
    const auto first = search();
    EXPECT_EQ(stack.passes, 1);
    EXPECT_EQ(stack.searches.size(), 1U);
    EXPECT_EQ(stack.watches.size(), 1U);
}

TEST_F(AvahiServiceDiscoveryTest, WatchWithoutDomainIsOfTheLocalOne)
{
    const auto anywhere = watch();
    EXPECT_EQ(stack.watches.begin()->second, "local.");
    const auto elsewhere = watch("example.com.");
    EXPECT_EQ(stack.watches.rbegin()->second, "example.com.");
}

TEST_F(AvahiServiceDiscoveryTest, WatchTellsUntilItsHandleIsDroppedEvenInItsOwnCall)
{
    std::shared_ptr<void> handle;
    handle = discovery->watchForServices("_ipp._tcp.", {}, [&](const ServiceInstance &service) {
        found.append(service.name);
        if (service.name == "last")
            handle.reset();
    });
    const quint64 id = stack.watches.begin()->first;
    for (const char *name : {"one", "last", "too late"})
        stack.listener.lock()->found(id, {name, "_ipp._tcp.", "local.", 2});
    EXPECT_EQ(found, QStringList({"one", "last"}));
    EXPECT_TRUE(stack.watches.empty());
}

TEST_F(AvahiServiceDiscoveryTest, PublishedServiceIsAnnouncedUntilItIsDropped)
{
    const ServiceRegistration service{"Hall sensor", "_rgfscanmac._tcp", "", 40123, {{"rev", "1"}}};
    auto published = discovery->publish(service);
    ASSERT_EQ(stack.publications.size(), 1U);
    EXPECT_EQ(stack.publications.begin()->second, service);
    published->setText({{"rev", "2"}});
    EXPECT_EQ(stack.publications.begin()->second.text, ServiceText({{"rev", "2"}}));
    published.reset();
    EXPECT_TRUE(stack.publications.empty());
    EXPECT_EQ(stack.passes, 0);
}

TEST_F(AvahiServiceDiscoveryTest, PublicationsOfOneNameAreNeverOneToTheStack)
{
    const ServiceRegistration service{"Hall sensor", "_rgfscanmac._tcp", "", 40123, {}};
    auto published = discovery->publish(service);
    const quint64 first = stack.publications.begin()->first;
    published = discovery->publish(service);
    ASSERT_EQ(stack.publications.size(), 1U);
    EXPECT_NE(stack.publications.begin()->first, first);
}

TEST_F(AvahiServiceDiscoveryTest, WhatCannotBeAnnouncedIsSilentlyNot)
{
    const ServiceRegistration good{QString(63, 'a'), "_rgfscanmac._tcp.", "local.", 1, {}};
    for (const QString &name : {QString(), QString(64, 'a'), QString(32, QChar(0xe4)), QString(QChar(0))}) {
        const auto published = discovery->publish({name, good.type, good.domain, 1, {}});
        ASSERT_TRUE(published);
        published->setText({{"rev", "1"}});
        EXPECT_TRUE(stack.publications.empty()) << qPrintable(name);
    }
    for (const char *type : {"", "rgfscanmac", "_rgfscanmac", "_rgfscanmac._sctp", "_rgfscanmac._tcp.local", "._tcp"})
        EXPECT_TRUE(discovery->publish({good.name, type, good.domain, 1, {}}) && stack.publications.empty()) << type;
    EXPECT_TRUE(discovery->publish({good.name, good.type, "a..b", 1, {}}) && stack.publications.empty());
    const auto published = discovery->publish(good);
    EXPECT_EQ(stack.publications.size(), 1U);
}

TEST_F(AvahiServiceDiscoveryTest, StackRestsOnlyWhenNothingStandsEither)
{
    auto published = discovery->publish({"Hall sensor", "_rgfscanmac._tcp", "", 40123, {}});
    auto watching = watch();
    auto pass = search();
    pass.reset();
    dispatch.runReady();
    EXPECT_EQ(stack.rests, 0);
    published.reset();
    dispatch.runReady();
    EXPECT_EQ(stack.rests, 0);
    watching.reset();
    dispatch.runReady();
    EXPECT_EQ(stack.rests, 1);
}

TEST_F(AvahiServiceDiscoveryTest, PublicationsAndWatchesMayOutliveTheDiscovery)
{
    const auto published = discovery->publish({"Hall sensor", "_rgfscanmac._tcp", "", 40123, {}});
    const auto watching = watch();
    discovery.reset();
    published->setText({{"rev", "2"}});
}

TEST_F(AvahiServiceDiscoveryTest, LeavingWaitsAsLongAsTold)
{
    discovery->leave(300ms);
    EXPECT_EQ(stack.patience, 300ms);
}
