#include "engine/HotKey.h"

#include "common/TextCodec.h"

#include <QStringList>

#include <utility>

namespace pv {

namespace {

// X11 core modifier bits (X.h), spelled out so that this file stays free of X headers.
constexpr unsigned int XShiftMask = 1 << 0;
constexpr unsigned int XControlMask = 1 << 2;
constexpr unsigned int XMod1Mask = 1 << 3; // Alt on every common keymap
constexpr unsigned int XMod4Mask = 1 << 6; // Super, the Windows key

constexpr int KnownModifiers = HotKey::Alt | HotKey::Ctrl | HotKey::Shift | HotKey::Win;

// Virtual-key code -> keysym (keysymdef.h) for the keys that do not follow a range.
constexpr std::pair<int, unsigned long> SingleKeys[] = {
    {0x08, 0xff08}, // VK_BACK -> BackSpace
    {0x09, 0xff09}, // VK_TAB -> Tab
    {0x0D, 0xff0d}, // VK_RETURN -> Return
    {0x13, 0xff13}, // VK_PAUSE -> Pause
    {0x1B, 0xff1b}, // VK_ESCAPE -> Escape
    {0x20, 0x0020}, // VK_SPACE -> space
    {0x21, 0xff55}, // VK_PRIOR -> Prior (Page Up)
    {0x22, 0xff56}, // VK_NEXT -> Next (Page Down)
    {0x23, 0xff57}, // VK_END -> End
    {0x24, 0xff50}, // VK_HOME -> Home
    {0x25, 0xff51}, // VK_LEFT -> Left
    {0x26, 0xff52}, // VK_UP -> Up
    {0x27, 0xff53}, // VK_RIGHT -> Right
    {0x28, 0xff54}, // VK_DOWN -> Down
    {0x2C, 0xff61}, // VK_SNAPSHOT -> Print
    {0x2D, 0xff63}, // VK_INSERT -> Insert
    {0x2E, 0xffff}, // VK_DELETE -> Delete
    {0x5D, 0xff67}, // VK_APPS -> Menu
    {0x6A, 0xffaa}, // VK_MULTIPLY -> KP_Multiply
    {0x6B, 0xffab}, // VK_ADD -> KP_Add
    {0x6D, 0xffad}, // VK_SUBTRACT -> KP_Subtract
    {0x6E, 0xffae}, // VK_DECIMAL -> KP_Decimal
    {0x6F, 0xffaf}, // VK_DIVIDE -> KP_Divide
    {0xBA, 0x003b}, // VK_OEM_1 -> semicolon
    {0xBB, 0x003d}, // VK_OEM_PLUS -> equal
    {0xBC, 0x002c}, // VK_OEM_COMMA -> comma
    {0xBD, 0x002d}, // VK_OEM_MINUS -> minus
    {0xBE, 0x002e}, // VK_OEM_PERIOD -> period
    {0xBF, 0x002f}, // VK_OEM_2 -> slash
    {0xC0, 0x0060}, // VK_OEM_3 -> grave
    {0xDB, 0x005b}, // VK_OEM_4 -> bracketleft
    {0xDC, 0x005c}, // VK_OEM_5 -> backslash
    {0xDD, 0x005d}, // VK_OEM_6 -> bracketright
    {0xDE, 0x0027}, // VK_OEM_7 -> apostrophe
};

std::optional<unsigned long> keysymFor(int vk)
{
    if (vk >= 'A' && vk <= 'Z') {
        return 0x61ul + (vk - 'A'); // XK_a..XK_z: a grab is by key, and lower case is the unshifted level
    }
    if (vk >= '0' && vk <= '9') {
        return 0x30ul + (vk - '0'); // XK_0..XK_9
    }
    if (vk >= 0x60 && vk <= 0x69) {
        return 0xffb0ul + (vk - 0x60); // XK_KP_0..XK_KP_9
    }
    if (vk >= 0x70 && vk <= 0x87) {
        return 0xffbeul + (vk - 0x70); // XK_F1..XK_F24, contiguous
    }
    for (const auto& [code, keysym] : SingleKeys) {
        if (code == vk) {
            return keysym;
        }
    }
    return std::nullopt;
}

std::optional<int> decimalField(const QString& field)
{
    bool ok = false;
    const int n = field.trimmed().toInt(&ok, 10);
    return ok ? std::optional<int>(n) : std::nullopt;
}

} // namespace

std::optional<HotKey> parseHotKeyText(const QString& text)
{
    const QStringList fields = text.split(QLatin1Char(','));
    if (fields.size() < 2) {
        return std::nullopt;
    }
    const auto modifiers = decimalField(fields[0]);
    const auto virtualKey = decimalField(fields[1]);
    if (!modifiers || !virtualKey) {
        return std::nullopt;
    }
    return HotKey {*modifiers, *virtualKey};
}

QString hotKeyText(const HotKey& chord)
{
    return QString::number(chord.modifiers) + QLatin1Char(',') + QString::number(chord.virtualKey);
}

std::optional<X11KeyChord> toX11(const HotKey& chord)
{
    if (chord.modifiers & ~KnownModifiers) {
        return std::nullopt;
    }
    const auto keysym = keysymFor(chord.virtualKey);
    if (!keysym) {
        return std::nullopt;
    }
    unsigned int mods = 0;
    if (chord.modifiers & HotKey::Shift) {
        mods |= XShiftMask;
    }
    if (chord.modifiers & HotKey::Ctrl) {
        mods |= XControlMask;
    }
    if (chord.modifiers & HotKey::Alt) {
        mods |= XMod1Mask;
    }
    if (chord.modifiers & HotKey::Win) {
        mods |= XMod4Mask;
    }
    return X11KeyChord {mods, *keysym};
}

QString hotKeyDisplayText(const HotKey& chord)
{
    constexpr int VkShift = 16, VkControl = 17, VkMenu = 18;
    const int vk = chord.virtualKey;
    if (!(chord.modifiers & KnownModifiers) || vk <= 0 || vk > 0xFF || vk == VkShift || vk == VkControl
        || vk == VkMenu) {
        return {};
    }
    // The box's order: Ctrl, Shift, Alt.
    QString text;
    if (chord.modifiers & HotKey::Ctrl) {
        text += QLatin1String("Ctrl + ");
    }
    if (chord.modifiers & HotKey::Shift) {
        text += QLatin1String("Shift + ");
    }
    if (chord.modifiers & HotKey::Alt) {
        text += QLatin1String("Alt + ");
    }
    if (chord.modifiers & HotKey::Win) {
        text += QLatin1String("Win + ");
    }
    if (vk >= 0x70 && vk <= 0x7B) {
        text += QLatin1Char('F') + QString::number(vk - 0x6F);
    } else {
        text += decodeWindows1252(QByteArray(1, static_cast<char>(vk)));
    }
    return text;
}

} // namespace pv
