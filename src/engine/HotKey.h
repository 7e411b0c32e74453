#pragma once

#include <QString>

#include <optional>

namespace pv {

// The global hot key as the setting "TouchesAccesRapide" stores it: a Windows hot-key modifier mask and a
// Windows virtual-key code.
struct HotKey
{
    enum Modifier { Alt = 1, Ctrl = 2, Shift = 4, Win = 8 };

    int modifiers = 0;
    int virtualKey = 0;

    friend bool operator==(const HotKey&, const HotKey&) = default;
};

// "mask,code", e.g. "3,77" for Ctrl+Alt+M. Fields beyond the second are ignored, as the split-and-index
// reading of the stored text always did; fewer than two fields or a field that is not a decimal integer
// gives nullopt, and the hot key then stays unregistered.
std::optional<HotKey> parseHotKeyText(const QString& text);
QString hotKeyText(const HotKey& chord);

// The same chord for XGrabKey: X11 modifier bits and a keysym.
struct X11KeyChord
{
    unsigned int modifiers = 0;
    unsigned long keysym = 0;

    friend bool operator==(const X11KeyChord&, const X11KeyChord&) = default;
};

// nullopt when the mask holds bits other than Alt, Ctrl, Shift and Win, or when the key has no keysym here.
// OEM punctuation keys are taken as on a US layout.
std::optional<X11KeyChord> toX11(const HotKey& chord);

// What the preferences' hot-key box shows for a stored chord, exactly as if it had been typed:
// "Ctrl + Shift + Alt + K", F1 to F12 as "F1".."F12", any other key as the Windows-1252 character of its
// code. The box never records Win; a hand-edited mask shows it after Alt. Empty when no modifier is held or
// no complete key is set (a stored "0,0").
QString hotKeyDisplayText(const HotKey& chord);

} // namespace pv
