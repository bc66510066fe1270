#include "cloud/JsonOutline.h"

#include "platform/Json.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

using Kind = JsonOutline::Kind;

/// What the outline of a text is; a failure of the test when there is none.
JsonOutline outline(const QByteArray &text, int keptDepth = maximumOutlineDepth)
{
    auto outlined = outlineJson(text, keptDepth);
    if (const auto *defect = std::get_if<JsonDefect>(&outlined)) {
        ADD_FAILURE() << text.constData() << ": " << defect->words.toStdString();
        return {};
    }
    return std::get<JsonOutline>(outlined);
}

/// Why a text is no JSON; empty when it is.
QString defect(const QByteArray &text)
{
    const auto outlined = outlineJson(text);
    const auto *found = std::get_if<JsonDefect>(&outlined);
    return found != nullptr ? found->words : QString();
}

QByteArray nested(int levels)
{
    return QByteArray(levels, '[') + QByteArray(levels, ']');
}

TEST(JsonOutlines, TellWhatATextIs)
{
    EXPECT_EQ(outline("{}").kind, Kind::dictionary);
    EXPECT_EQ(outline(" [ ] ").kind, Kind::array);
    EXPECT_EQ(outline("\"\"").kind, Kind::text);
    EXPECT_EQ(outline("\r\n\t -0").kind, Kind::number);
    EXPECT_EQ(outline("true").kind, Kind::boolean);
    EXPECT_EQ(outline("false").kind, Kind::boolean);
    EXPECT_EQ(outline("null").kind, Kind::null);
}

TEST(JsonOutlines, GiveTheBytesOfEachMember)
{
    const QByteArray text = R"( { "a" : [ 1 , {"x":2} ] , "\u0041":"},\"" ,"":1e400})";
    const JsonOutline found = outline(text);
    ASSERT_EQ(found.members.size(), 3);
    EXPECT_EQ(found.members[0].key, R"("a")");
    EXPECT_EQ(found.members[0].value, R"([ 1 , {"x":2} ])");
    EXPECT_EQ(found.members[1].key, R"("\u0041")");
    EXPECT_EQ(found.members[1].value, R"("},\"")");
    EXPECT_EQ(found.members[2].key, R"("")");
    EXPECT_EQ(found.members[2].value, "1e400");
}

TEST(JsonOutlines, GiveNoMembersOfInnerObjects)
{
    EXPECT_TRUE(outline(R"([{"a":1}])").members.empty());
    EXPECT_EQ(outline(R"({"a":{"b":{"c":[]}}})").members.size(), 1);
}

TEST(JsonOutlines, TakeNumbersOfAnySize)
{
    for (const char *number : {"0", "-0", "12345678901234567890", "1e400", "-1E+99999", "0.0000001", "1.5e-0", "123456789012345678901234567890.5"})
        EXPECT_EQ(defect(number), QString()) << number;
}

TEST(JsonOutlines, RefuseWhatIsNoNumber)
{
    for (const char *text : {"-", "+1", "01", "-01", ".5", "1.", "1.e5", "1e", "1e+", "0x10", "1_000", "NaN", "Infinity", "--1", "1 2", "1-2"})
        EXPECT_NE(defect(text), QString()) << text;
}

TEST(JsonOutlines, TakeEveryEscapeAndSurrogatesWithoutAPartner)
{
    EXPECT_EQ(defect(R"("\"\\\/\b\f\n\r\t\u00e9\uD83D\uDE00\ud800")"), QString());
}

TEST(JsonOutlines, RefuseWhatIsNoText)
{
    for (const char *text :
        {"\"", "\"a", "\"\\", "\"\\\"", "\"\\x41\"", "\"\\u12\"", "\"\\u12G4\"", "\"\\u123", "'a'", "\"a\nb\"", "\"a\tb\"", "\"\x1f\""})
        EXPECT_NE(defect(text), QString()) << text;
}

TEST(JsonOutlines, RefuseBrokenCollections)
{
    for (const char *text : {"{", "[", "}", "]", "[1,]", "[,1]", "[,]", "[1 2]", "[1}", "{]", R"({"a"})", R"({"a":})", R"({"a":1,})", R"({,})",
             R"({"a" 1})", R"({"a":1 "b":2})", R"({"a":1:2})", R"(["a":1])", R"({a:1})", R"({1:1})", R"({"a":1}})", R"({"a":1} x)", "[1]]", "{} {}",
             "[[1]", "//\n{}", "{/**/}"})
        EXPECT_NE(defect(text), QString()) << text;
}

TEST(JsonOutlines, RefuseWordsThatAreNone)
{
    for (const char *text : {"", " ", "tru", "truex", "True", "nul", "nulll", "undefined", "\xef\xbb\xbf"})
        EXPECT_NE(defect(text), QString()) << text;
}

TEST(JsonOutlines, RefuseZeroBytesEverywhere)
{
    for (const QByteArray &text : {QByteArray("{}\0", 3), QByteArray("\0{}", 3), QByteArray("[1\0]", 4), QByteArray("\"a\0b\"", 5),
             QByteArray("[\0", 2), QByteArray("\"\\\0\"", 4)})
        EXPECT_NE(defect(text), QString()) << text.toHex().constData();
}

TEST(JsonOutlines, RefuseWhatIsNoUtf8WhereverItStands)
{
    for (const char *text :
        {"\"\xff\"", "\"\xc3\"", "\"\xc0\x80\"", "\"\xed\xa0\x80\"", "\"\xf4\x90\x80\x80\"", "\"\xe2\x82\"", "{\"\xff\":1}", "{\"a\":[[\"\x80\"]]}"})
        EXPECT_EQ(defect(text), "not UTF-8") << QByteArray(text).toHex().constData();
    EXPECT_EQ(defect("\"\xf4\x8f\xbf\xbf\xef\xbf\xbf\xc3\xa9\""), QString());
}

TEST(JsonOutlines, SayWhereItGoesWrong)
{
    EXPECT_EQ(defect(R"({"a":1,})"), "not JSON at byte 7");
    EXPECT_EQ(defect(R"({"a":1)"), "ends too early, at byte 6");
    EXPECT_EQ(defect(""), "ends too early, at byte 0");
}

TEST(JsonOutlines, GoDownAsFarAsTheLimitSaysAndNoFurther)
{
    EXPECT_EQ(defect(nested(maximumOutlineDepth)), QString());
    EXPECT_EQ(defect(nested(maximumOutlineDepth + 1)), "more than 512 levels at byte 512");
    EXPECT_EQ(defect(QByteArray(10'000'000, '[')), "more than 512 levels at byte 512");
    EXPECT_EQ(defect(QByteArray(R"({"a":)").repeated(1'000'000)), "more than 512 levels at byte 2560");
}

TEST(JsonOutlines, GiveWhatIsTooDeepOnceAndWhole)
{
    const QByteArray text = R"({"a":[[1,[2]],3,{"b":[]}],"c":{}})";
    EXPECT_EQ(outline(text, 2).tooDeep, (std::vector<QByteArrayView>{"[1,[2]]", R"({"b":[]})"}));
    EXPECT_EQ(outline(text, 1).tooDeep, (std::vector<QByteArrayView>{R"([[1,[2]],3,{"b":[]}])", "{}"}));
    EXPECT_EQ(outline(text, 0).tooDeep, (std::vector<QByteArrayView>{text}));
    EXPECT_TRUE(outline(text, 4).tooDeep.empty());
}

TEST(JsonOutlines, AgreeWithTheParserOnEveryCutOfADocument)
{
    const QByteArray text = R"({"a":[1.5e3,true,null,"\u00e9\n",{}],"b":{"c":-0}} )";
    for (qsizetype length = 0; length <= text.size(); ++length)
        EXPECT_EQ(defect(text.first(length)).isEmpty(), parseJson(text.first(length)).has_value()) << length;
}

} // namespace
