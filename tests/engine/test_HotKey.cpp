#include "TestFiles.h"

#include "engine/HotKey.h"
#include "engine/RaccourciPortail.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

using pv::HotKey;

namespace {

// Readable failures: gtest would print a HotKey as raw bytes.
std::string str(const std::optional<HotKey>& k)
{
    return k ? pv::hotKeyText(*k).toStdString() : "none";
}

TEST(HotKey, ParsesMaskAndCode)
{
    const std::pair<const char*, const char*> cases[] = {
        {"3,77", "3,77"}, // the default, Ctrl+Alt+M
        {" 7 , 75 ", "7,75"},
        {"3,77,1", "3,77"}, // only the first two fields count
        {"0,0", "0,0"},
        {"3", "none"},
        {"3,b", "none"},
        {",77", "none"},
        {"3.5,77", "none"},
        {"0x3,77", "none"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(str(pv::parseHotKeyText(QString::fromLatin1(text))), expected) << text;
    }
}

// X11 modifier bits: Shift 1, Control 4, Mod1 (Alt) 8, Mod4 (Super) 64.
TEST(HotKey, MapsToX11)
{
    const std::pair<HotKey, std::optional<pv::X11KeyChord>> cases[] = {
        {{1, 'M'}, pv::X11KeyChord {8, 0x6d}},
        {{2, 'A'}, pv::X11KeyChord {4, 0x61}},
        {{4, 'Z'}, pv::X11KeyChord {1, 0x7a}},
        {{8, '0'}, pv::X11KeyChord {64, 0x30}},
        {{15, '9'}, pv::X11KeyChord {77, 0x39}},
        {{6, 0x70}, pv::X11KeyChord {5, 0xffbe}}, // F1
        {{6, 0x7B}, pv::X11KeyChord {5, 0xffc9}}, // F12
        {{6, 0x87}, pv::X11KeyChord {5, 0xffd5}}, // F24
        {{2, 0x60}, pv::X11KeyChord {4, 0xffb0}}, // keypad 0
        {{2, 0x2E}, pv::X11KeyChord {4, 0xffff}}, // Delete
        {{2, 0xBA}, pv::X11KeyChord {4, 0x3b}},   // ; on a US layout
        {{16, 'M'}, std::nullopt},                // no modifier's bit
        {{3, 0x88}, std::nullopt},                // past F24
        {{3, 0x10}, std::nullopt},                // Shift alone
        {{3, 0x14D}, std::nullopt},               // 'M' + 256 must not wrap onto M
    };
    for (const auto& [chord, expected] : cases) {
        EXPECT_EQ(pv::toX11(chord), expected) << str(chord);
    }
}

TEST(HotKey, DisplaysAsTyped)
{
    const std::pair<HotKey, const char16_t*> cases[] = {
        {{7, 'K'}, u"Ctrl + Shift + Alt + K"}, // the box's order, whatever the bits
        {{1, 0x7B}, u"Alt + F12"},
        {{2, 0x7C}, u"Ctrl + |"},      // F13 is past the box's range: its code's character
        {{2, 0x80}, u"Ctrl + \u20AC"}, // Windows-1252, not Latin-1
        {{9, 'D'}, u"Alt + Win + D"},
        {{0, 'M'}, u""}, // no modifier
        {{3, 0}, u""},   // no key
        {{2, 17}, u""},  // a modifier alone
    };
    for (const auto& [chord, expected] : cases) {
        EXPECT_EQ(pv::hotKeyDisplayText(chord).toStdString(), QString::fromUtf16(expected).toStdString()) << str(chord);
    }
}

} // namespace

namespace {

// The chord as the global-shortcuts portal takes it: modifiers in capitals, then the key's xkb name.
TEST(HotKey, PortalTriggerNamesTheChord)
{
    const std::pair<HotKey, const char*> cases[] = {
        {{3, 'M'}, "CTRL+ALT+m"},
        {{4, 116}, "SHIFT+F5"},
        {{7, 'K'}, "CTRL+SHIFT+ALT+k"},
        {{9, '1'}, "ALT+LOGO+1"},
        {{2, 186}, ""}, // a punctuation key is named by the layout: the desktop asks the user instead
        {{2, 124}, ""}, // F13
    };
    for (const auto& [chord, trigger] : cases) {
        EXPECT_EQ(pv::RaccourciPortail::declencheur(chord), trigger) << pv::hotKeyText(chord).toStdString();
    }
}

// What a real portal checks first: the D-Bus signatures, and what the shortcut carries.
TEST(HotKey, PortalRequestsCarryTheShortcut)
{
    EXPECT_EQ(pv::test::dbusSignature(pv::RaccourciPortail::messageCreerSession("pilvanor7")), "a{sv}");
    const QDBusMessage bind = pv::RaccourciPortail::messageLierRaccourcis(
        QDBusObjectPath("/org/freedesktop/portal/desktop/session/1_9/pilvanor7"), {3, 'M'}, "Bring it forward");
    EXPECT_EQ(bind.member(), "BindShortcuts");
    EXPECT_EQ(pv::test::dbusSignature(bind), "oa(sa{sv})sa{sv}");
}

} // namespace
