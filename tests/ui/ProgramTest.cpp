#include "tests/ui/WindowFixture.h"

#include <QPalette>

using namespace lanterna;

namespace
{

class ProgramLook : public WindowFixture
{
protected:
    ProgramLook()
    {
        QObject::connect(&program, &Program::lookChanged, [this] { ++changes; });
    }
    ~ProgramLook() override { QGuiApplication::setPalette(QPalette()); }

    int changes = 0;
};

TEST_F(ProgramLook, FollowsTheToolkitsPaletteWhereTheDesktopSaysNothing)
{
    QGuiApplication::setPalette(QPalette(Qt::white));
    settle();
    EXPECT_FALSE(program.dark());
    changes = 0;
    QGuiApplication::setPalette(QPalette(QColor(0x20, 0x20, 0x20)));
    settle();
    EXPECT_TRUE(program.dark());
    EXPECT_EQ(changes, 1);
    QGuiApplication::setPalette(QPalette(Qt::white));
    settle();
    EXPECT_FALSE(program.dark());
    EXPECT_EQ(changes, 2);
}

TEST_F(ProgramLook, ThatTheDesktopNamedStandsWhateverThePalette)
{
    program.setLook({.palette = WindowLook::Palette::light});
    changes = 0;
    QGuiApplication::setPalette(QPalette(QColor(0x20, 0x20, 0x20)));
    settle();
    EXPECT_FALSE(program.dark());
    EXPECT_EQ(changes, 0);
}

} // namespace
