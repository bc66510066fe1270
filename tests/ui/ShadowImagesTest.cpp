#include "ui/ShadowImages.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

TEST(ShadowImage, IsFullInsideAndFadesToNothingAtTheEdge)
{
    const QImage image = shadowImage(10, 6, Qt::black);
    ASSERT_EQ(image.size(), QSize(45, 45)); // two corners of 22 and one pixel between
    EXPECT_EQ(image.pixelColor(22, 22).alpha(), 255);
    EXPECT_NEAR(image.pixelColor(22, 6).alpha(), 128, 20); // the box's own edge
    EXPECT_LE(image.pixelColor(22, 0).alpha(), 2);
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    for (int y = 1; y <= 22; ++y)
        EXPECT_GE(image.pixelColor(22, y).alpha(), image.pixelColor(22, y - 1).alpha()) << y;
}

TEST(ShadowImage, IsTheSameOnAllSides)
{
    const QImage image = shadowImage(4, 8, QColor("#1a5fd6"));
    EXPECT_EQ(image, image.mirrored(true, true));
    EXPECT_EQ(image, image.transformed(QTransform().rotate(90)));
    EXPECT_EQ(image.pixelColor(image.rect().center()), QColor("#1a5fd6"));
}

TEST(ShadowImages, AddressTellsRadiusExtentAndColour)
{
    QSize size;
    const QImage image = ShadowImages().requestImage(QStringLiteral("10/6/ff0000"), &size, {});
    EXPECT_EQ(size, QSize(45, 45));
    EXPECT_EQ(image, shadowImage(10, 6, Qt::red));
}

TEST(ShadowImages, AnyOtherAddressGivesNoPicture)
{
    for (const char *id : {"", "10", "10/6", "10/0/000000", "-1/6/000000", "10/6/nocolour", "10/99999/000000", "99999/6/000000"})
        EXPECT_TRUE(ShadowImages().requestImage(QString::fromLatin1(id), nullptr, {}).isNull()) << id;
}

} // namespace
