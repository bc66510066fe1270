#include "platform/linux/desktop/AddressIcon.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <optional>
#include <set>

using namespace lanterna;

namespace
{

using Style = AddressIcon::Style;

/// Reads digits back from pixels by where strokes run, as an eye does, without knowing the drawn forms: seven places of a cell three columns wide.
struct ReadDigit {
    QString digit;
    QRgb colour = 0;
};

class DrawnAddress
{
public:
    explicit DrawnAddress(const QImage &image) : m_image(image) { read(); }

    /// The octets from left to right and top to bottom, each a run of digits of one colour.
    QStringList octets;
    std::set<QRgb> colours;

private:
    [[nodiscard]] bool ink(int x, int y) const { return qGray(m_image.pixel(x, y)) > 128 && qAlpha(m_image.pixel(x, y)) == 255; }
    [[nodiscard]] bool rowHasInk(int y) const
    {
        for (int x = 0; x < m_image.width(); ++x) {
            if (ink(x, y))
                return true;
        }
        return false;
    }
    void read()
    {
        for (int y = 0; y < m_image.height();) {
            if (!rowHasInk(y)) {
                ++y;
                continue;
            }
            int end = y;
            while (end < m_image.height() && rowHasInk(end))
                ++end;
            readLine(y, end - y);
            y = end;
        }
    }
    /// A line of digits: the pixel size is the height over five or seven rows, whichever is whole and lets the strokes be three columns wide.
    void readLine(int top, int height)
    {
        const int unit = height % 7 == 0 ? height / 7 : height / 5;
        QRgb colour = 0;
        QString octet;
        for (int x = 0; x < m_image.width();) {
            const std::optional<ReadDigit> digit = readCell(x, top, height, unit);
            if (!digit) {
                ++x;
                continue;
            }
            if (digit->colour != colour && !octet.isEmpty()) {
                octets.append(octet);
                octet.clear();
            }
            colour = digit->colour;
            colours.insert(colour);
            octet += digit->digit;
            x += 3 * unit;
        }
        octets.append(octet);
    }
    /// The digit whose cell begins in this column.
    [[nodiscard]] std::optional<ReadDigit> readCell(int x, int top, int height, int unit) const
    {
        if (x + 3 * unit > m_image.width())
            return std::nullopt;
        static const std::map<QString, QString> forms{{"1110111", "0"}, {"1011101", "2"}, {"1011011", "3"}, {"0111010", "4"}, {"1101011", "5"},
            {"1101111", "6"}, {"1010010", "7"}, {"1111111", "8"}, {"1111011", "9"}, {"1101001", "1"}};
        const auto at = [&](int column, int y) { return ink(x + column * unit + unit / 2, y) ? QStringLiteral("1") : QStringLiteral("0"); };
        const int upper = top + height * 3 / 10;
        const int lower = top + height * 7 / 10;
        // Top, upper left, upper right, middle, lower left, lower right, bottom.
        const QString strokes = QStringList{at(1, top + unit / 2), at(0, upper), at(2, upper), at(1, top + height / 2), at(0, lower), at(2, lower),
            at(1, top + height - 1)}
                                    .join(QString());
        const auto form = forms.find(strokes);
        const bool beginsHere = [&] {
            for (int y = top; y < top + height; ++y) {
                if (ink(x, y))
                    return true;
            }
            return false;
        }();
        if (form == forms.end() || !beginsHere)
            return std::nullopt;
        return ReadDigit{form->second, colourOf(x, top, height)};
    }
    [[nodiscard]] QRgb colourOf(int x, int top, int height) const
    {
        int y = top;
        while (y < top + height - 1 && !ink(x, y))
            ++y;
        return m_image.pixel(x, y);
    }

    QImage m_image;
};

class AddressAtSize : public testing::TestWithParam<int>
{
protected:
    QStringList octetsOf(const char *address, Style style = Style::fourOctets)
    {
        return DrawnAddress(AddressIcon::draw(address, GetParam(), style)).octets;
    }
};

TEST_P(AddressAtSize, FourOctetsCanBeReadBack)
{
    EXPECT_EQ(octetsOf("192.168.1.20"), (QStringList{"192", "168", "1", "20"}));
    EXPECT_EQ(octetsOf("10.0.0.5"), (QStringList{"10", "0", "0", "5"}));
    EXPECT_EQ(octetsOf("203.0.113.7"), (QStringList{"203", "0", "113", "7"}));
    EXPECT_EQ(octetsOf("248.235.246.239"), (QStringList{"248", "235", "246", "239"}));
}

TEST_P(AddressAtSize, LastOctetsCanBeReadBack)
{
    EXPECT_EQ(octetsOf("192.168.1.20", Style::lastOctets), (QStringList{"1", "20"}));
    EXPECT_EQ(octetsOf("10.23.145.236", Style::lastOctets), (QStringList{"145", "236"}));
}

INSTANTIATE_TEST_SUITE_P(AllSizes, AddressAtSize, testing::Values(22, 24, 32, 44, 48, 64));

QRgb plate(const QImage &image)
{
    return image.pixel(image.width() / 2, 0);
}

int inkCount(const QImage &image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += qGray(image.pixel(x, y)) > 128 ? 1 : 0;
    }
    return count;
}

/// Contrast of two colours as the Web Content Accessibility Guidelines define it, 1 to 21.
double contrast(QRgb left, QRgb right)
{
    const auto luminance = [](QRgb colour) {
        const auto linear = [](int value) {
            const double part = value / 255.0;
            return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(qRed(colour)) + 0.7152 * linear(qGreen(colour)) + 0.0722 * linear(qBlue(colour));
    };
    const auto [low, high] = std::minmax({luminance(left), luminance(right)});
    return (high + 0.05) / (low + 0.05);
}

TEST(AddressIcon, DigitsAreClearOfTheirPlateOnAnyPanel)
{
    const QImage image = AddressIcon::draw("192.168.1.20", 22, Style::fourOctets);
    const DrawnAddress drawn(image);
    EXPECT_EQ(qAlpha(plate(image)), 255);
    EXPECT_EQ(drawn.colours.size(), 2u);
    for (const QRgb colour : drawn.colours)
        EXPECT_GT(contrast(colour, plate(image)), 7.0);
}

TEST(AddressIcon, StrokesAreSharp)
{
    for (const int size : AddressIcon::sizes) {
        const QImage image = AddressIcon::draw("192.168.1.20", size, Style::fourOctets);
        std::set<QRgb> colours;
        for (int i = 0; i < size * size; ++i)
            colours.insert(image.pixel(i % size, i / size));
        EXPECT_LE(colours.size(), 4u) << size; // two texts, plate, cut corners: no blend between them
    }
}

TEST(AddressIcon, SixteenPixelsHoldTheLastOctets)
{
    EXPECT_EQ(DrawnAddress(AddressIcon::draw("192.168.145.236", 16, Style::fourOctets)).octets, (QStringList{"145", "236"}));
}

TEST(AddressIcon, CutAddressKeepsItsOctets)
{
    const QImage cut = AddressIcon::draw("192.168.100...", 48, Style::fourOctets);
    EXPECT_EQ(DrawnAddress(cut).octets.mid(0, 3), (QStringList{"192", "168", "100"}));
}

TEST(AddressIcon, WordsAreToldApart)
{
    std::set<QByteArray> pictures;
    for (const char *text : {"offline", "unavailable", "gathering...", "something else", ""}) {
        const SniPixmap pixmap = sniPixmap(AddressIcon::draw(text, 22, Style::fourOctets));
        pictures.insert(pixmap.pixels);
        EXPECT_GT(inkCount(AddressIcon::draw(text, 22, Style::fourOctets)), 0) << text;
    }
    EXPECT_EQ(pictures.size(), 4u); // the last two are both question marks
}

TEST(AddressIcon, OddTextsDrawSomethingAtEverySize)
{
    for (const char *text : {"999.1.1.1", "1.2.3.4.5", "....", "...", "1.2.3...", "fe80::1", "\u202e\n", "1e1.1.1.1", "-1.0.0.0"}) {
        for (const int size : {1, 3, 16, 22, 64})
            EXPECT_EQ(AddressIcon::draw(text, size, Style::fourOctets).width(), size);
    }
}

TEST(SniPixmap, BytesAreAlphaRedGreenBlueNotPremultiplied)
{
    QImage image(2, 1, QImage::Format_ARGB32);
    image.setPixel(0, 0, qRgba(1, 2, 3, 255));
    image.setPixel(1, 0, qRgba(200, 100, 50, 128));
    const SniPixmap pixmap = sniPixmap(image);
    EXPECT_EQ(pixmap.width, 2);
    EXPECT_EQ(pixmap.height, 1);
    EXPECT_EQ(pixmap.pixels.toHex(), "ff01020380c86432");
}

} // namespace
