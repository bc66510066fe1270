#include "ui/NetworkNames.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

TEST(ShownNetworkName, IsTheNameItself)
{
    for (const char *name : {"HomeNet", "", "<b>Home</b>", "שלום ביתי", "Caf\u00e9 👍🏽"})
        EXPECT_EQ(shownNetworkName(QString::fromUtf8(name)), QString::fromUtf8(name));
}

TEST(ShownNetworkName, StaysOnOneLine)
{
    EXPECT_EQ(shownNetworkName("a\nb\tc"), "a\\nb\\tc");
}

TEST(ShownNetworkName, CannotTurnTheTextAroundIt)
{
    EXPECT_EQ(shownNetworkName("Home\u202eteN\u2066x"), "HometeNx");
}

TEST(ShownNetworkName, IsCutWhereItIsNoNetworksNameAnyMore)
{
    EXPECT_EQ(shownNetworkName(QString(100, 'a')), QString(100, 'a'));
    EXPECT_EQ(shownNetworkName(QString(100000, 'a')), QString(100, 'a') + QChar(0x2026));
    const QString pairs = QStringLiteral("x") + QString::fromUtf8("👍").repeated(60);
    EXPECT_EQ(shownNetworkName(pairs), pairs.left(99) + QChar(0x2026)) << "no half of a pair at the end";
}

TEST(WithoutNetwork, LeavesTheOthers)
{
    EXPECT_EQ(withoutNetwork(QVariantMap{{"A", 1}, {"B", 2}}, "A"), (QVariantMap{{"B", 2}}));
    EXPECT_EQ(withoutNetwork(QVariantMap{{"A", 1}}, "C"), (QVariantMap{{"A", 1}}));
    EXPECT_EQ(withoutNetwork(QVariantMap{}, "A"), QVariantMap());
}

TEST(WithoutNetwork, IsNothingForWhatIsNoDictionary)
{
    EXPECT_FALSE(withoutNetwork({}, "A"));
    EXPECT_FALSE(withoutNetwork(QVariantList{"A"}, "A"));
    EXPECT_FALSE(withoutNetwork("A", "A"));
}

} // namespace
