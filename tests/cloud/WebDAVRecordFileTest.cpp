#include "cloud/WebDAVRecordFile.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

using State = ReadRecordFile::State;

const QDateTime date(QDate(2026, 3, 1), QTime(12, 30, 5, 250), Qt::UTC);

Record sample()
{
    Record record;
    record.recordName = "userCustomizationsDict";
    record.recordType = "UserDictionary";
    record.texts = {{"dictName", "currentCustomizationsDict"}};
    record.assets = {{"dictAsset", "{\"a\":1}\n"}, {"empty", ""}, {"zero", QByteArray("\0\n", 2)}};
    return record;
}

QByteArray file(const Record &record = sample())
{
    return makeWebDAVRecordFile(record, date, "8f1c").bytes;
}

} // namespace

TEST(WebDAVRecordFile, LooksAsDocumented)
{
    Record record = sample();
    record.assets.remove("empty");
    record.assets.remove("zero");
    EXPECT_EQ(file(record).toStdString(),
        R"({"assets":[{"name":"dictAsset","sha256":"e346432021b04179518d9614f3560ccd71354a4ee101ddcb893d6959a9d6301c","size":8}],)"
        R"("format":1,"modificationDate":"2026-03-01T12:30:05.250Z","recordName":"userCustomizationsDict","recordType":"UserDictionary",)"
        "\"texts\":{\"dictName\":\"currentCustomizationsDict\"},\"version\":\"8f1c\"}\n{\"a\":1}\n");
}

TEST(WebDAVRecordFile, ReadsWhatWasMade)
{
    const MadeRecordFile made = makeWebDAVRecordFile(sample(), date, "8f1c");
    const ReadRecordFile read = readWebDAVRecordFile(made.bytes);
    EXPECT_EQ(read.state, State::whole);
    EXPECT_EQ(read.record, made.record);
    EXPECT_EQ(read.record.assets, sample().assets);
    EXPECT_EQ(read.record.modificationDate, date);
    EXPECT_EQ(read.record.changeTag.size(), 64);
}

TEST(WebDAVRecordFile, SameContentIsAnotherVersion)
{
    EXPECT_NE(makeWebDAVRecordFile(sample(), date, "1").record.changeTag, makeWebDAVRecordFile(sample(), date, "2").record.changeTag);
}

TEST(WebDAVRecordFile, CutAnywhereItIsNotWhole)
{
    const QByteArray whole = file();
    const qsizetype line = whole.indexOf('\n');
    for (qsizetype length = 0; length < whole.size(); ++length)
        EXPECT_EQ(readWebDAVRecordFile(whole.left(length)).state, length > line ? State::damaged : State::noRecord) << length;
    EXPECT_EQ(readWebDAVRecordFile(whole + '\n').state, State::damaged);
}

TEST(WebDAVRecordFile, DamagedOneTellsItsNamesAndNoBytes)
{
    QByteArray bytes = file();
    bytes.back() = 'x';
    const ReadRecordFile read = readWebDAVRecordFile(bytes);
    EXPECT_EQ(read.state, State::damaged);
    EXPECT_EQ(read.record.texts, sample().texts);
    EXPECT_EQ(read.record.assets, (QMap<QString, QByteArray>{{"dictAsset", {}}, {"empty", {}}, {"zero", {}}}));
}

TEST(WebDAVRecordFile, OtherLinesAreNoRecord)
{
    const QByteArray whole = file();
    ASSERT_EQ(readWebDAVRecordFile(whole).state, State::whole);
    const QList<std::pair<QByteArray, QByteArray>> changes = {{"\"format\":1", "\"format\":2"}, {"\"format\":1", "\"format\":\"1\""},
        {"\"recordName\":\"", "\"recordName\":\"/"}, {"\"recordType\":", "\"type\":"}, {"\"size\":8", "\"size\":-8"}, {"\"size\":8", "\"size\":8.0"},
        {"\"name\":\"empty\"", "\"name\":\"zero\""}, {"\"2026-03", "\"2026-33"}, {"\"texts\":{", "\"texts\":{\"n\":1,"},
        {"{\"assets\"", "[\"assets\""}, {"\"sha256\"", "\"sha512\""}, {"\"assets\":[", "\"assets\":[[],"}};
    for (const auto &[from, to] : changes) {
        QByteArray other = whole;
        ASSERT_TRUE(other.contains(from)) << from.toStdString();
        EXPECT_EQ(readWebDAVRecordFile(other.replace(from, to)).state, State::noRecord) << to.toStdString();
    }
    for (const QByteArray &bytes : {QByteArray(), QByteArray("\n"), QByteArray("{}\n"), QByteArray("<html>\n"), QByteArray(2000000, '{')})
        EXPECT_EQ(readWebDAVRecordFile(bytes).state, State::noRecord);
}

TEST(WebDAVRecordFile, HugeSizesAreNotBelieved)
{
    QByteArray other = file();
    EXPECT_EQ(readWebDAVRecordFile(other.replace("\"size\":8", "\"size\":9223372036854775807")).state, State::damaged);
}

TEST(WebDAVRecordFile, LongTextsAreRefused)
{
    Record record = sample();
    record.texts["long"] = QString(longestWebDAVHeader, u'x');
    const MadeRecordFile made = makeWebDAVRecordFile(record, date, "1");
    EXPECT_FALSE(made.problem.isEmpty());
    EXPECT_TRUE(made.bytes.isEmpty());
}

TEST(WebDAVRecordFile, HalfCharactersAreMendedBeforeTheyAreStored)
{
    Record record = sample();
    record.texts["half"] = QString(QChar(0xD800));
    const MadeRecordFile made = makeWebDAVRecordFile(record, date, "1");
    EXPECT_EQ(readWebDAVRecordFile(made.bytes).record, made.record);
}

TEST(WebDAVResourceName, IsTheRecordsNameAsLongAsThatFits)
{
    EXPECT_EQ(webDAVResourceName("userCustomizationsDict"), "userCustomizationsDict.record");
    const QString longName = webDAVResourceName(QString(255, u'z'));
    EXPECT_EQ(longName.size(), 207);
    EXPECT_NE(longName, webDAVResourceName(QString(254, u'z')));
    EXPECT_TRUE(isWebDAVResourceName(longName));
    for (const char *other : {"a.txt", ".record", "a/b.record", "a b.record", "a.record.part", ""})
        EXPECT_FALSE(isWebDAVResourceName(other)) << other;
}
