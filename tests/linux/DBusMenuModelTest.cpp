#include "platform/linux/DBusMenuModel.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

MenuItem row(const QString &identity, const QString &title)
{
    MenuItem item;
    item.identity = identity;
    item.title = title;
    item.action = [](const MenuItem &) {};
    return item;
}

class MenuModel : public testing::Test
{
protected:
    DBusMenuChange show(const QList<MenuItem> &items) { return model.update(items); }
    int idAt(int index) { return model.children(DBusMenuModel::rootId).value(index, -1); }
    QVariant property(int index, const char *name) { return model.properties(idAt(index)).value(QLatin1String(name)); }
    DBusMenuModel model;
};

TEST_F(MenuModel, EqualRebuildChangesNothing)
{
    const QList<MenuItem> items{row("a", "One"), MenuItem::separatorItem("s"), row("b", "Two")};
    show(items);
    const quint32 revision = model.revision();
    EXPECT_TRUE(show(items).isEmpty());
    EXPECT_EQ(model.revision(), revision);
}

TEST_F(MenuModel, RowKeepsItsIdWhenOthersComeBeforeIt)
{
    show({row("quit", "Quit")});
    const int quit = idAt(0);
    show({row("warning", "Warning"), row("quit", "Quit")});
    EXPECT_EQ(idAt(1), quit);
    EXPECT_NE(idAt(0), quit);
}

TEST_F(MenuModel, NewTitleIsAPropertyChangeAndNoLayoutChange)
{
    show({row("a", "One"), row("b", "Two")});
    const DBusMenuChange change = show({row("a", "One"), row("b", "Three")});
    EXPECT_FALSE(change.layout);
    ASSERT_EQ(change.updated.keys(), QList<int>{idAt(1)});
    EXPECT_EQ(change.updated.value(idAt(1)), (QVariantMap{{"label", "Three"}}));
    EXPECT_TRUE(change.removed.isEmpty());
}

TEST_F(MenuModel, ARowThatComesIsALayoutChange)
{
    show({row("a", "One")});
    const quint32 revision = model.revision();
    const DBusMenuChange change = show({row("a", "One"), row("b", "Two")});
    EXPECT_TRUE(change.layout);
    EXPECT_TRUE(change.updated.isEmpty());
    EXPECT_EQ(model.revision(), revision + 1);
}

TEST_F(MenuModel, RowsThatSwapPlacesAreALayoutChange)
{
    show({row("a", "One"), row("b", "Two")});
    EXPECT_TRUE(show({row("b", "Two"), row("a", "One")}).layout);
}

TEST_F(MenuModel, PropertyThatIsGoneIsNamedAsRemoved)
{
    MenuItem toggle = row("t", "Names");
    toggle.toggle = MenuItem::Toggle::check;
    show({toggle});
    const DBusMenuChange change = show({row("t", "Names")});
    EXPECT_EQ(change.removed.value(idAt(0)), (QStringList{"toggle-state", "toggle-type"}));
}

TEST_F(MenuModel, TogglesTellTheirKindAndState)
{
    MenuItem radio = row("r", "First");
    radio.toggle = MenuItem::Toggle::radio;
    radio.checked = true;
    MenuItem check = row("c", "Names");
    check.toggle = MenuItem::Toggle::check;
    show({radio, check});
    EXPECT_EQ(property(0, "toggle-type"), "radio");
    EXPECT_EQ(property(0, "toggle-state"), 1);
    EXPECT_EQ(property(1, "toggle-type"), "checkmark");
    EXPECT_EQ(property(1, "toggle-state"), 0);
}

TEST_F(MenuModel, RowWithoutActionIsDisabled)
{
    MenuItem star = row("star", "*");
    star.action = nullptr;
    show({star, row("a", "One")});
    EXPECT_EQ(property(0, "enabled"), false);
    EXPECT_EQ(property(1, "enabled"), true);
    EXPECT_FALSE(model.clicked(idAt(0)));
}

TEST_F(MenuModel, UnderscoresAreDoubledInTheLabelOnly)
{
    show({row("a", "br_lan: 10.0.0.1")});
    EXPECT_EQ(property(0, "label"), "br__lan: 10.0.0.1");
    EXPECT_EQ(model.clicked(idAt(0))->title, "br_lan: 10.0.0.1");
}

TEST_F(MenuModel, SecondLineStandsInTheLabelAndNotInTheTitle)
{
    MenuItem network = row("network:Home", "Home");
    network.subtitle = QStringLiteral("  → Office_5");
    show({network});
    EXPECT_EQ(property(0, "label").toString(), QStringLiteral("Home\n  → Office__5"));
    EXPECT_EQ(model.clicked(idAt(0))->title, "Home");
}

TEST_F(MenuModel, SubmenuHasItsChildrenAndOpens)
{
    MenuItem all = row("all", "All Addresses");
    all.children = {row("eth0", "eth0: 10.0.0.1"), row("eth1", "eth1: 10.0.0.2")};
    show({all});
    EXPECT_EQ(property(0, "children-display"), "submenu");
    ASSERT_EQ(model.children(idAt(0)).size(), 2);
    EXPECT_EQ(model.clicked(model.children(idAt(0)).at(1))->title, "eth1: 10.0.0.2");
}

TEST_F(MenuModel, EqualIdentitiesAreDifferentRows)
{
    MenuItem all = row("copy:10.0.0.1", "All");
    all.children = {row("copy:10.0.0.1", "eth0: 10.0.0.1")};
    show({all, row("copy:10.0.0.1", "10.0.0.1")});
    const QList<int> ids = model.ids();
    EXPECT_EQ(QSet<int>(ids.begin(), ids.end()).size(), 4);
}

TEST_F(MenuModel, ClickOnARowThatLeftActsOnWhatWasSeen)
{
    show({row("address:10.0.0.1", "10.0.0.1")});
    const int seen = idAt(0);
    show({row("address:10.0.0.2", "10.0.0.2")});
    EXPECT_NE(idAt(0), seen);
    EXPECT_EQ(model.clicked(seen)->title, "10.0.0.1");
    EXPECT_FALSE(model.contains(seen));
}

TEST_F(MenuModel, ReturningRowHasItsOldId)
{
    show({row("address:10.0.0.1", "10.0.0.1")});
    const int seen = idAt(0);
    show({});
    show({row("address:10.0.0.1", "10.0.0.1")});
    EXPECT_EQ(idAt(0), seen);
}

TEST_F(MenuModel, RowsThatLeftLongAgoAreForgotten)
{
    show({row("first", "first")});
    const int first = idAt(0);
    for (int i = 0; i <= DBusMenuModel::retiredLimit; ++i)
        show({row(QString::number(i), "later")});
    EXPECT_FALSE(model.knows(first));
    EXPECT_TRUE(model.knows(idAt(0)));
}

TEST_F(MenuModel, RebuildTakesOverTheNewAction)
{
    QString acted;
    MenuItem item = row("a", "One");
    item.action = [&](const MenuItem &) { acted = "old"; };
    show({item});
    item.action = [&](const MenuItem &) { acted = "new"; };
    EXPECT_TRUE(show({item}).isEmpty());
    const MenuItem clicked = model.clicked(idAt(0)).value();
    clicked.action(clicked);
    EXPECT_EQ(acted, "new");
}

TEST_F(MenuModel, OnlyNamedPropertiesAreGiven)
{
    show({row("a", "One")});
    EXPECT_EQ(model.properties(idAt(0), {"label", "icon-name"}).keys(), QStringList{"label"});
    EXPECT_TRUE(model.properties(4711).isEmpty());
}

} // namespace
