#include "cloud/CloudDocument.h"

#include "cloud/JsonOutline.h"
#include "platform/SettingsStore.h"
#include "tests/fakes/FakeSystemLog.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <limits>

using namespace lanterna;

namespace
{

CloudDocumentContents contents(const QByteArray &bytes)
{
    auto read = readCloudDocument(bytes);
    if (const auto *none = std::get_if<NoCloudDocument>(&read)) {
        ADD_FAILURE() << bytes.constData() << ": " << none->type.toStdString() << ", " << none->error.toStdString();
        return {};
    }
    return std::get<CloudDocumentContents>(std::move(read));
}

NoCloudDocument noDocument(const QByteArray &bytes)
{
    const auto read = readCloudDocument(bytes);
    const auto *none = std::get_if<NoCloudDocument>(&read);
    EXPECT_NE(none, nullptr) << bytes.constData();
    return none != nullptr ? *none : NoCloudDocument();
}

QByteArray nested(int levels)
{
    return QByteArray(levels, '[') + QByteArray(levels, ']');
}

TEST(CloudDocumentReading, GivesTheWholeDocumentAndItsTables)
{
    const CloudDocumentContents read = contents(R"({"MACAddressesByNetworkSegment":{"Home":{"10.0.0.1":"A"}},"foo":[1,2.5,true,null]})");
    EXPECT_EQ(read.macTables, QVariantMap({{"Home", QVariantMap{{"10.0.0.1", "A"}}}}));
    EXPECT_EQ(read.members.keys(), QStringList({"MACAddressesByNetworkSegment", "foo"}));
    EXPECT_EQ(read.members.value("foo"), QVariant(QVariantList{1LL, 2.5, true, QVariant()}));
}

TEST(CloudDocumentReading, GivesNoTablesOfADocumentWithoutThem)
{
    const CloudDocumentContents read = contents(R"({"CurrentNetworkStatus_A":{"devices":"x"}})");
    EXPECT_FALSE(read.macTables);
    EXPECT_EQ(read.members.size(), 1);
    EXPECT_TRUE(contents("{}").members.isEmpty());
}

TEST(CloudDocumentReading, GivesNoTablesOfAnotherType)
{
    for (const char *value : {"null", "5", "\"text\"", "[]", "true"})
        EXPECT_FALSE(contents(QByteArray(R"({"MACAddressesByNetworkSegment":)") + value + '}').macTables) << value;
    EXPECT_EQ(contents(R"({"MACAddressesByNetworkSegment":{}})").macTables, QVariantMap());
}

TEST(CloudDocumentReading, LeavesWrongTypesInsideTheTablesAsTheyAre)
{
    const CloudDocumentContents read = contents(R"({"MACAddressesByNetworkSegment":{"A":5,"B":["x"],"C":{"10.0.0.1":7,"lastUpdate":null}}})");
    EXPECT_EQ(read.macTables, QVariantMap({{"A", 5LL}, {"B", QVariantList{"x"}}, {"C", QVariantMap{{"10.0.0.1", 7LL}, {"lastUpdate", QVariant()}}}}));
}

TEST(CloudDocumentReading, CountsTheLastOfEqualKeysOnEachLevel)
{
    const CloudDocumentContents read =
        contents(R"({"a":1,"MACAddressesByNetworkSegment":1,"\u0061":2,"MACAddressesByNetworkSegment":{"H":{"x":1,"x":2}}})");
    EXPECT_EQ(read.members.value("a"), 2LL);
    EXPECT_EQ(read.macTables, QVariantMap({{"H", QVariantMap{{"x", 2LL}}}}));
}

TEST(CloudDocumentReading, TakesTheLargestDoubleForNumbersBeyondIt)
{
    const CloudDocumentContents read = contents(R"({"a":1e400,"b":-1e400,"c":12345678901234567890,"d":123456789012345678901234567890})");
    EXPECT_EQ(read.members.value("a"), std::numeric_limits<double>::max());
    EXPECT_EQ(read.members.value("b"), std::numeric_limits<double>::lowest());
    EXPECT_EQ(read.members.value("c"), 12345678901234567890ULL);
    EXPECT_EQ(read.members.value("d"), 123456789012345678901234567890.0);
}

TEST(CloudDocumentReading, LeavesOutOnlyWhatIsTooDeepForTheSettings)
{
    const QByteArray deep = nested(maximumOutlineDepth - 2);
    const CloudDocumentContents read =
        contents(R"({"CurrentNetworkStatus_A":{"deep":)" + deep + R"(,"devices":"x"},"MACAddressesByNetworkSegment":{"H":{"i":"m"}}})");
    EXPECT_EQ(read.members.value("CurrentNetworkStatus_A").toMap().value("devices"), "x");
    EXPECT_TRUE(read.members.value("CurrentNetworkStatus_A").toMap().value("deep").isValid()) << "the levels above are still there";
    EXPECT_EQ(read.macTables, QVariantMap({{"H", QVariantMap{{"i", "m"}}}}));
}

TEST(CloudDocumentReading, GivesNothingThatTheSettingsRefuse)
{
    const QByteArray document = R"({"a":1e400,"b":)" + nested(maximumOutlineDepth - 1)
        + R"(,"c":{"$date":5},"MACAddressesByNetworkSegment":{"H":{"x":[-1e999,"\ud800"],"y":)" + nested(200) + "}}}";
    const CloudDocumentContents read = contents(document);
    const QTemporaryDir folder;
    FakeSystemLog log;
    SettingsStore store(folder.path(), log);
    EXPECT_TRUE(store.setValue("LastImportedCloudKitDict", read.members));
    EXPECT_TRUE(store.setValue("MACAddressesByNetworkSegment", *read.macTables));
    EXPECT_EQ(SettingsStore(folder.path(), log).dictionary("LastImportedCloudKitDict"), read.members);
}

TEST(CloudDocumentReading, PutsReplacementCharactersForSurrogatesWithoutAPartner)
{
    EXPECT_EQ(contents(R"({"a":"x\ud800"})").members.value("a"), QString::fromUtf8("x\ufffd"));
}

TEST(CloudDocumentReading, PassesOverAByteOrderMark)
{
    EXPECT_EQ(contents("\xef\xbb\xbf{\"a\":1}").members, QVariantMap({{"a", 1LL}}));
    EXPECT_EQ(contents("\xef\xbb\xbf{\"a\":1e400}").members.size(), 1);
}

TEST(CloudDocumentReading, TellsTheTypeOfWhatIsNoDictionary)
{
    EXPECT_EQ(noDocument("[]").type, "array");
    EXPECT_EQ(noDocument("\"text\"").type, "text");
    EXPECT_EQ(noDocument("5").type, "number");
    EXPECT_EQ(noDocument("true").type, "boolean");
    EXPECT_EQ(noDocument("null").type, "null");
    EXPECT_TRUE(noDocument("[]").error.isNull()) << "so that it prints as (null)";
}

TEST(CloudDocumentReading, TellsWhyItIsNoJson)
{
    EXPECT_EQ(noDocument("{\"a\":1").error, "ends too early, at byte 6");
    EXPECT_EQ(noDocument("<html>").error, "not JSON at byte 0");
    EXPECT_EQ(noDocument("{\"a\":\"\xff\"}").error, "not UTF-8");
    EXPECT_EQ(noDocument({}).error, "ends too early, at byte 0");
    EXPECT_EQ(noDocument(QByteArray(1'000'000, '[')).error, "more than 512 levels at byte 512");
    EXPECT_TRUE(noDocument("{").type.isNull()) << "so that it prints as (null)";
}

} // namespace
