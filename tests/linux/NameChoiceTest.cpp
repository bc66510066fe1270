#include "platform/linux/NameChoice.h"

#include <gtest/gtest.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

const QString someName = QStringLiteral("nas");

NameStep stepAt(std::chrono::milliseconds sinceStart, const NameEvidence &evidence)
{
    return nextNameStep(evidence, sinceStart, NamePatience());
}

TEST(NameChoice, ANameFromDnsIsToldAtOnce)
{
    NameEvidence evidence;
    evidence.domain = someName;
    EXPECT_EQ(stepAt(0ms, evidence), NameStep::tell);
}

TEST(NameChoice, DnsComesBeforeTheDevice)
{
    NameEvidence evidence;
    evidence.domain = someName;
    evidence.device = QStringLiteral("other");
    EXPECT_EQ(bestName(evidence), someName);
}

TEST(NameChoice, TheDevicesNameWaitsForDns)
{
    NameEvidence evidence;
    evidence.device = someName;
    EXPECT_EQ(stepAt(3900ms, evidence), NameStep::wait);
    evidence.domainFinished = true;
    EXPECT_EQ(stepAt(0ms, evidence), NameStep::tell);
}

TEST(NameChoice, TheDevicesNameWaitsNotForEver)
{
    NameEvidence evidence;
    evidence.device = someName;
    EXPECT_EQ(stepAt(NamePatience().heldNames, evidence), NameStep::tell);
    EXPECT_LT(NamePatience().heldNames, 5s); // when the caller cuts off
}

TEST(NameChoice, TheSystemIsAskedForWhatIsLeft)
{
    NameEvidence evidence;
    evidence.domainFinished = true;
    EXPECT_EQ(stepAt(0ms, evidence), NameStep::wait);
    evidence.deviceQuiet = true;
    EXPECT_EQ(stepAt(0ms, evidence), NameStep::askSystem);
    evidence.systemAsked = true;
    EXPECT_EQ(stepAt(0ms, evidence), NameStep::wait);
}

TEST(NameChoice, TheSystemIsNotAskedForAHostThatNamesItself)
{
    NameEvidence evidence;
    evidence.device = someName;
    evidence.deviceQuiet = true;
    EXPECT_EQ(stepAt(3s, evidence), NameStep::wait);
}

TEST(NameChoice, TheSystemIsAskedWhenDnsIsOverdue)
{
    NameEvidence evidence;
    evidence.deviceQuiet = true;
    EXPECT_EQ(stepAt(1999ms, evidence), NameStep::wait);
    EXPECT_EQ(stepAt(2000ms, evidence), NameStep::askSystem);
}

TEST(NameChoice, AHostIsGivenUpWhenNobodyIsLeftToAnswer)
{
    NameEvidence evidence;
    evidence.domainFinished = evidence.deviceQuiet = evidence.deviceFinished = evidence.systemAsked = true;
    EXPECT_EQ(stepAt(3s, evidence), NameStep::wait);
    evidence.systemFinished = true;
    EXPECT_EQ(stepAt(3s, evidence), NameStep::giveUp);
    evidence.deviceFinished = false;
    EXPECT_EQ(stepAt(3s, evidence), NameStep::wait);
}

} // namespace
