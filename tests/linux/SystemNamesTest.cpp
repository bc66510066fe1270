#include "platform/linux/SystemNames.h"

#include <gtest/gtest.h>

#include <mutex>
#include <set>

#include <poll.h>
#include <unistd.h>

using namespace lanterna;

namespace
{

constexpr int patience = 10'000; // ms

/// The threads that ask a resolver which answers at once. Process-wide ids: unlike those of std::thread they are not given again at once.
class QuickResolver
{
public:
    QByteArray operator()(quint32 address)
    {
        const std::lock_guard lock(m_mutex);
        m_threads.insert(gettid());
        return QByteArray::number(address);
    }
    [[nodiscard]] std::size_t threads() const
    {
        const std::lock_guard lock(m_mutex);
        return m_threads.size();
    }

private:
    mutable std::mutex m_mutex;
    std::set<pid_t> m_threads;
};

TEST(SystemNames, AQuickResolverIsAskedByTheSameThreads)
{
    const auto resolver = std::make_shared<QuickResolver>();
    SystemNames names([resolver](quint32 address) { return (*resolver)(address); });
    const auto inquiry = std::make_shared<SystemInquiry>();
    for (quint32 address = 1; address <= 300; ++address) {
        names.ask(inquiry, address);
        pollfd bell = {inquiry->bell().descriptor(), POLLIN, 0};
        ASSERT_EQ(poll(&bell, 1, patience), 1);
        ASSERT_EQ(inquiry->take(), (QList<SystemInquiry::Answer>{{address, QByteArray::number(address)}}));
    }
    EXPECT_LE(resolver->threads(), std::size_t(SystemNames::maximumThreads));
}

} // namespace
