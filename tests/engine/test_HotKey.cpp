#include "engine/HotKey.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>

namespace pv {
// Readable failures; internal linkage so that no other test's printers can clash.
[[maybe_unused]] static void PrintTo(const HotKey& s, std::ostream* os)
{
    *os << s.modifiers << ',' << s.virtualKey;
}
[[maybe_unused]] static void PrintTo(const X11KeyChord& c, std::ostream* os)
{
    *os << "modifiers " << c.modifiers << ", keysym 0x" << std::hex << c.keysym << std::dec;
}
} // namespace pv

using pv::HotKey;
using pv::X11KeyChord;

namespace {

struct ParseCase
{
    const char* text;
    std::optional<HotKey> expected;
};

const ParseCase ParseCases[] = {
    {"3,77", HotKey {3, 77}},     // the default, Ctrl+Alt+M
    {"6,112", HotKey {6, 112}},   // Ctrl+Shift+F1
    {"4,116", HotKey {4, 116}},   // Shift+F5
    {"0,0", HotKey {0, 0}},       // what an emptied hot-key box saves; parses, but maps to no key
    {" 7 , 75 ", HotKey {7, 75}}, // blanks around a number are tolerated
    {"3,77,1", HotKey {3, 77}},   // only the first two fields are read
    {"3,77,", HotKey {3, 77}},
    {"3", std::nullopt}, // fewer than two fields
    {"", std::nullopt},
    {"a,b", std::nullopt},
    {"3,b", std::nullopt},
    {",77", std::nullopt}, // an empty field is not a number
    {"3;77", std::nullopt},
    {"3.5,77", std::nullopt}, // integers only
    {"0x3,77", std::nullopt}, // decimal only
};

class ParseHotKeyText : public testing::TestWithParam<ParseCase>
{
};

TEST_P(ParseHotKeyText, ReadsModifiersAndKey)
{
    const ParseCase& c = GetParam();
    EXPECT_EQ(pv::parseHotKeyText(QString::fromLatin1(c.text)), c.expected) << c.text;
}

INSTANTIATE_TEST_SUITE_P(Table, ParseHotKeyText, testing::ValuesIn(ParseCases));

TEST(HotKeyText, RoundTripsThroughParse)
{
    const HotKey chords[] = {{3, 77}, {6, 112}, {7, 75}, {0, 0}, {8, 0x30}, {1, 0xDE}};
    for (const HotKey& chord : chords) {
        const QString text = pv::hotKeyText(chord);
        EXPECT_EQ(pv::parseHotKeyText(text), chord) << text.toStdString();
    }
    EXPECT_EQ(pv::hotKeyText({3, 77}).toStdString(), "3,77");
}

struct X11Case
{
    HotKey chord;
    std::optional<X11KeyChord> expected;
};

// X11 modifier bits: Shift 1, Control 4, Mod1 (Alt) 8, Mod4 (Super) 64.
const X11Case X11Cases[] = {
    // Modifiers, each alone and combined.
    {{1, 'M'}, X11KeyChord {8, 0x6d}},
    {{2, 'M'}, X11KeyChord {4, 0x6d}},
    {{4, 'M'}, X11KeyChord {1, 0x6d}},
    {{8, 'M'}, X11KeyChord {64, 0x6d}},
    {{3, 'M'}, X11KeyChord {12, 0x6d}},
    {{15, 'M'}, X11KeyChord {77, 0x6d}},
    {{0, 'M'}, X11KeyChord {0, 0x6d}}, // a bare key is a valid grab, as a bare key is a valid hot key
    {{16, 'M'}, std::nullopt},         // a mask bit no modifier stands for
    {{-1, 'M'}, std::nullopt},
    // Letters and digits: every one in the loop below. A lower-case code is no letter.
    {{3, 'a'}, X11KeyChord {12, 0xffb1}}, // 0x61 is VK_NUMPAD1
    // Function keys F1..F12 and the ends of the range.
    {{6, 0x70}, X11KeyChord {5, 0xffbe}},
    {{6, 0x71}, X11KeyChord {5, 0xffbf}},
    {{6, 0x74}, X11KeyChord {5, 0xffc2}},
    {{6, 0x7B}, X11KeyChord {5, 0xffc9}},
    {{6, 0x87}, X11KeyChord {5, 0xffd5}}, // F24
    {{6, 0x88}, std::nullopt},            // past F24
    // Numeric keypad.
    {{2, 0x60}, X11KeyChord {4, 0xffb0}},
    {{2, 0x69}, X11KeyChord {4, 0xffb9}},
    // Named keys.
    {{2, 0x20}, X11KeyChord {4, 0x0020}}, // Space
    {{2, 0x0D}, X11KeyChord {4, 0xff0d}}, // Enter
    {{2, 0x1B}, X11KeyChord {4, 0xff1b}}, // Escape
    {{2, 0x08}, X11KeyChord {4, 0xff08}}, // Backspace
    {{2, 0x21}, X11KeyChord {4, 0xff55}}, // Page Up
    {{2, 0x22}, X11KeyChord {4, 0xff56}}, // Page Down
    {{2, 0x25}, X11KeyChord {4, 0xff51}}, // Left
    {{2, 0x28}, X11KeyChord {4, 0xff54}}, // Down
    {{2, 0x2E}, X11KeyChord {4, 0xffff}}, // Delete
    {{2, 0x13}, X11KeyChord {4, 0xff13}}, // Pause
    // US punctuation.
    {{2, 0xBA}, X11KeyChord {4, 0x3b}}, // ;
    {{2, 0xC0}, X11KeyChord {4, 0x60}}, // `
    {{2, 0xDB}, X11KeyChord {4, 0x5b}}, // [
    {{2, 0xDE}, X11KeyChord {4, 0x27}}, // '
    // Codes without a key here.
    {{3, 0}, std::nullopt},
    {{3, 0x10}, std::nullopt}, // VK_SHIFT: a modifier is not a hot key
    {{3, 0x07}, std::nullopt}, // reserved
    {{3, 0xC1}, std::nullopt}, // between the two punctuation ranges
    {{3, 0xFF}, std::nullopt},
    {{3, 0x14D}, std::nullopt}, // 'M' plus 256 must not wrap onto M
};

class HotKeyToX11 : public testing::TestWithParam<X11Case>
{
};

TEST_P(HotKeyToX11, MapsModifiersAndKeysym)
{
    const X11Case& c = GetParam();
    EXPECT_EQ(pv::toX11(c.chord), c.expected)
        << "modifiers " << c.chord.modifiers << ", virtual key 0x" << std::hex << c.chord.virtualKey;
}

INSTANTIATE_TEST_SUITE_P(Table, HotKeyToX11, testing::ValuesIn(X11Cases));

// Letters are grabbed by their unshifted keysym.
TEST(HotKeyToX11, EveryLetterAndDigitMapsToItsOwnKeysym)
{
    for (int vk = 'A'; vk <= 'Z'; ++vk) {
        const auto chord = pv::toX11({2, vk});
        ASSERT_TRUE(chord.has_value()) << char(vk);
        EXPECT_EQ(chord->keysym, static_cast<unsigned long>(vk - 'A' + 'a')) << char(vk);
    }
    for (int vk = '0'; vk <= '9'; ++vk) {
        const auto chord = pv::toX11({2, vk});
        ASSERT_TRUE(chord.has_value()) << char(vk);
        EXPECT_EQ(chord->keysym, static_cast<unsigned long>(vk)) << char(vk);
    }
}

struct DisplayCase
{
    HotKey chord;
    const char16_t* expected;
};

const DisplayCase DisplayCases[] = {
    {{3, 'M'}, u"Ctrl + Alt + M"},
    {{4, 0x74}, u"Shift + F5"},
    {{7, 'K'}, u"Ctrl + Shift + Alt + K"}, // the box's order, whatever the bits
    {{6, 0x70}, u"Ctrl + Shift + F1"},
    {{1, 0x7B}, u"Alt + F12"},
    {{2, 0x7C}, u"Ctrl + |"}, // F13 is past the box's F-key range: it shows its code's character
    {{2, '5'}, u"Ctrl + 5"},
    {{2, 0xBA}, u"Ctrl + \u00BA"}, // punctuation keys show the character of their code, as typed
    {{2, 0x80}, u"Ctrl + \u20AC"}, // Windows-1252, not Latin-1
    {{9, 'D'}, u"Alt + Win + D"},
    {{0, 'M'}, u""}, // no modifier: the box keeps nothing
    {{0, 0}, u""},
    {{3, 0}, u""},
    {{2, 17}, u""},   // a modifier alone is not complete
    {{16, 'M'}, u""}, // only unknown mask bits
};

class HotKeyDisplayText : public testing::TestWithParam<DisplayCase>
{
};

TEST_P(HotKeyDisplayText, ReadsAsTyped)
{
    const DisplayCase& c = GetParam();
    EXPECT_EQ(pv::hotKeyDisplayText(c.chord).toStdString(), QString::fromUtf16(c.expected).toStdString())
        << pv::hotKeyText(c.chord).toStdString();
}

INSTANTIATE_TEST_SUITE_P(Table, HotKeyDisplayText, testing::ValuesIn(DisplayCases));

} // namespace
