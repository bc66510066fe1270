#include "ui/ActivityLog.h"

#include "tests/ui/WindowFixture.h"

using namespace lanterna;

namespace
{

const QVariantMap home{{"192.168.1.2", "00:11:32:00:77:14"}, {"192.168.1.9", "00:11:32:00:77:15"}, {"lastUpdate", "11!22!2026_01*42 +"}};
const QVariantMap office{{"10.0.0.7", "aa:bb:cc:dd:ee:ff"}};

class ActivityLogList : public WindowFixture
{
protected:
    void store(const QVariant &activity)
    {
        settings.setValue("recentICloudActivity", activity);
        settle();
    }
    static QStringList names(const ActivityLog &shown)
    {
        QStringList found;
        for (const ActivityRow &row : shown.rows())
            found.append(row.name);
        return found;
    }
};

TEST_F(ActivityLogList, HasARowForEachNetwork)
{
    store(QVariantMap{{"Office", office}, {"Home", home}});
    settings.setValue("currentDisplayedWiFiName", "Office");
    const ActivityLog shown;
    EXPECT_EQ(shown.rows(), (QList<ActivityRow>{{"Home", "11!22!2026_01*42 +", false}, {"Office", "", true}}));
}

TEST_F(ActivityLogList, NoNetworkInUseMarksNone)
{
    store(QVariantMap{{"", home}});
    EXPECT_FALSE(ActivityLog().rows().constFirst().current);
}

TEST_F(ActivityLogList, MissingEmptyOrMalformedDictionaryHasNoRows)
{
    EXPECT_EQ(ActivityLog().count(), 0);
    for (const QVariant &bad : {QVariant(QVariantMap()), QVariant(QVariantList{1}), QVariant("text"), QVariant(7)}) {
        store(bad);
        EXPECT_EQ(ActivityLog().count(), 0);
    }
}

TEST_F(ActivityLogList, TableOfAWrongTypeHasARowWithoutATime)
{
    store(QVariantMap{{"A", "text"}, {"B", QVariantMap{{"lastUpdate", 12}}}, {"C", QVariantMap{{"lastUpdate", QVariantList{1}}}}});
    const ActivityLog shown;
    EXPECT_EQ(shown.rows(), (QList<ActivityRow>{{"A", "", false}, {"B", "12", false}, {"C", "[1]", false}}));
}

TEST_F(ActivityLogList, LastUpdateThatIsADateIsWrittenAsOne)
{
    store(QVariantMap{{"A", QVariantMap{{"lastUpdate", QDateTime(QDate(2026, 11, 22), QTime(14, 5)).toUTC()}}}});
    EXPECT_TRUE(ActivityLog().rows().constFirst().lastUpdate.contains("2026"));
}

TEST_F(ActivityLogList, LastUpdateLineIsUnknownWithoutADate)
{
    EXPECT_EQ(ActivityLog().lastUpdate(), "Unknown");
    settings.setValue("lastICloudActivityUpdateDate", "2026-11-22");
    EXPECT_EQ(ActivityLog().lastUpdate(), "Unknown");
    settings.setValue("lastICloudActivityUpdateDate", QDateTime::currentDateTimeUtc());
    EXPECT_NE(ActivityLog().lastUpdate(), "Unknown");
}

TEST_F(ActivityLogList, FollowsTheSettings)
{
    store(QVariantMap{{"Home", home}});
    const ActivityLog shown;
    store(QVariantMap{{"Home", home}, {"Office", office}});
    EXPECT_EQ(names(shown), QStringList({"Home", "Office"}));
    settings.setValue("currentDisplayedWiFiName", "Office");
    settle();
    EXPECT_TRUE(shown.rows().at(1).current);
    store("no dictionary any more");
    EXPECT_EQ(shown.count(), 0);
}

TEST_F(ActivityLogList, ChangeTouchesNoOtherRows)
{
    store(QVariantMap{{"A", home}, {"B", home}, {"C", home}});
    ActivityLog shown;
    int reset = 0;
    QList<int> removed;
    QObject::connect(&shown, &QAbstractItemModel::modelReset, [&] { ++reset; });
    QObject::connect(&shown, &QAbstractItemModel::rowsRemoved, [&](const QModelIndex &, int first, int last) { removed += {first, last}; });
    store(QVariantMap{{"A", home}, {"C", home}});
    EXPECT_EQ(removed, QList<int>({1, 1}));
    EXPECT_EQ(reset, 0);
}

TEST_F(ActivityLogList, NetworkPublishedAgainKeepsItsRow)
{
    store(QVariantMap{{"A", home}, {"B", home}, {"C", home}});
    ActivityLog shown;
    QStringList changes;
    QObject::connect(&shown, &QAbstractItemModel::rowsInserted, [&] { changes.append("inserted"); });
    QObject::connect(&shown, &QAbstractItemModel::rowsRemoved, [&] { changes.append("removed"); });
    QObject::connect(&shown, &QAbstractItemModel::dataChanged, [&](const QModelIndex &first, const QModelIndex &last) {
        changes.append(QStringLiteral("changed %1 to %2").arg(first.row()).arg(last.row()));
    });
    QObject::connect(&shown, &ActivityLog::countChanged, [&] { changes.append("count"); });
    store(QVariantMap{{"A", home}, {"B", office}, {"C", home}});
    EXPECT_EQ(changes, QStringList{"changed 1 to 1"});
    EXPECT_EQ(shown.rows().at(1).lastUpdate, "");
}

TEST_F(ActivityLogList, SeveralChangesAtOnceEndAtTheSameRows)
{
    store(QVariantMap{{"B", home}, {"C", home}, {"E", home}, {"F", home}});
    ActivityLog shown;
    int counts = 0;
    QObject::connect(&shown, &ActivityLog::countChanged, [&] { ++counts; });
    store(QVariantMap{{"A", home}, {"C", office}, {"D", office}});
    const QString time = QStringLiteral("11!22!2026_01*42 +");
    EXPECT_EQ(shown.rows(), (QList<ActivityRow>{{"A", time, false}, {"C", "", false}, {"D", "", false}}));
    EXPECT_EQ(counts, 1);
}

TEST_F(ActivityLogList, DeletionWritesTheRestAndPosts)
{
    store(QVariantMap{{"Home", home}, {"Office", office}});
    settings.setValue("MACAddressesByNetworkSegment", QVariantMap{{"Home", home}});
    ActivityLog shown;
    shown.deleteNetwork("Home");
    EXPECT_EQ(settings.value("recentICloudActivity"), QVariant(QVariantMap{{"Office", office}}));
    EXPECT_EQ(settings.dictionary("MACAddressesByNetworkSegment").keys(), QStringList{"Home"}) << "the receiver of the notification's matter";
    EXPECT_EQ(posted, QStringList{"MACAddressesByNetworkSegmentDictEdited"});
}

TEST_F(ActivityLogList, EntryIsGoneWhenTheDeletionIsPosted)
{
    store(QVariantMap{{"Home", home}});
    bool atPosting = true;
    const auto observation = notifications.observe("MACAddressesByNetworkSegmentDictEdited",
        [&](const Notification &) { atPosting = settings.dictionary("recentICloudActivity").contains("Home"); });
    ActivityLog().deleteNetwork("Home");
    EXPECT_FALSE(atPosting);
}

TEST_F(ActivityLogList, DeletionWithoutADictionaryWritesAndPostsNothing)
{
    ActivityLog shown;
    shown.deleteNetwork("Home");
    EXPECT_FALSE(settings.contains("recentICloudActivity"));
    store("text");
    shown.deleteNetwork("Home");
    EXPECT_EQ(settings.value("recentICloudActivity"), QVariant("text"));
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(ActivityLogList, DeletionFromADictionaryEmptiedMeanwhileLosesNothing)
{
    store(QVariantMap{{"Home", home}});
    ActivityLog shown;
    store(QVariantMap{{"Office", office}});
    shown.deleteNetwork("Home");
    settle();
    EXPECT_EQ(names(shown), QStringList{"Office"});
    store(QVariantMap{});
    shown.deleteNetwork("Office");
    settle();
    EXPECT_EQ(shown.count(), 0);
}

TEST(ActivitySummary, ListsTheNetworksWithTheirAddresses)
{
    EXPECT_EQ(activitySummary(QVariantMap{{"Office", office}, {"Home", home}}),
        "[Home]\n  192.168.1.2: 00:11:32:00:77:14\n  192.168.1.9: 00:11:32:00:77:15\n[Office]\n  10.0.0.7: aa:bb:cc:dd:ee:ff\n");
}

TEST(ActivitySummary, OfATableThatIsNoneIsItsNameAlone)
{
    EXPECT_EQ(activitySummary(QVariantMap{{"A", 5}}), "[A]\n");
}

TEST(ActivitySummary, OfNothingSaysSo)
{
    for (const QVariant &none : {QVariant(), QVariant(QVariantMap()), QVariant("text")})
        EXPECT_EQ(activitySummary(none), "No recent activity");
}

TEST(ActivityDeletionMessage, NamesTheNetwork)
{
    EXPECT_EQ(ActivityLog::deletionMessage("Home"), "Are you sure you want to delete 'Home' from the activity log?");
    EXPECT_EQ(ActivityLog::deletionMessage("Ann's Office"), "Are you sure you want to delete 'Ann's Office' from the activity log?");
}

} // namespace
