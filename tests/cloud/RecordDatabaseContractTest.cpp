#include "tests/cloud/RecordDatabaseContract.h"

#include "tests/fakes/FakeRecordDatabase.h"

#include <thread>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

constexpr int unknownItem = 11;
constexpr int invalidArguments = 12;
constexpr int serverRecordChanged = 14;
constexpr int serviceUnavailable = 6;

const QString name = QStringLiteral("userRecord");
const QString type = QStringLiteral("TestType");
const QString assetField = QStringLiteral("asset");

QList<Record> byName(QList<Record> records)
{
    std::ranges::sort(records, {}, &Record::recordName);
    return records;
}

} // namespace

TEST_P(RecordDatabaseContractTest, WhatIsNotThereIsUnknown)
{
    EXPECT_EQ(errorOf(fetch(*database, name)), unknownItem);
    saved(*database, newRecord(name + "2"));
    EXPECT_EQ(errorOf(fetch(*database, name)), unknownItem);
}

TEST_P(RecordDatabaseContractTest, ACreatedRecordComesBackAsItIsStored)
{
    const Record created = saved(*database, newRecord(name));
    EXPECT_EQ(created.texts, newRecord(name).texts);
    EXPECT_EQ(created.assets, newRecord(name).assets);
    EXPECT_EQ(fetched(*database, name), created);
    EXPECT_EQ(fetched(*other, name), created);
}

TEST_P(RecordDatabaseContractTest, AStoredRecordHasAChangeTagAndADate)
{
    const Record created = saved(*database, newRecord(name));
    EXPECT_FALSE(created.changeTag.isEmpty());
    EXPECT_TRUE(created.modificationDate.isValid());
    EXPECT_EQ(created.modificationDate.offsetFromUtc(), 0);
    EXPECT_LT(std::abs(created.modificationDate.secsTo(QDateTime::currentDateTimeUtc())), 600); // the store's clock is its own
}

TEST_P(RecordDatabaseContractTest, TextsComeBackAsTheyWere)
{
    Record record = newRecord(name);
    record.texts.insert("empty", "");
    record.texts.insert("accents", QString::fromUtf8("Küche, 食堂, \U0001F4A1"));
    record.texts.insert("signs", "a \"b\" <c> & 'd' \\ %00 %25 {}[];,\tline\nline");
    record.texts.insert("long", QString(20'000, QChar(0xE4)));
    EXPECT_EQ(saved(*database, record).texts, record.texts);
    EXPECT_EQ(fetched(*other, name).texts, record.texts);
}

TEST_P(RecordDatabaseContractTest, AssetsComeBackToTheByte)
{
    QByteArray all;
    for (int byte = 0; byte < 1024; ++byte)
        all.append(char(byte));
    Record record = newRecord(name);
    record.assets = {{"bytes", all},
        {"accents",
            QByteArray("K\xC3\xBC"
                       "che")},
        {"noUTF8", QByteArray("\xFF\xC3(\0", 4)}, {"lines", "\r\n--\r\n\r\n"}};
    EXPECT_EQ(saved(*database, record).assets, record.assets);
    EXPECT_EQ(fetched(*other, name).assets, record.assets);
}

TEST_P(RecordDatabaseContractTest, AnEmptyAssetIsThereAndEmpty)
{
    const Record record = changed(newRecord(name), "");
    saved(*database, record);
    const Record found = fetched(*other, name);
    EXPECT_TRUE(found.assets.contains(assetField));
    EXPECT_EQ(found.assets, record.assets);
}

TEST_P(RecordDatabaseContractTest, AnAssetMayHaveAMegabyte)
{
    Record record = newRecord(name);
    QByteArray &bytes = record.assets[assetField];
    for (quint32 number = 1; bytes.size() < 1'000'000; number = number * 1664525 + 1013904223) // which no compression makes small
        bytes.append(reinterpret_cast<const char *>(&number), sizeof(number));
    saved(*database, record);
    EXPECT_TRUE(fetched(*other, name).assets == record.assets);
}

TEST_P(RecordDatabaseContractTest, ARecordMayHaveNoFields)
{
    Record record;
    record.recordName = name;
    record.recordType = type;
    const Record created = saved(*database, record);
    EXPECT_EQ(fetched(*other, name), created);
    EXPECT_TRUE(created.texts.isEmpty() && created.assets.isEmpty());
}

TEST_P(RecordDatabaseContractTest, NamesOfAllAllowedCharactersAreTheirOwn)
{
    const QStringList names = {"a.b", "a_b", "a-b", "_a", "-a", "0", QString(200, u'z'), "a.b.c"};
    for (const QString &each : names)
        saved(*database, newRecord(each, each.toUtf8()));
    for (const QString &each : names)
        EXPECT_EQ(fetched(*other, each).texts, newRecord(each, each.toUtf8()).texts);
}

TEST_P(RecordDatabaseContractTest, OtherNamesAndTypesAreRefused)
{
    const QStringList others = {"", "a/b", "a b", QString::fromUtf8("ä"), "a\n", "a%2Fb", QString(256, u'z')};
    for (const QString &each : others) {
        EXPECT_EQ(errorOf(fetch(*database, each)), invalidArguments) << each.toStdString();
        EXPECT_EQ(errorOf(save(*database, newRecord(each))), invalidArguments) << each.toStdString();
        EXPECT_EQ(errorOf(query(*database, each)), invalidArguments) << each.toStdString();
        Record record = newRecord(name);
        record.recordType = each;
        EXPECT_EQ(errorOf(save(*database, record)), invalidArguments) << each.toStdString();
    }
    EXPECT_EQ(errorOf(fetch(*database, name)), unknownItem);
}

TEST_P(RecordDatabaseContractTest, CreatingWhatIsThereChangesNothing)
{
    const Record created = saved(*database, newRecord(name));
    EXPECT_EQ(errorOf(save(*database, newRecord(name, "second"))), serverRecordChanged);
    EXPECT_EQ(errorOf(save(*other, newRecord(name, "third"))), serverRecordChanged);
    EXPECT_EQ(fetched(*other, name), created);
}

TEST_P(RecordDatabaseContractTest, TheCurrentTagAllowsTheNextVersion)
{
    const Record first = saved(*database, newRecord(name, "1"));
    const Record second = saved(*database, changed(first, "2")); // of the same size
    EXPECT_NE(second.changeTag, first.changeTag);
    EXPECT_GE(second.modificationDate, first.modificationDate);
    const Record third = saved(*other, changed(fetched(*other, name), "3"));
    EXPECT_NE(third.changeTag, second.changeTag);
    EXPECT_EQ(fetched(*database, name), third);
    EXPECT_EQ(third.texts, newRecord(name, "3").texts);
}

TEST_P(RecordDatabaseContractTest, AStaleTagChangesNothing)
{
    const Record first = saved(*database, newRecord(name, "1"));
    const Record second = saved(*other, changed(first, "2"));
    EXPECT_EQ(errorOf(save(*database, changed(first, "3"))), serverRecordChanged);
    EXPECT_EQ(errorOf(save(*other, changed(first, "3"))), serverRecordChanged);
    EXPECT_EQ(fetched(*database, name), second);
}

TEST_P(RecordDatabaseContractTest, ATagThatNeverWasChangesNothing)
{
    const Record first = saved(*database, newRecord(name, "1"));
    Record invented = changed(first, "2");
    invented.changeTag = "never-was";
    EXPECT_EQ(errorOf(save(*database, invented)), serverRecordChanged);
    EXPECT_EQ(fetched(*database, name), first);
}

TEST_P(RecordDatabaseContractTest, SavingTheSameContentAgainIsANewVersion)
{
    const Record first = saved(*database, newRecord(name));
    const Record second = saved(*database, first);
    EXPECT_NE(second.changeTag, first.changeTag);
    EXPECT_EQ(errorOf(save(*other, changed(first, "late"))), serverRecordChanged);
}

TEST_P(RecordDatabaseContractTest, FieldsThatAreLeftOutAreCleared)
{
    Record record = newRecord(name);
    record.texts.insert("gone", "text");
    record.assets.insert("goneToo", "bytes");
    const Record first = saved(*database, record);
    Record second = first;
    second.texts = {{"text", "kept"}};
    second.assets.clear();
    EXPECT_EQ(saved(*database, second).texts, second.texts);
    const Record found = fetched(*other, name);
    EXPECT_EQ(found.texts, second.texts);
    EXPECT_TRUE(found.assets.isEmpty());
}

TEST_P(RecordDatabaseContractTest, AVersionThatIsGoneCannotBeReplaced)
{
    const Record first = saved(*database, newRecord(name));
    if (!store().remove(name))
        GTEST_SKIP() << "this store's records cannot be taken away";
    const int expected = store().knowsWhatIsGone() ? unknownItem : serverRecordChanged;
    EXPECT_EQ(errorOf(save(*database, changed(first, "2"))), expected);
    EXPECT_EQ(errorOf(fetch(*database, name)), unknownItem);
}

TEST_P(RecordDatabaseContractTest, ATagOfARecordThatWasMadeAnewIsStale)
{
    const Record first = saved(*database, newRecord(name, "1"));
    if (!store().remove(name))
        GTEST_SKIP() << "this store's records cannot be taken away";
    const Record anew = saved(*other, newRecord(name, "1"));
    EXPECT_NE(anew.changeTag, first.changeTag);
    EXPECT_EQ(errorOf(save(*database, changed(first, "2"))), serverRecordChanged);
    EXPECT_EQ(fetched(*database, name), anew);
}

TEST_P(RecordDatabaseContractTest, AQueryTellsAllRecordsOfItsTypeAndNoOthers)
{
    EXPECT_EQ(valueOf(query(*database, type)), QList<Record>{});
    Record stranger = newRecord("stranger");
    stranger.recordType = "OtherType";
    saved(*database, stranger);
    EXPECT_EQ(valueOf(query(*database, type)), QList<Record>{});
    const Record first = saved(*database, newRecord("first", "1"));
    EXPECT_EQ(valueOf(query(*other, type)), QList<Record>{first});
    const Record second = saved(*other, newRecord("second", "2"));
    EXPECT_EQ(byName(valueOf(query(*database, type))), (QList<Record>{first, second}));
    const Record newer = saved(*other, changed(first, "3"));
    EXPECT_EQ(byName(valueOf(query(*database, type))), (QList<Record>{newer, second}));
}

TEST_P(RecordDatabaseContractTest, AQueriedRecordMayBeSaved)
{
    saved(*database, newRecord(name, "1"));
    const QList<Record> found = valueOf(query(*other, type));
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(saved(*other, changed(found.first(), "2")).texts, newRecord(name, "2").texts);
}

TEST_P(RecordDatabaseContractTest, OfTwoWhoChangeTheSameVersionOneWins)
{
    if (store().mayForgetLocks())
        GTEST_SKIP() << "a forgotten lock would keep the next round out for a minute";
    Record current = saved(*database, newRecord(name, "0"));
    for (int round = 0; round < 5; ++round) {
        QList<int> errors;
        const auto answered = [&](const RecordResult<Record> &result) { errors.append(errorOf(result)); };
        database->saveRecord(changed(current, "first" + QByteArray::number(round)), answered);
        other->saveRecord(changed(current, "other" + QByteArray::number(round)), answered);
        ASSERT_TRUE(runUntil([&] { return errors.size() == 2; }));
        std::ranges::sort(errors);
        EXPECT_EQ(errors, (QList<int>{0, serverRecordChanged}));
        current = fetched(*database, name);
    }
}

TEST_P(RecordDatabaseContractTest, OfTwoWhoCreateARecordOneWins)
{
    for (int round = 0; round < 5; ++round) {
        const QString fresh = name + QString::number(round);
        std::optional<RecordResult<Record>> first;
        std::optional<RecordResult<Record>> second;
        database->saveRecord(newRecord(fresh, "1"), [&](const auto &result) { first = result; });
        other->saveRecord(newRecord(fresh, "2"), [&](const auto &result) { second = result; });
        ASSERT_TRUE(runUntil([&] { return first && second; }));
        const bool firstWon = errorOf(*first) == 0;
        const auto &lost = firstWon ? *second : *first;
        const auto *why = std::get_if<RecordError>(&lost);
        const bool isLockedOut = store().mayForgetLocks() && errorOf(lost) == serviceUnavailable;
        EXPECT_TRUE(errorOf(lost) == serverRecordChanged || isLockedOut) << (why ? why->description.toStdString() : "stored");
        EXPECT_EQ(fetched(*database, fresh), valueOf(firstWon ? *first : *second));
    }
}

TEST_P(RecordDatabaseContractTest, ThreeWhoCountInOneRecordLoseNoNumber)
{
    if (store().mayForgetLocks())
        GTEST_SKIP() << "a forgotten lock would keep all three out for a minute";
    constexpr int rounds = 5;
    saved(*database, newRecord(name, "0"));
    const auto third = store().makeDatabase(dispatch);
    int done = 0;
    int failed = 0;
    std::function<void(RecordDatabase &, int)> count = [&](RecordDatabase &at, int left) {
        if (left == 0) {
            ++done;
            return;
        }
        at.fetchRecord(name, [&, left](const RecordResult<Record> &result) {
            const Record found = valueOf(result);
            at.saveRecord(changed(found, QByteArray::number(found.assets.value(assetField).toInt() + 1)), [&, left](const auto &outcome) {
                const int error = errorOf(outcome);
                failed += error == 0 || error == serverRecordChanged ? 0 : 1;
                count(at, error == 0 || failed > 0 ? left - 1 : left); // a refused one begins again
            });
        });
    };
    for (RecordDatabase *each : {database.get(), other.get(), third.get()})
        count(*each, rounds);
    ASSERT_TRUE(runUntil([&] { return done == 3; }));
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(fetched(*database, name).assets.value(assetField), QByteArray::number(3 * rounds));
}

TEST_P(RecordDatabaseContractTest, FieldsThatAreReadAreAllOfOneVersion)
{
    Record current = saved(*database, newRecord(name, "0"));
    bool writing = true;
    database->saveRecord(changed(current, "1"), [&](const auto &) { writing = false; });
    for (int version = 2; version < 8; ++version) {
        const Record found = fetched(*other, name);
        EXPECT_EQ(found.texts.value("text").toUtf8(), found.assets.value(assetField));
        ASSERT_TRUE(runUntil([&] { return !writing; }));
        writing = true;
        current = fetched(*database, name);
        database->saveRecord(changed(current, QByteArray(version * 1000, char('0' + version))), [&](const auto &) { writing = false; });
    }
    ASSERT_TRUE(runUntil([&] { return !writing; }));
}

TEST_P(RecordDatabaseContractTest, EachCallIsAnsweredOnceOnTheMainThread)
{
    const auto mainThread = std::this_thread::get_id();
    int answers = 0;
    const auto answered = [&](const auto &) {
        EXPECT_EQ(std::this_thread::get_id(), mainThread);
        ++answers;
    };
    database->fetchRecord(name, answered);
    database->fetchRecord("a/b", answered);
    database->saveRecord(newRecord(name), answered);
    database->saveRecord(newRecord(name), answered);
    database->saveRecord(newRecord("a/b"), answered);
    database->queryRecords(type, answered);
    database->queryRecords("a/b", answered);
    EXPECT_EQ(answers, 0) << "never inside the call";
    EXPECT_TRUE(runUntil([&] { return answers >= 7; }));
    fetched(*other, name);
    turnLoopFor(20ms);
    EXPECT_EQ(answers, 7);
}

TEST_P(RecordDatabaseContractTest, ManyCallsAtOnceAreAnsweredInOrder)
{
    QList<int> answers;
    const auto numbered = [&](int number) { return [&, number](const auto &) { answers.append(number); }; };
    QList<int> expected;
    QList<QByteArray> seen;
    for (int number = 0; number < 24; number += 4) {
        const QString each = name + QString::number(number);
        database->saveRecord(newRecord(each, each.toUtf8()), numbered(number));
        database->fetchRecord(each, [&, number](const RecordResult<Record> &result) {
            seen.append(valueOf(result).assets.value(assetField)); // what was asked for before has happened
            answers.append(number + 1);
        });
        database->queryRecords(type, numbered(number + 2));
        database->fetchRecord("a/b", numbered(number + 3)); // answered without the store, but not before
        expected.append({number, number + 1, number + 2, number + 3});
    }
    EXPECT_TRUE(runUntil([&] { return answers.size() == expected.size(); }));
    EXPECT_EQ(answers, expected);
    EXPECT_EQ(seen.size(), 6);
    EXPECT_EQ(seen.first(), "userRecord0");
}

TEST_P(RecordDatabaseContractTest, ACompletionMayCallAgain)
{
    std::optional<RecordResult<Record>> last;
    database->fetchRecord(name, [&](const auto &) {
        database->saveRecord(newRecord(name), [&](const auto &) { database->fetchRecord(name, [&](const auto &result) { last = result; }); });
    });
    EXPECT_TRUE(runUntil([&] { return last.has_value(); }));
    EXPECT_EQ(valueOf(*last).texts, newRecord(name).texts);
}

TEST_P(RecordDatabaseContractTest, ADroppedDatabaseAnswersNoMore)
{
    int answers = 0;
    const auto answered = [&](const auto &) { ++answers; };
    database->fetchRecord(name, answered);
    database->saveRecord(newRecord(name), answered);
    database->queryRecords(type, answered);
    database->fetchRecord("a/b", answered);
    database.reset();
    (void)fetch(*other, name);
    turnLoopFor(50ms);
    EXPECT_EQ(answers, 0);
}

TEST_P(RecordDatabaseContractTest, ACompletionMayDropTheDatabase)
{
    int answers = 0;
    database->fetchRecord(name, [&](const auto &) {
        ++answers;
        database.reset();
    });
    for (int more = 0; more < 3; ++more)
        database->saveRecord(newRecord(name + QString::number(more)), [&](const auto &) { ++answers; });
    EXPECT_TRUE(runUntil([&] { return answers > 0; }));
    (void)fetch(*other, name);
    turnLoopFor(50ms);
    EXPECT_EQ(answers, 1);
}

TEST_P(RecordDatabaseContractTest, WhatWasSavedOutlivesItsDatabases)
{
    const Record created = saved(*database, newRecord(name));
    database.reset();
    other.reset();
    const auto later = store().makeDatabase(dispatch);
    EXPECT_EQ(fetched(*later, name), created);
}

namespace
{

class FakeStoreUnderTest : public StoreUnderTest
{
public:
    std::unique_ptr<RecordDatabase> makeDatabase(Dispatch &dispatch) override { return std::make_unique<FakeRecordDatabase>(dispatch, m_store); }
    bool remove(const QString &recordName) override { return m_store->remove(recordName); }

private:
    std::shared_ptr<FakeRecordStore> m_store = std::make_shared<FakeRecordStore>();
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Fake, RecordDatabaseContractTest,
    testing::Values(RecordBackend{"Fake", [] { return std::make_unique<FakeStoreUnderTest>(); }}), RecordBackend::nameOf);
