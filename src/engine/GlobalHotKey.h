#pragma once

#include "engine/HotKey.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <optional>

class QTimer;

namespace pv {

// The system-wide hot key that brings the main window forward, as a passive key grab on the X11 root window.
// Without X11 (Wayland, offscreen) there is simply no hot key: registering fails without a word.
class GlobalHotKey : public QObject, public QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    // The identifier the hot key has always been registered under; X11 grabs need none, it is kept for the record.
    static constexpr int Identifier = 49151;

    explicit GlobalHotKey(QObject* parent = nullptr);
    ~GlobalHotKey() override;

    // Replaces any earlier registration. False when there is no X11 display, the key has no keysym or is not
    // on the keyboard, or another client already holds the chord; nothing stays grabbed then. A chord held by
    // another client is tried again every RetryInterval ms until it is free, unregistered or replaced.
    bool registerHotKey(const HotKey& hotKey);
    void unregisterHotKey();
    bool isRegistered() const;

    // While suspended the chord is let go, so that a box reading keys can see it typed; resuming takes it back.
    void setSuspended(bool suspended);

    static constexpr int RetryInterval = 2000;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

Q_SIGNALS:
    void activated();

private:
    enum class Grab { Taken, HeldElsewhere, Impossible };
    Grab grab(const HotKey& hotKey);
    void ungrab();
    void retry();

    std::optional<HotKey> m_wanted; // what was registered, grabbed or not
    bool m_suspended = false;
    QTimer* m_retry;
    unsigned int m_keycode = 0;
    unsigned int m_modifiers = 0; // X11 modifier bits of the chord
    unsigned int m_lockMask = 0;  // Caps Lock and Num Lock bits, ignored when matching
    bool m_registered = false;
};

} // namespace pv
