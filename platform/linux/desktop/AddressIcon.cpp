#include "platform/linux/desktop/AddressIcon.h"

#include <QPainter>
#include <QStringList>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace lanterna
{

namespace
{

constexpr int glyphWidth = 3;
constexpr int shortGlyph = 5; ///< rows as drawn below
constexpr int tallGlyph = 7; ///< with the second and the fourth row doubled

struct Glyph {
    char character;
    std::array<const char *, shortGlyph> rows;
};

constexpr Glyph glyphs[] = {
    {'0', {"###", "# #", "# #", "# #", "###"}},
    {'1', {" # ", "## ", " # ", " # ", "###"}},
    {'2', {"###", "  #", "###", "#  ", "###"}},
    {'3', {"###", "  #", "###", "  #", "###"}},
    {'4', {"# #", "# #", "###", "  #", "  #"}},
    {'5', {"###", "#  ", "###", "  #", "###"}},
    {'6', {"###", "#  ", "###", "# #", "###"}},
    {'7', {"###", "  #", "  #", "  #", "  #"}},
    {'8', {"###", "# #", "###", "# #", "###"}},
    {'9', {"###", "# #", "###", "  #", "###"}},
    {'O', {"###", "# #", "# #", "# #", "###"}},
    {'F', {"###", "#  ", "## ", "#  ", "#  "}},
    {'L', {"#  ", "#  ", "#  ", "#  ", "###"}},
    {'I', {"###", " # ", " # ", " # ", "###"}},
    {'N', {"## ", "# #", "# #", "# #", "# #"}},
    {'E', {"###", "#  ", "## ", "#  ", "###"}},
    {'A', {" # ", "# #", "###", "# #", "# #"}},
    {'/', {"  #", "  #", " # ", "#  ", "#  "}},
    {'.', {"   ", "   ", "   ", "## ", "## "}},
    {'?', {"###", "  #", " ##", "   ", " # "}},
};

constexpr QRgb plateColour = 0xff20242c;
constexpr std::array<QRgb, 2> textColours{0xffffffff, 0xffffc94d}; ///< white and amber: both far from the plate, and from each other for most eyes

/// Words of one row, drawn with alternating colours from the first one given.
struct Row {
    QStringList words;
    std::size_t firstColour = 0;
};

int wordWidth(const QString &word)
{
    return static_cast<int>(word.size()) * (glyphWidth + 1) - 1;
}

/// Columns of a row; words that fit stand apart by `gap`.
int rowWidth(const Row &row, int gap)
{
    int width = gap * (static_cast<int>(row.words.size()) - 1);
    for (const QString &word : row.words)
        width += wordWidth(word);
    return width;
}

bool isOctet(const QString &text)
{
    bool number = false;
    return text.size() <= 3 && text.toUInt(&number) <= 255 && number;
}

QList<Row> rowsOfOctets(const QStringList &octets, AddressIcon::Style style)
{
    if (style == AddressIcon::Style::lastOctets)
        return {{{octets[2]}, 0}, {{octets[3]}, 1}};
    return {{{octets[0], octets[1]}, 0}, {{octets[2], octets[3]}, 0}};
}

/// What stands in the icon, row by row.
QList<Row> rowsFor(const QString &text, AddressIcon::Style style)
{
    QStringList octets = text.split(QLatin1Char('.'));
    if (octets.size() == 4 && std::all_of(octets.begin(), octets.end(), isOctet))
        return rowsOfOctets(octets, style);
    if (text == QLatin1String("offline"))
        return {{{QStringLiteral("OFF")}, 1}, {{QStringLiteral("LINE")}, 1}};
    if (text == QLatin1String("unavailable"))
        return {{{QStringLiteral("N/A")}, 1}};
    if (!text.endsWith(QLatin1String("...")))
        return {{{QStringLiteral("?")}, 1}};
    octets = text.chopped(3).split(QLatin1Char('.'));
    if (octets.size() != 3 || !std::all_of(octets.begin(), octets.end(), isOctet))
        return {{{QStringLiteral("...")}, 0}};
    octets.append(QStringLiteral("..")); // an address cut in its last octet
    return rowsOfOctets(octets, style);
}

/// How large the rows are drawn.
struct Layout {
    int scale = 1;
    int glyphHeight = shortGlyph;
    int rowGap = 1;
};

/// The largest digits that fit, or nothing.
std::optional<Layout> layoutFor(const QList<Row> &rows, int size)
{
    int columns = 0;
    for (const Row &row : rows)
        columns = std::max(columns, rowWidth(row, 0));
    std::optional<Layout> best;
    int bestArea = 0;
    for (const int glyphHeight : {shortGlyph, tallGlyph}) {
        const int lines = static_cast<int>(rows.size()) * (glyphHeight + 1) - 1;
        const int scale = std::min(size / columns, size / lines);
        const int area = scale * scale * glyphHeight;
        if (area <= bestArea)
            continue;
        bestArea = area;
        const int spare = size / scale - lines;
        best = Layout{scale, glyphHeight, rows.size() > 1 && spare >= 3 ? 2 : 1};
    }
    return best;
}

const Glyph &glyphFor(QChar character)
{
    const auto *found =
        std::find_if(std::begin(glyphs), std::end(glyphs), [&](const Glyph &glyph) { return character == QLatin1Char(glyph.character); });
    return found == std::end(glyphs) ? glyphs[std::size(glyphs) - 1] : *found;
}

/// The row of the short form that stands in this row of the drawn form.
int sourceRow(int row, int glyphHeight)
{
    static constexpr std::array<int, tallGlyph> tallRows{0, 1, 1, 2, 3, 3, 4};
    return glyphHeight == tallGlyph ? tallRows.at(static_cast<std::size_t>(row)) : row;
}

void drawWord(QPainter &painter, const QString &word, QPoint origin, const Layout &layout, QRgb colour)
{
    for (const QChar character : word) {
        const Glyph &glyph = glyphFor(character);
        for (int row = 0; row < layout.glyphHeight; ++row) {
            const char *cells = glyph.rows.at(static_cast<std::size_t>(sourceRow(row, layout.glyphHeight)));
            for (int column = 0; column < glyphWidth; ++column) {
                if (cells[column] == '#')
                    painter.fillRect(
                        origin.x() + column * layout.scale, origin.y() + row * layout.scale, layout.scale, layout.scale, QColor::fromRgba(colour));
            }
        }
        origin.rx() += (glyphWidth + 1) * layout.scale;
    }
}

void drawRow(QPainter &painter, const Row &row, int size, int top, const Layout &layout)
{
    // Octets stand two columns apart where there is room, and never more: they belong together.
    const int gap = std::clamp(size / layout.scale - rowWidth(row, 0), 0, 2);
    QPoint origin((size - rowWidth(row, gap) * layout.scale) / 2, top);
    std::size_t colour = row.firstColour;
    for (const QString &word : row.words) {
        drawWord(painter, word, origin, layout, textColours.at(colour++ % textColours.size()));
        origin.rx() += (wordWidth(word) + gap) * layout.scale;
    }
}

} // namespace

QImage AddressIcon::draw(const QString &text, int size, Style style)
{
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(plateColour);
    // Cut corners make it a plate; any more would cost the digits room.
    for (const QPoint corner : {QPoint(0, 0), QPoint(size - 1, 0), QPoint(0, size - 1), QPoint(size - 1, size - 1)})
        image.setPixel(corner, 0);
    QList<Row> rows = rowsFor(text, style);
    std::optional<Layout> layout = layoutFor(rows, size);
    if (!layout) {
        rows = rowsFor(text, Style::lastOctets);
        layout = layoutFor(rows, size).value_or(Layout());
    }
    const int lines = static_cast<int>(rows.size()) * (layout->glyphHeight + layout->rowGap) - layout->rowGap;
    int top = (size - lines * layout->scale) / 2;
    QPainter painter(&image);
    for (const Row &row : std::as_const(rows)) {
        drawRow(painter, row, size, top, *layout);
        top += (layout->glyphHeight + layout->rowGap) * layout->scale;
    }
    return image;
}

SniPixmap sniPixmap(const QImage &image)
{
    const QImage source = image.convertToFormat(QImage::Format_ARGB32);
    SniPixmap pixmap{source.width(), source.height(), {}};
    pixmap.pixels.reserve(qsizetype{4} * source.width() * source.height());
    for (int y = 0; y < source.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(source.constScanLine(y));
        for (int x = 0; x < source.width(); ++x) {
            for (const int value : {qAlpha(line[x]), qRed(line[x]), qGreen(line[x]), qBlue(line[x])})
                pixmap.pixels.append(static_cast<char>(value));
        }
    }
    return pixmap;
}

} // namespace lanterna
