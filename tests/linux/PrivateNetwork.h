#pragma once

#include <QString>

#include <gtest/gtest.h>

namespace lanterna
{

/// A network namespace of the test's own, with nothing in it but a loopback interface: what a test does there cannot touch the machine's network.
///
/// Needs root, or a kernel that lets everyone make user namespaces. The namespace belongs to the calling thread and to what it starts.
class PrivateNetwork
{
public:
    /// Moves the calling thread into a fresh namespace. Returns why that failed, empty when it did not.
    static QString enter();
    /// Runs lines of iproute2's `ip`, without the leading "ip"; false when one failed.
    static bool ip(const QString &lines);
};

/// A fixture whose tests run in a private network. Where there can be none they are skipped with the reason; under CI=true that is a failure.
class PrivateNetworkTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const QString problem = PrivateNetwork::enter();
        if (problem.isEmpty())
            return;
        if (qEnvironmentVariable("CI") == QLatin1String("true"))
            FAIL() << qPrintable(problem);
        GTEST_SKIP() << qPrintable(problem);
    }
};

} // namespace lanterna
