#pragma once

#include <QString>

#include <gtest/gtest.h>

#include <utility>

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

/// A private network with one cable: lan0 is this machine's end, far0 the other one. Both are up, and nobody answers at the far end.
class CableTest : public PrivateNetworkTest
{
protected:
    /// `more` are further lines for `PrivateNetwork::ip`: addresses, routes.
    explicit CableTest(QString more) : m_more(std::move(more)) { }
    void SetUp() override
    {
        PrivateNetworkTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        ASSERT_TRUE(PrivateNetwork::ip("link add lan0 index 20 type veth peer name far0 index 30\nlink set lan0 up\nlink set far0 up\n" + m_more));
    }

private:
    const QString m_more;
};

} // namespace lanterna
