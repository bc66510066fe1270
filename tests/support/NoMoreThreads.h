#pragma once

#include <gtest/gtest.h>

#include <pthread.h>

namespace lanterna
{

/// While it lives the system refuses this process every new thread, as it does at a limit: each would have a stack larger than the address space.
class NoMoreThreads
{
public:
    NoMoreThreads()
    {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t huge;
        pthread_getattr_default_np(&huge);
        pthread_attr_setstacksize(&huge, size_t(1) << 47);
        EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
        pthread_attr_destroy(&huge);
    }
    ~NoMoreThreads()
    {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }
    NoMoreThreads(const NoMoreThreads &) = delete;
    NoMoreThreads &operator=(const NoMoreThreads &) = delete;

private:
    pthread_attr_t m_before = {};
};

} // namespace lanterna
