#include "platform/DataFolder.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

/// The two variables, as they were before at the end.
class DataFolder : public testing::Test
{
protected:
    ~DataFolder() override
    {
        set("XDG_DATA_HOME", m_data);
        set("HOME", m_home);
    }
    static void set(const char *name, const QByteArray &value)
    {
        if (value.isNull())
            qunsetenv(name);
        else
            qputenv(name, value);
    }

private:
    QByteArray m_data = qgetenv("XDG_DATA_HOME");
    QByteArray m_home = qgetenv("HOME");
};

} // namespace

TEST_F(DataFolder, IsInTheDataOfTheUser)
{
    set("HOME", "/home/ada");
    set("XDG_DATA_HOME", "/data");
    EXPECT_EQ(dataHome(), "/data");
    EXPECT_EQ(dataFolder(), "/data/lanterna");
}

TEST_F(DataFolder, UnsetOrRelativeVariableDoesNotCount)
{
    set("HOME", "/home/ada");
    for (const QByteArray &value : {QByteArray(), QByteArray(""), QByteArray("data"), QByteArray("../data")}) {
        set("XDG_DATA_HOME", value);
        EXPECT_EQ(dataFolder(), "/home/ada/.local/share/lanterna") << value.constData();
    }
}

TEST_F(DataFolder, WithoutAHomeThereIsNone)
{
    set("XDG_DATA_HOME", {});
    set("HOME", {});
    EXPECT_TRUE(dataHome().isEmpty());
    EXPECT_TRUE(dataFolder().isEmpty());
}
