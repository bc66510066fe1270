#include "tests/platform/SettingsFolder.h"

#include <QFileInfo>

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

#include <sys/stat.h>

using namespace lanterna;

namespace
{

const QString key = QStringLiteral("whichIP");
const QString table = QStringLiteral("MACAddressesByNetworkSegment");

class SettingsStoreTest : public SettingsFolder
{
protected:
    /// Notes each report as "key" or "key external".
    void observe(SettingsStore &store)
    {
        store.setChangeObserver(
            [this](const QString &changed, bool external) { reports.append(changed + (external ? QStringLiteral(" external") : QString())); });
    }
    QString inode() const
    {
        struct stat information = {};
        EXPECT_EQ(::stat(QFile::encodeName(mainPath()).constData(), &information), 0);
        return QString::number(information.st_ino);
    }

    QStringList reports;
};

TEST_F(SettingsStoreTest, NothingIsWrittenBeforeTheFirstChange)
{
    const auto store = open();
    EXPECT_TRUE(files().isEmpty());
    EXPECT_TRUE(store->keys().isEmpty());
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(SettingsStoreTest, FolderAndFilesArePrivate)
{
    const mode_t before = ::umask(0);
    open()->setValue(key, 4);
    open()->setValue(table, largeDictionary(1));
    ::umask(before);
    constexpr auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser;
    for (const QString &name : files())
        EXPECT_EQ(QFileInfo(path(name)).permissions(), ownerOnly) << name.toStdString();
    EXPECT_EQ(QFileInfo(folder()).permissions(), ownerOnly | QFileDevice::ExeOwner | QFileDevice::ExeUser);
}

TEST_F(SettingsStoreTest, AWriteIsOnDiskWhenTheCallReturns)
{
    const auto store = open();
    EXPECT_TRUE(store->setValue(key, 4));
    EXPECT_EQ(mainContent(), "{\n  \"whichIP\": 4\n}\n");
    EXPECT_EQ(open()->integer(key), 4);
}

TEST_F(SettingsStoreTest, EveryKindSurvivesARestart)
{
    const QVariantMap values = {{QStringLiteral("text"), QStringLiteral("60")}, {QStringLiteral("integer"), std::numeric_limits<qlonglong>::min()},
        {QStringLiteral("large"), std::numeric_limits<qulonglong>::max()}, {QStringLiteral("real"), 1.0}, {QStringLiteral("boolean"), true},
        {QStringLiteral("date"), QDateTime::fromMSecsSinceEpoch(1'700'000'000'123, Qt::UTC)}, {QStringLiteral("list"), QVariantList{1LL, 1.0, true}},
        {QStringLiteral("dictionary"), QVariantMap{{QStringLiteral("$date"), 5LL}}}};
    const auto store = open();
    for (auto value = values.cbegin(); value != values.cend(); ++value)
        store->setValue(value.key(), value.value());
    const auto later = open();
    for (auto value = values.cbegin(); value != values.cend(); ++value) {
        EXPECT_EQ(later->value(value.key()), value.value()) << value.key().toStdString();
        EXPECT_EQ(later->value(value.key()).typeId(), value.value().typeId()) << value.key().toStdString();
    }
}

TEST_F(SettingsStoreTest, TypedReadsConvert)
{
    writeMain(R"({"text": "60", "flag": "TRUE", "number": 2.5, "list": [1], "date": {"$date": 60}, "null": null})");
    const auto store = open();
    EXPECT_EQ(store->integer(QStringLiteral("text")), 60);
    EXPECT_TRUE(store->boolean(QStringLiteral("flag")));
    EXPECT_EQ(store->text(QStringLiteral("number")), QStringLiteral("2.5"));
    EXPECT_TRUE(store->text(QStringLiteral("list")).isNull());
    EXPECT_EQ(store->list(QStringLiteral("list")), QVariantList{1LL});
    EXPECT_TRUE(store->dictionary(QStringLiteral("list")).isEmpty());
    EXPECT_EQ(store->date(QStringLiteral("date")).toSecsSinceEpoch(), 60);
    EXPECT_FALSE(store->contains(QStringLiteral("null")));
}

TEST_F(SettingsStoreTest, SettingNothingRemoves)
{
    const auto store = open();
    for (const QVariant &nothing : {QVariant(), QVariant(QString()), QVariant::fromValue(nullptr)}) {
        store->setValue(key, 4);
        EXPECT_TRUE(store->setValue(key, nothing));
        EXPECT_FALSE(store->contains(key));
    }
    EXPECT_TRUE(open()->keys().isEmpty());
}

TEST_F(SettingsStoreTest, EqualValuesWriteNothing)
{
    const auto store = open();
    store->setValue(key, 4);
    store->setValue(table, largeDictionary(1));
    const QString before = inode();
    QFile kept(mainPath()); // while it is open its number is not given to another file
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_TRUE(store->setValue(key, 4));
    EXPECT_TRUE(store->setValue(table, largeDictionary(1)));
    EXPECT_TRUE(store->remove(QStringLiteral("absent")));
    EXPECT_EQ(inode(), before);
}

TEST_F(SettingsStoreTest, AnotherKindIsAnotherValue)
{
    const auto store = open();
    store->setValue(key, 1);
    store->setValue(key, 1.0);
    EXPECT_EQ(mainContent(), "{\n  \"whichIP\": 1.0\n}\n");
}

TEST_F(SettingsStoreTest, ValuesThatNoFileCanHoldChangeNothing)
{
    const auto store = open();
    store->setValue(key, 4);
    EXPECT_FALSE(store->setValue(key, std::numeric_limits<double>::quiet_NaN()));
    EXPECT_FALSE(store->setValue(key, QByteArray("bytes")));
    EXPECT_EQ(store->integer(key), 4);
    EXPECT_EQ(log.lines().size(), 2);
}

TEST_F(SettingsStoreTest, OddTextAsKeyAndValueIsKept)
{
    const QString odd = QStringLiteral("\u0000\"\\\n\u2028\U0001F600") + QChar(0xd800);
    const auto store = open();
    EXPECT_TRUE(store->setValue(odd, odd));
    EXPECT_TRUE(store->setValue(QString(), QStringLiteral("")));
    EXPECT_EQ(open()->text(odd), store->text(odd));
    EXPECT_TRUE(open()->contains(QString()));
    EXPECT_TRUE(store->remove(odd));
    EXPECT_EQ(open()->keys(), QStringList{QString()});
}

TEST_F(SettingsStoreTest, LargeDictionariesMoveOutAndBack)
{
    const auto store = open();
    store->setValue(table, largeDictionary(1));
    ASSERT_EQ(sideFiles().size(), 1);
    EXPECT_LT(mainContent().size(), 200);
    EXPECT_EQ(open()->dictionary(table), largeDictionary(1));

    store->setValue(table, largeDictionary(2));
    EXPECT_EQ(sideFiles().size(), 1);
    EXPECT_EQ(open()->dictionary(table), largeDictionary(2));

    store->setValue(table, largeDictionary(3, 2));
    EXPECT_TRUE(sideFiles().isEmpty());
    EXPECT_EQ(open()->dictionary(table), largeDictionary(3, 2));
}

TEST_F(SettingsStoreTest, RemovingALargeDictionaryRemovesItsFile)
{
    const auto store = open();
    store->setValue(table, largeDictionary(1));
    store->remove(table);
    EXPECT_TRUE(sideFiles().isEmpty());
    EXPECT_FALSE(open()->contains(table));
}

TEST_F(SettingsStoreTest, TheLimitIsFourKilobytesOfCompactJson)
{
    const auto store = open();
    const auto filled = [](int size) { return QVariantMap{{QStringLiteral("a"), QString(size - 8, u'x')}}; }; // {"a":""} takes 8
    store->setValue(table, filled(4096));
    EXPECT_TRUE(sideFiles().isEmpty());
    store->setValue(table, filled(4097));
    EXPECT_EQ(sideFiles().size(), 1);
}

TEST_F(SettingsStoreTest, AnyKeyMayHoldALargeDictionary)
{
    const QStringList keys = {QString(), QStringLiteral("../../escape"), QString(3000, u'k'), QStringLiteral("\n/\u00e9")};
    const auto store = open();
    for (qsizetype index = 0; index < keys.size(); ++index)
        EXPECT_TRUE(store->setValue(keys[index], largeDictionary(index)));
    const auto later = open();
    for (qsizetype index = 0; index < keys.size(); ++index)
        EXPECT_EQ(later->dictionary(keys[index]), largeDictionary(index));
    EXPECT_EQ(sideFiles().size(), keys.size());
}

TEST_F(SettingsStoreTest, WritesOfOthersAreKept)
{
    const auto store = open();
    const auto other = open();
    store->setValue(key, 1);
    other->setValue(QStringLiteral("b"), 2);
    store->setValue(QStringLiteral("c"), 3);
    EXPECT_EQ(open()->keys(), (QStringList{QStringLiteral("b"), QStringLiteral("c"), key}));
    EXPECT_EQ(store->integer(QStringLiteral("b")), 2);
}

TEST_F(SettingsStoreTest, SettingAnOldValueOverAnUnseenChangeWrites)
{
    const auto store = open();
    store->setValue(key, 1);
    open()->setValue(key, 2);
    EXPECT_TRUE(store->setValue(key, 1));
    EXPECT_EQ(open()->integer(key), 1);
}

TEST_F(SettingsStoreTest, OwnChangesAreReportedOnceAndNotAgainByTheWatch)
{
    const auto store = open();
    observe(*store);
    store->setValue(key, 1);
    store->setValue(key, 1);
    store->noticeChanges();
    store->setValue(table, largeDictionary(1));
    store->noticeChanges();
    store->remove(key);
    store->noticeChanges();
    EXPECT_EQ(reports, (QStringList{key, table, key}));
}

TEST_F(SettingsStoreTest, ChangesOfOthersAreReportedOnceAsExternal)
{
    const auto store = open();
    const auto other = open();
    observe(*store);
    other->setValue(key, 2);
    other->setValue(table, largeDictionary(1));
    store->noticeChanges();
    store->noticeChanges();
    EXPECT_EQ(reports, (QStringList{table + QStringLiteral(" external"), key + QStringLiteral(" external")}));
    EXPECT_EQ(store->integer(key), 2);

    reports.clear();
    other->setValue(table, largeDictionary(2));
    other->remove(key);
    store->noticeChanges();
    EXPECT_EQ(reports, (QStringList{key + QStringLiteral(" external"), table + QStringLiteral(" external")}));
    EXPECT_EQ(store->dictionary(table), largeDictionary(2));
}

TEST_F(SettingsStoreTest, AWriteReportsWhatItFoundAsExternalAndItsOwnAsOwn)
{
    const auto store = open();
    observe(*store);
    const auto other = open();
    other->setValue(QStringLiteral("b"), 2);
    other->setValue(key, 3);
    store->setValue(key, 1);
    EXPECT_EQ(reports, (QStringList{QStringLiteral("b external"), key}));
    EXPECT_EQ(open()->integer(key), 1);
}

TEST_F(SettingsStoreTest, AnEditorsChangeIsNoticed)
{
    const auto store = open();
    store->setValue(key, 1);
    observe(*store);
    writeMain("{\"whichIP\": 2, \"whichIP\": 3, \"showInterfaceName\": true}");
    store->noticeChanges();
    EXPECT_EQ(store->integer(key), 3);
    EXPECT_EQ(reports.size(), 2);
}

TEST_F(SettingsStoreTest, ARemovedFileIsAnEmptyStore)
{
    const auto store = open();
    store->setValue(key, 1);
    observe(*store);
    QDir(folder()).removeRecursively();
    store->noticeChanges();
    EXPECT_EQ(reports, QStringList{key + QStringLiteral(" external")});
    EXPECT_TRUE(store->setValue(key, 2));
    EXPECT_EQ(open()->integer(key), 2);
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(SettingsStoreTest, ObserversMayUseTheStore)
{
    const auto store = open();
    store->setChangeObserver([&](const QString &changed, bool) {
        reports.append(changed);
        if (changed == key)
            store->setValue(QStringLiteral("seen"), store->value(key));
    });
    store->setValue(key, 1);
    EXPECT_EQ(reports, (QStringList{key, QStringLiteral("seen")}));
    EXPECT_EQ(open()->integer(QStringLiteral("seen")), 1);
}

TEST_F(SettingsStoreTest, SynchronizeAnswersForEveryWrite)
{
    const auto store = open();
    EXPECT_TRUE(store->synchronize());
    store->setValue(key, 1);
    store->setValue(table, largeDictionary(1));
    EXPECT_TRUE(store->synchronize());
}

TEST_F(SettingsStoreTest, ThreadsMayReadAndWriteAtOnce)
{
    const auto store = open();
    std::atomic<int> calls = 0;
    store->setChangeObserver([&](const QString &, bool) { ++calls; });
    constexpr int rounds = 40;
    const auto write = [&](int thread) {
        for (int round = 1; round <= rounds; ++round) {
            store->setValue(QStringLiteral("key%1").arg(thread), round);
            store->setValue(table, largeDictionary(round));
            (void)store->dictionary(table).value(QStringLiteral("number")).toLongLong();
            (void)store->text(QStringLiteral("key%1").arg((thread + 1) % 3));
            store->noticeChanges();
        }
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread)
        threads.emplace_back(write, thread);
    for (std::thread &thread : threads)
        thread.join();
    for (int thread = 0; thread < 3; ++thread)
        EXPECT_EQ(open()->integer(QStringLiteral("key%1").arg(thread)), rounds);
    EXPECT_GE(calls, 3 * rounds);
}

TEST_F(SettingsStoreTest, TheDefaultFolderFollowsXdg)
{
    const QByteArray before = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", "/some/where");
    EXPECT_EQ(SettingsStore::defaultFolder(), QStringLiteral("/some/where/lanterna"));
    qputenv("XDG_CONFIG_HOME", before);
}

} // namespace
