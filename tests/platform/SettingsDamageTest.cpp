#include "tests/platform/SettingsFolder.h"

#include <csignal>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace lanterna;

namespace
{

const QString key = QStringLiteral("whichIP");
const QString table = QStringLiteral("MACAddressesByNetworkSegment");
const QString mainName = QStringLiteral("settings.json");

class SettingsDamageTest : public SettingsFolder
{
protected:
    /// The store opens empty, with one log line, and works; the damaged file stands under another name.
    void expectDefaultsAfter(const QByteArray &content)
    {
        writeMain(content);
        const qsizetype asideBefore = setAside().size();
        log.clear();
        const auto store = open();
        EXPECT_TRUE(store->keys().isEmpty()) << content.constData();
        EXPECT_EQ(log.lines().size(), 1) << content.constData();
        ASSERT_EQ(setAside().size(), asideBefore + 1) << content.constData();
        EXPECT_TRUE(store->setValue(key, 4));
        EXPECT_EQ(open()->integer(key), 4);
    }

    /// Makes the folder read-only for as long as it lives.
    struct ReadOnlyFolder {
        explicit ReadOnlyFolder(const QString &folder) : path(QFile::encodeName(folder)) { ::chmod(path.constData(), 0500); }
        ~ReadOnlyFolder() { ::chmod(path.constData(), 0700); }
        QByteArray path;
    };
};

TEST_F(SettingsDamageTest, CutAtEveryByte)
{
    const auto store = open();
    store->setValue(QStringLiteral("first_run"), QStringLiteral("TRUE \u00e9"));
    store->setValue(key, -12.5);
    store->setValue(table, largeDictionary(1));
    store->setValue(QStringLiteral("nics"), QVariantList{true, QVariantMap{{QStringLiteral("a"), QDateTime::currentDateTimeUtc()}}});
    const QByteArray whole = mainContent();
    ASSERT_TRUE(whole.endsWith("}\n"));
    writeMain(whole.chopped(1)); // without the last line end it is whole
    EXPECT_EQ(open()->keys().size(), 4);
    for (qsizetype length = 0; length < whole.size() - 1; ++length)
        expectDefaultsAfter(whole.left(length));
}

TEST_F(SettingsDamageTest, BinaryEmptyAndOtherKindsOfJson)
{
    QByteArray binary;
    for (int byte = 0; byte < 4096; ++byte)
        binary += char(byte * 37);
    for (const QByteArray &content :
        {binary, QByteArray(), QByteArray("[]"), QByteArray("4"), QByteArray("null"), QByteArray(100'000, '{'), QByteArray(64, '\0')})
        expectDefaultsAfter(content);
}

TEST_F(SettingsDamageTest, ADirectoryInItsPlace)
{
    QDir().mkpath(mainPath() + QStringLiteral("/inside"));
    const auto store = open();
    EXPECT_EQ(log.lines(), QStringList{QStringLiteral("Settings: settings.json is damaged and was set aside as settings.json.damaged-1")});
    EXPECT_TRUE(store->setValue(key, 4));
    EXPECT_TRUE(QDir(path(QStringLiteral("settings.json.damaged-1/inside"))).exists());
}

TEST_F(SettingsDamageTest, APipeInItsPlaceHoldsNothingUp)
{
    QDir().mkpath(folder());
    ASSERT_EQ(::mkfifo(QFile::encodeName(mainPath()).constData(), 0600), 0);
    EXPECT_TRUE(open()->setValue(key, 4));
    EXPECT_EQ(setAside().size(), 1);
}

TEST_F(SettingsDamageTest, EarlierFilesSetAsideAreKept)
{
    writeMain("first");
    open();
    writeMain("second");
    open();
    EXPECT_EQ(contentOf(QStringLiteral("settings.json.damaged-1")), "first");
    EXPECT_EQ(contentOf(QStringLiteral("settings.json.damaged-2")), "second");
}

TEST_F(SettingsDamageTest, ValuesOfWrongTypesAreNoDamage)
{
    writeMain(R"({"whichIP": [], "updateFrequencyLAN": {"$date": 5}, "showMACAddresses": "maybe", "nics": 1e400})");
    const auto store = open();
    EXPECT_EQ(store->integer(key), 0);
    EXPECT_EQ(store->integer(QStringLiteral("updateFrequencyLAN")), 0);
    EXPECT_FALSE(store->boolean(QStringLiteral("showMACAddresses")));
    EXPECT_TRUE(store->list(QStringLiteral("nics")).isEmpty());
    EXPECT_TRUE(log.lines().isEmpty());
    EXPECT_TRUE(setAside().isEmpty());
}

TEST_F(SettingsDamageTest, ARunningProgramGoesOnWithWhatItKnew)
{
    const auto store = open();
    store->setValue(key, 4);
    store->setValue(table, largeDictionary(1));
    store->setChangeObserver([](const QString &changed, bool) { ADD_FAILURE() << changed.toStdString(); });
    writeMain("{\"whichIP\": 4");
    store->noticeChanges();
    EXPECT_EQ(store->integer(key), 4);
    EXPECT_EQ(open()->integer(key), 4);
    EXPECT_EQ(open()->dictionary(table), largeDictionary(1));
    EXPECT_EQ(log.lines().size(), 1);
    EXPECT_EQ(setAside().size(), 1);
}

TEST_F(SettingsDamageTest, DamageThatAWriteMeetsCostsNothingElse)
{
    const auto store = open();
    store->setValue(QStringLiteral("b"), 1);
    writeMain("");
    EXPECT_TRUE(store->setValue(key, 4));
    EXPECT_EQ(open()->keys(), (QStringList{QStringLiteral("b"), key}));
}

TEST_F(SettingsDamageTest, ADamagedSideFileLosesOnlyItsKey)
{
    const auto store = open();
    store->setValue(key, 4);
    store->setValue(table, largeDictionary(1));
    const QString name = sideFiles().value(0);
    const QByteArray whole = contentOf(name);
    const QByteArray main = mainContent();
    for (qsizetype length = 0; length < whole.size() - 1; length += 97) {
        writeMain(main);
        writeFile(name, whole.left(length));
        log.clear();
        const auto later = open();
        EXPECT_EQ(later->keys(), QStringList{key});
        EXPECT_EQ(log.lines().size(), 1);
    }
    EXPECT_EQ(setAside().filter(mainName).size(), 0);
    log.clear();
    open();
    EXPECT_TRUE(log.lines().isEmpty()); // told once, not at every start
}

TEST_F(SettingsDamageTest, AMissingSideFileLosesOnlyItsKey)
{
    const auto store = open();
    store->setValue(key, 4);
    store->setValue(table, largeDictionary(1));
    QFile::remove(path(sideFiles().value(0)));
    const auto later = open();
    EXPECT_EQ(later->keys(), QStringList{key});
    EXPECT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(later->setValue(table, largeDictionary(2)));
    EXPECT_EQ(open()->dictionary(table), largeDictionary(2));
}

TEST_F(SettingsDamageTest, StrayFilesAndDraftsOfKilledWritersGo)
{
    open()->setValue(table, largeDictionary(1));
    const QString stray = sideFileName(table, 1);
    writeFile(stray, "{\"half\":");
    writeFile(QStringLiteral("settings.json.new"), "{\"half\":");
    writeFile(QStringLiteral("notes.txt"), "somebody else's");
    const auto store = open();
    EXPECT_EQ(store->dictionary(table), largeDictionary(1));
    store->setValue(key, 4);
    EXPECT_EQ(sideFiles().size(), 1);
    EXPECT_FALSE(files().contains(stray));
    EXPECT_FALSE(files().contains(QStringLiteral("settings.json.new")));
    EXPECT_TRUE(files().contains(QStringLiteral("notes.txt")));
}

TEST_F(SettingsDamageTest, WhatADamagedFileRefersToStaysForItsRepair)
{
    open()->setValue(table, largeDictionary(1));
    const QByteArray whole = mainContent();
    writeMain(whole.chopped(2));
    open()->setValue(key, 4);
    writeMain(whole);
    EXPECT_EQ(open()->dictionary(table), largeDictionary(1));
}

TEST_F(SettingsDamageTest, AnUnreadableFileIsNeitherSetAsideNorWrittenOver)
{
    open()->setValue(key, 4);
    const int result = asOrdinaryUser([&] {
        ::chmod(QFile::encodeName(mainPath()).constData(), 0);
        const auto store = open();
        const bool empty = store->keys().isEmpty();
        const bool refused = !store->setValue(key, 2) && !store->setValue(QStringLiteral("b"), 1) && !store->setValue(table, largeDictionary(1));
        const bool held = store->integer(key) == 2 && store->dictionary(table) == largeDictionary(1) && !store->synchronize();
        ::chmod(QFile::encodeName(mainPath()).constData(), 0600);
        // Readable again: what was set blindly stays in this process, and what is set now is written.
        const bool goesOn = store->setValue(QStringLiteral("c"), 3) && store->integer(key) == 2;
        return empty && refused && held && goesOn && log.lines().size() == 1 ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(open()->keys(), (QStringList{QStringLiteral("c"), key}));
    EXPECT_EQ(open()->integer(key), 4);
    EXPECT_TRUE(setAside().isEmpty());
}

TEST_F(SettingsDamageTest, AnUnreadableSideFileIsKept)
{
    open()->setValue(table, largeDictionary(1));
    const int result = asOrdinaryUser([&] {
        const QByteArray side = QFile::encodeName(path(sideFiles().value(0)));
        ::chmod(side.constData(), 0);
        const auto store = open();
        const bool absent = !store->contains(table) && store->setValue(key, 4);
        const bool refused = !store->setValue(table, largeDictionary(2)) && store->dictionary(table) == largeDictionary(2);
        const bool removalRefused = !open()->remove(table);
        ::chmod(side.constData(), 0600);
        return absent && refused && removalRefused ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(open()->dictionary(table), largeDictionary(1));
    EXPECT_EQ(open()->integer(key), 4);
}

TEST_F(SettingsDamageTest, InAReadOnlyFolderValuesHoldInMemoryWithOneLogLine)
{
    open()->setValue(key, 4);
    const int result = asOrdinaryUser([&] {
        const auto store = open();
        bool held = false;
        {
            const ReadOnlyFolder readOnly(folder());
            QFile::remove(path(QStringLiteral("settings.lock")));
            held = store->integer(key) == 4 && !store->setValue(key, 2) && !store->setValue(QStringLiteral("b"), 1) && !store->setValue(key, 3);
            held = held && store->integer(key) == 3 && !store->synchronize() && store->setValue(QStringLiteral("c"), {}) && log.lines().size() == 1;
        }
        // Once there is a way again, everything goes with the next change.
        return held && store->setValue(QStringLiteral("d"), 1) && store->synchronize() ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(open()->keys(), (QStringList{QStringLiteral("b"), QStringLiteral("d"), key}));
    EXPECT_EQ(open()->integer(key), 3);
}

TEST_F(SettingsDamageTest, ADamagedFileInAReadOnlyFolderIsLeftAlone)
{
    writeMain("{\"whichIP\": 4");
    const int result = asOrdinaryUser([&] {
        const ReadOnlyFolder readOnly(folder());
        const auto store = open();
        const bool works = store->keys().isEmpty() && !store->setValue(key, 2) && store->integer(key) == 2;
        store->noticeChanges();
        return works && log.lines().size() == 1 ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(mainContent(), "{\"whichIP\": 4");
}

TEST_F(SettingsDamageTest, OnAFullDiskValuesHoldInMemoryAndTheFilesStayWhole)
{
    open()->setValue(key, 4);
    const int result = inChild([&] {
        const auto store = open();
        ::signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {8, RLIM_INFINITY}; // bytes: every write stops half-way, as on a full disk
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const bool refused = !store->setValue(key, 2) && !store->setValue(table, largeDictionary(1)) && log.lines().size() == 1;
        const bool held = store->integer(key) == 2 && open()->integer(key) == 4 && sideFiles().isEmpty();
        limit.rlim_cur = RLIM_INFINITY;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        return refused && held && store->synchronize() ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(open()->integer(key), 2);
    EXPECT_EQ(open()->dictionary(table), largeDictionary(1));
}

TEST_F(SettingsDamageTest, AWriterThatNeverLetsGoStopsNobody)
{
    const auto store = open();
    store->setValue(key, 4);
    const int descriptor = ::open(QFile::encodeName(path(QStringLiteral("settings.lock"))).constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(descriptor, LOCK_EX), 0);
    EXPECT_FALSE(store->setValue(key, 2));
    EXPECT_EQ(store->integer(key), 2);
    EXPECT_EQ(log.lines().size(), 1);
    ::close(descriptor);
    EXPECT_TRUE(store->setValue(key, 2));
    EXPECT_EQ(open()->integer(key), 2);
}

TEST_F(SettingsDamageTest, AFolderThatCannotBeMadeIsReportedByTheFirstWrite)
{
    QFile blocker(folder());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    const auto store = open();
    EXPECT_TRUE(log.lines().isEmpty());
    EXPECT_FALSE(store->setValue(key, 4));
    EXPECT_EQ(store->integer(key), 4);
    EXPECT_EQ(log.lines().size(), 1);
}

} // namespace
