#include "cloud/RecordChecksum.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

Record sample()
{
    // The field names sort otherwise as QString does: U+FF5E is behind U+1F4A1 there, for a surrogate stands at the beginning of that.
    return {"userRecord", "TestType",
        {{"a", ""}, {QString::fromUtf8("\uFF5E"), "tilde"}, {QString::fromUtf8("\U0001F4A1"), QString::fromUtf8("Küche")}},
        {{"asset", QByteArray("a\0b", 3)}, {"empty", ""}}, "tag", QDateTime::currentDateTimeUtc()};
}

} // namespace

TEST(RecordChecksum, IsTheOneThatIsDescribed)
{
    EXPECT_EQ(checksumOf(sample()), 0xE32136FEu); // from the lines of Python in docs/formats/records.md
    EXPECT_EQ(checksumOf({}), 0x9EB4718Fu);
}

TEST(RecordChecksum, EveryPartCountsButTheDate)
{
    const auto changedBy = [](const std::function<void(Record &)> &change) {
        Record record = sample();
        change(record);
        return checksumOf(record) != checksumOf(sample());
    };
    EXPECT_TRUE(changedBy([](Record &r) { r.recordName += 'x'; }));
    EXPECT_TRUE(changedBy([](Record &r) { r.recordType += 'x'; }));
    EXPECT_TRUE(changedBy([](Record &r) { r.changeTag += 'x'; }));
    EXPECT_TRUE(changedBy([](Record &r) { r.texts["a"] = "x"; }));
    EXPECT_TRUE(changedBy([](Record &r) { r.texts.remove("a"); }));
    EXPECT_TRUE(changedBy([](Record &r) { r.assets["asset"][2] = 'c'; }));
    EXPECT_TRUE(changedBy([](Record &r) { r.assets.remove("empty"); }));
    EXPECT_TRUE(changedBy([](Record &r) { r.assets["b"] = r.assets.take("asset"); }));
    EXPECT_TRUE(changedBy([](Record &r) { r.texts["asset"] = QString::fromUtf8(r.assets.take("asset")); }));
    EXPECT_FALSE(changedBy([](Record &r) { r.modificationDate = r.modificationDate.addYears(1); }));
}
