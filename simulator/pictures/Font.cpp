#include "Font.h"

#include <algorithm>
#include <array>

namespace Simulator::Font {

namespace {

constexpr int first = ' ';
constexpr int box = 0x7f;
constexpr int charactersPerBand = 16;

/// The characters from the space to the box, drawn as they look, in six bands of sixteen.
constexpr std::array<const char *, 54> art{
    "        #    # #   # #    #   ##     #      #      #   #                                      # ",
    "        #    # #   # #   #### ##  # # #     #     #     #    # #    #                         # ",
    "        #    # #  ##### # #      #  # #    #     #       #    #     #                        #  ",
    "        #          # #   ###    #    #           #       #  ##### #####        ###          #   ",
    "        #         #####   # #  #    # # #        #       #    #     #                      #    ",
    "                   # #  ####  #  ## #  #          #     #    # #    #     #               #     ",
    "        #          # #    #      ##  ## #          #   #                  #           #   #     ",
    "                                                                         #                      ",
    "                                                                                                ",
    " ###    #    ###   ###     #  #####   ##  #####  ###   ###                  #       #      ###  ",
    "#   #  ##   #   # #   #   ##  #      #        # #   # #   #                #         #    #   # ",
    "#  ##   #       #     #  # #  ####  #        #  #   # #   #   #     #     #   #####   #       # ",
    "# # #   #     ##    ##  #  #      # ####    #    ###   ####              #             #     #  ",
    "##  #   #    #        # #####     # #   #  #    #   #     #               #   #####   #     #   ",
    "#   #   #   #     #   #    #  #   # #   #  #    #   #    #    #     #      #         #          ",
    " ###   ###  #####  ###     #   ###   ###   #     ###   ##           #       #       #       #   ",
    "                                                                   #                            ",
    "                                                                                                ",
    " ###   ###  ####   ###  ###   ##### #####  ###  #   #  ###    ### #   # #     #   # #   #  ###  ",
    "#   # #   # #   # #   # #  #  #     #     #   # #   #   #      #  #  #  #     ## ## ##  # #   # ",
    "# ### #   # #   # #     #   # #     #     #     #   #   #      #  # #   #     # # # ##  # #   # ",
    "# # # ##### ####  #     #   # ####  ####  # ### #####   #      #  ##    #     # # # # # # #   # ",
    "# ### #   # #   # #     #   # #     #     #   # #   #   #      #  # #   #     #   # #  ## #   # ",
    "#     #   # #   # #   # #  #  #     #     #   # #   #   #   #  #  #  #  #     #   # #  ## #   # ",
    " ###  #   # ####   ###  ###   ##### #      #### #   #  ###   ##   #   # ##### #   # #   #  ###  ",
    "                                                                                                ",
    "                                                                                                ",
    "####   ###  ####   #### ##### #   # #   # #   # #   # #   # #####  ###  #      ###    #         ",
    "#   # #   # #   # #       #   #   # #   # #   # #   # #   #     #  #    #        #   # #        ",
    "#   # #   # #   # #       #   #   # #   # #   #  # #   # #     #   #     #       #  #   #       ",
    "####  #   # ####   ###    #   #   # #   # # # #   #     #     #    #      #      #              ",
    "#     # # # # #       #   #   #   #  # #  # # #  # #    #    #     #       #     #              ",
    "#     #  #  #  #      #   #   #   #  # #  # # # #   #   #   #      #        #    #              ",
    "#      ## # #   # ####    #    ###    #    # #  #   #   #   #####  ###      #  ###              ",
    "                                                                                          ##### ",
    "                                                                                                ",
    " #          #               #         ##        #       #      #  #      ##                     ",
    "  #         #               #        #          #                 #       #                     ",
    "       ###  ####   ###   ####  ###  ####   #### ####   ##     ##  #  #    #   ## #  ####   ###  ",
    "          # #   # #   # #   # #   #  #    #   # #   #   #      #  # #     #   # # # #   # #   # ",
    "       #### #   # #     #   # #####  #    #   # #   #   #      #  ##      #   # # # #   # #   # ",
    "      #   # #   # #   # #   # #      #    #   # #   #   #      #  # #     #   # # # #   # #   # ",
    "       #### ####   ###   ####  ###   #     #### #   #  ###     #  #  #   ###  # # # #   #  ###  ",
    "                                              #             #  #                                ",
    "                                           ###               ##                                 ",
    "                         #                                           #    #    #          ##### ",
    "                         #                                          #     #     #         #   # ",
    "####   #### # ##   #### ####  #   # #   # #   # #   # #   # #####   #     #     #    #    #   # ",
    "#   # #   # ##  # #      #    #   # #   # #   #  # #  #   #    #   #      #      #  # # # #   # ",
    "#   # #   # #      ###   #    #   #  # #  # # #   #   #   #   #     #     #     #      #  #   # ",
    "#   # #   # #         #  #    #   #  # #  # # #  # #  #   #  #      #     #     #         #   # ",
    "####   #### #     ####    ##   ####   #    # #  #   #  #### #####    #    #    #          ##### ",
    "#         #                                               #                                     ",
    "#         #                                            ###                                      "};

/// Those of `furtherArt`, in its order.
const QString further = QStringLiteral("ßÆæØøŒœÐðÞþŁłđı°·–×±§£€²³«»"
                                       "№БГДЖЗИЛПУФЦЧШЩЪЫЬЭЮЯЄҐбвгджзиклмнптфцчшщъыьэюяє"
                                       "ґΔΘΛΞΣΨΩαβγδεζηθιλμξπρσςτυφχψω");

constexpr std::array<const char *, 63> furtherArt{
    " ##    ####        ###         ####       ###    # #  #     #     #      ##      #         ##   ",
    "#  #  # #         #  ##       # #         #  #    #   ####  #     #       #     ###       #  #  ",
    "#  #  # #   ## #  # # #  ###  # #    # #  #   #  # #  #   # ####  # #     ##     #   ##   #  #  ",
    "# #   #####   # # # # # #  ## # ### # # # ### #    #  #   # #   # ##     ##    ###    #    ##   ",
    "#  #  # #    #### # # # # # # # #   # ### #   #  #### ####  #   # #       #   #  #    #         ",
    "#  #  # #   # #   ##  # ##  # # #   # #   #  #  #   # #     #   # #       #   #  #    #         ",
    "# #   # ###  ####  ###   ###   ####  # ## ###    ###  #     ####  #####  ###   ###   ###        ",
    "                                                            #                                   ",
    "                                                            #                                   ",
    "                         ####   ##    ###  ##    ##               #  #  ##### #####   ##  # # # ",
    "            #   #   #   #      #  #  #       #     #    # # # #   ## ## #     #      # #  # # # ",
    "             # #    #    ###   #    ####    #     #    # #   # #  ## ## #     #      # #   ###  ",
    "  #   #####   #   ##### #   # ####   #     ###     #  # #     # # # ### ####  #      # #    #   ",
    "             # #    #    ###   #    ####         ##    # #   # #  # #   #   # #      # #   ###  ",
    "            #   #   #       #  #  #  #                  # # # #   #  ## #   # #     ##### # # # ",
    "                  ##### ####  # ##    ###                         #  ## ####  #     #   # # # # ",
    "                                                                                                ",
    "                                                                                                ",
    "####  #   #   ### ##### #   #   #   #  #  #   # # # # # # # ##    #   # #      ###  #  #   #### ",
    "    # #   #  #  # #   # #   #  ###  #  #  #   # # # # # # #  #    #   # #     #   # # # # #   # ",
    "    # #  ##  #  # #   # #   # # # # #  #  #   # # # # # # #  #    #   # #         # # # # #   # ",
    " ###  # # #  #  # #   #  #### # # # #  #   #### # # # # # #  ###  ### # ####    ### ### #  #### ",
    "    # ##  #  #  # #   #     # # # # #  #      # # # # # # #  #  # # # # #   #     # # # #   # # ",
    "    # #   #  #  # #   #     #  ###  #  #      # # # # # # #  #  # # # # #   # #   # # # #  #  # ",
    "####  #   # #   # #   #  ###    #   #####     # ##### #####  ###  ### # ####   ###  #  #  #   # ",
    "                                        #                 #                                     ",
    "                                                                                                ",
    " ###      #    ##                                                                           #   ",
    "#   # #####  ##                                                                             #   ",
    "#     #     #     ####  ####    ##  # # # ####  #   # #  #    ### #   # #   # ##### #####  ###  ",
    "###   #     ####  #   # #      # #   ###      # #  ## # #    #  # ## ## #   # #   #   #   # # # ",
    "#     #     #   # ####  #      # #    #    ###  # # # ##     #  # # # # ##### #   #   #   # # # ",
    "#   # #     #   # #   # #     #####  ###      # ##  # # #    #  # #   # #   # #   #   #   # # # ",
    " ###  #      ###  ####  #     #   # # # # ####  #   # #  #  #   # #   # #   # #   #   #    ###  ",
    "                                                                                            #   ",
    "                                                                                            #   ",
    "                                                                          #    ###    #   ##### ",
    "                                                                      #   #   #   #   #         ",
    "#  #  #   # # # # # # # ##    #   # #     ####  #  #   ####  #### #####  # #  #   #  # #        ",
    "#  #  #   # # # # # # #  #    #   # #         # # # # #   # #     #      # #  # # #  # #   ###  ",
    "#  #   #### # # # # # #  ###  ### # ####    ### ### #  #### ###   #     #   # #   # #   #       ",
    "#  #      # # # # # # #  #  # # # # #   #     # # # #   # # #     #     #   # #   # #   #       ",
    "#####     # ##### #####  ###  ### # ####  ####  #  #   #  #  #### #     #####  ###  #   # ##### ",
    "    #                 #                                                                         ",
    "                                                                                                ",
    "##### # # #  ###         ##          ###        #####        ##         ##          ####        ",
    "#     # # # #   #       #  #        #              #        #  #          #         #           ",
    " #    # # # #   #  ## # #  #  #   #  #     ####   #   ####  #  #   #      #   #   #  ###  ##### ",
    "  #    ###  #   # #  #  # ##  #   #  ###  #      #    #   # ####   #      #   #   # #      # #  ",
    " #      #    # #  #  #  #   #  # #  #   #  ##   #     #   # #  #   #     # #  #   # #      # #  ",
    "#       #    # #  #  #  #   #  # #  #   # #     #     #   # #  #   #  #  # #  ##  # #      # #  ",
    "#####   #   ## ##  ## # ####    #    ###   ####  ###  #   #  ##     ##  #   # # ###  ###  #  ## ",
    "                        #       #                   #     #                   #         #       ",
    "                        #       #                 ##      #                   #       ##        ",
    "                                                                                                ",
    "                                                                                                ",
    " ###   ####  #### ##### #   # # ##  ##  # # # #  # #                                            ",
    "#   # #  #  #       #   #   # # # #  # #  # # # #   #                                           ",
    "#   # #   # #       #   #   # # # #   #   # # # # # #                                           ",
    "#   # #   #  ###    #   #   # # # #   #   # # # # # #                                           ",
    "####   ###      #    ##  ###   ###   # #   ###   # #                                            ",
    "#             ##                #   #  ##   #                                                   ",
    "#                               #           #                                                   "};

/// Capital and small letters that look like others.
const QString looksLike = QStringLiteral("\u00b5\u03bc" // the micro sign
                                         "АAВBЕEКKМMНHОOРPСCТTХXІIЈJЅSаaеeоoрpсcуyхxіiјjѕs"
                                         "ΑAΒBΓГΕEΖZΗHΙIΚKΜMΝNΟOΠПΡPΤTΥYΦФΧXκкνvοo");

/// An accent: two rows of dots, the upper one first, above the letter or below the baseline.
struct Mark {
    ushort code;
    bool isBelow;
    const char *dots;
};
constexpr std::array<Mark, 13> marks{{{0x300, false, " #     #  "},
                                      {0x301, false, "   #   #  "},
                                      {0x302, false, "  #   # # "},
                                      {0x303, false, " ## ##  ##"},
                                      {0x304, false, " ###      "},
                                      {0x306, false, " # #  ### "},
                                      {0x307, false, "  #       "},
                                      {0x308, false, " # #      "},
                                      {0x30a, false, " ###  # # "},
                                      {0x30b, false, "  # # # # "},
                                      {0x30c, false, " # #   #  "},
                                      {0x327, true, "  #   #   "},
                                      {0x328, true, "   #    ##"}}};

/// A letter as it is drawn.
struct Glyph {
    const char *const *rows = nullptr; ///< Where its art begins; null for a character that the font does not have.
    int column = 0;
    bool isDotless = false; ///< Without what is above the small letters' height.
    const Mark *above = nullptr;
    const Mark *below = nullptr;

    bool hasDot(int x, int y) const
    {
        return y >= 0 && y < height && !(isDotless && y < markHeight) && rows[y][column + x] == '#';
    }
    int top() const
    {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                if (hasDot(x, y))
                    return y;
            }
        }
        return height;
    }
};

template <typename Art>
Glyph glyphAt(const Art &drawings, int index)
{
    Glyph glyph;
    glyph.rows = drawings.data() + index / charactersPerBand * height;
    glyph.column = index % charactersPerBand * advance;
    return glyph;
}

Glyph glyphOf(QChar character)
{
    if (character.unicode() >= first && character.unicode() < box)
        return glyphAt(art, character.unicode() - first);
    const int index = further.indexOf(character);
    if (index >= 0)
        return glyphAt(furtherArt, index);
    for (int i = 0; i < looksLike.size(); i += 2) {
        if (looksLike[i] == character)
            return glyphOf(looksLike[i + 1]);
    }
    // A letter and an accent; the letter may have one itself.
    const QString parts = character.decompositionTag() == QChar::Canonical ? character.decomposition() : QString();
    if (parts.size() != 2)
        return {};
    Glyph glyph = glyphOf(parts[0]);
    const auto mark =
        std::find_if(marks.cbegin(), marks.cend(), [&](const Mark &each) { return each.code == parts[1].unicode(); });
    if (mark == marks.cend() || (mark->isBelow ? glyph.below : glyph.above))
        return {};
    (mark->isBelow ? glyph.below : glyph.above) = &*mark;
    const bool hasItsOwnDot = parts[0] == QLatin1Char('i') || parts[0] == QLatin1Char('j') || parts[0] == QChar(0x456);
    glyph.isDotless = glyph.isDotless || (hasItsOwnDot && !mark->isBelow);
    return glyph;
}

} // namespace

QString drawable(const QString &text)
{
    QString result;
    const QString composed = text.normalized(QString::NormalizationForm_C);
    for (const QChar character : composed) {
        if (glyphOf(character).rows)
            result += character;
        else
            result += QStringLiteral("\\u%1").arg(int(character.unicode()), 4, 16, QLatin1Char('0'));
    }
    return result;
}

bool hasDot(QChar character, int x, int y)
{
    Glyph glyph = glyphOf(character);
    if (!glyph.rows)
        glyph = glyphAt(art, box - first);
    const auto marked = [x](const Mark *mark, int row) {
        return mark && row >= 0 && row < markHeight && mark->dots[row * width + x] == '#';
    };
    return glyph.hasDot(x, y) || (glyph.above && marked(glyph.above, y - glyph.top() + markHeight))
           || marked(glyph.below, y - capHeight);
}

} // namespace Simulator::Font
