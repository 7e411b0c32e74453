#include "engine/GlobalHotKey.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QTimer>

#include <vector>

// Xlib defines macros (None, KeyPress, Bool...) that clash with Qt names: keep it after every Qt header.
#include <X11/Xlib.h>
#include <X11/keysym.h>
#include <xcb/xcb.h>

namespace pv {

namespace {

// Shift, Lock, Control and Mod1 to Mod5. XKB puts the keyboard group and the pointer buttons above them.
constexpr unsigned int CoreModifierBits = 0xFF;

int g_grabErrors = 0;

int countGrabError(Display*, XErrorEvent*)
{
    ++g_grabErrors;
    return 0;
}

Display* x11Display()
{
    auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    if (!app || QGuiApplication::platformName() != QLatin1String("xcb")) {
        return nullptr;
    }
    const auto* x11 = app->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->display() : nullptr;
}

// Num Lock is usually Mod2, but the keymap decides.
unsigned int numLockMask(Display* dpy)
{
    const KeyCode numLock = XKeysymToKeycode(dpy, XK_Num_Lock);
    if (numLock == 0) {
        return 0;
    }
    XModifierKeymap* map = XGetModifierMapping(dpy);
    if (!map) {
        return 0;
    }
    unsigned int mask = 0;
    for (int mod = 0; mod < 8 && mask == 0; ++mod) {
        for (int k = 0; k < map->max_keypermod; ++k) {
            if (map->modifiermap[mod * map->max_keypermod + k] == numLock) {
                mask = 1u << mod;
                break;
            }
        }
    }
    XFreeModifiermap(map);
    return mask;
}

// Every combination of the lock bits, none included: a grab matches its modifiers exactly, so each lock state
// needs a grab of its own.
std::vector<unsigned int> lockVariants(unsigned int lockMask)
{
    std::vector<unsigned int> variants;
    for (unsigned int sub = lockMask;; sub = (sub - 1) & lockMask) {
        variants.push_back(sub);
        if (sub == 0) {
            break;
        }
    }
    return variants;
}

void ungrabAll(Display* dpy, unsigned int keycode, unsigned int modifiers, unsigned int lockMask)
{
    // Only this client's grabs are released; a combination held by another client is left alone.
    for (int screen = 0; screen < ScreenCount(dpy); ++screen) {
        for (unsigned int locks : lockVariants(lockMask)) {
            XUngrabKey(dpy, static_cast<int>(keycode), modifiers | locks, RootWindow(dpy, screen));
        }
    }
}

} // namespace

GlobalHotKey::GlobalHotKey(QObject* parent)
    : QObject(parent)
    , m_retry(new QTimer(this))
{
    m_retry->setInterval(RetryInterval);
    connect(m_retry, &QTimer::timeout, this, &GlobalHotKey::retry);
}

GlobalHotKey::~GlobalHotKey()
{
    unregisterHotKey();
}

bool GlobalHotKey::registerHotKey(const HotKey& hotKey)
{
    unregisterHotKey();
    m_wanted = hotKey;
    if (m_suspended) {
        return false;
    }
    retry();
    return m_registered;
}

void GlobalHotKey::unregisterHotKey()
{
    m_wanted.reset();
    m_retry->stop();
    ungrab();
}

void GlobalHotKey::setSuspended(bool suspended)
{
    if (suspended == m_suspended) {
        return;
    }
    m_suspended = suspended;
    if (suspended) {
        m_retry->stop();
        ungrab();
    } else if (m_wanted) {
        retry();
    }
}

void GlobalHotKey::retry()
{
    // No X event tells when another client lets a chord go, so a refused chord is simply asked for again.
    if (m_wanted && !m_registered && grab(*m_wanted) == Grab::HeldElsewhere) {
        m_retry->start();
    } else {
        m_retry->stop();
    }
}

GlobalHotKey::Grab GlobalHotKey::grab(const HotKey& hotKey)
{
    Display* dpy = x11Display();
    if (!dpy) {
        return Grab::Impossible;
    }
    const auto chord = toX11(hotKey);
    if (!chord) {
        return Grab::Impossible;
    }
    const KeyCode keycode = XKeysymToKeycode(dpy, chord->keysym);
    if (keycode == 0) {
        return Grab::Impossible;
    }
    const unsigned int lockMask = (LockMask | numLockMask(dpy)) & ~chord->modifiers;

    // A chord held by another client answers BadAccess, which only shows up as an Xlib error: catch the errors
    // of exactly these requests with a handler of our own, and keep them out of Qt's log.
    XSync(dpy, False);
    g_grabErrors = 0;
    const XErrorHandler previous = XSetErrorHandler(countGrabError);
    for (int screen = 0; screen < ScreenCount(dpy); ++screen) {
        for (unsigned int locks : lockVariants(lockMask)) {
            // owner_events False: the press is always reported on the root window, so it never reaches the
            // focused widget as well.
            XGrabKey(
                dpy, keycode, chord->modifiers | locks, RootWindow(dpy, screen), False, GrabModeAsync, GrabModeAsync);
        }
    }
    XSync(dpy, False);
    XSetErrorHandler(previous);

    if (g_grabErrors != 0) {
        ungrabAll(dpy, keycode, chord->modifiers, lockMask);
        XSync(dpy, False);
        return Grab::HeldElsewhere;
    }
    m_keycode = keycode;
    m_modifiers = chord->modifiers;
    m_lockMask = lockMask;
    m_registered = true;
    QCoreApplication::instance()->installNativeEventFilter(this);
    return Grab::Taken;
}

void GlobalHotKey::ungrab()
{
    if (!m_registered) {
        return;
    }
    m_registered = false;
    if (auto* app = QCoreApplication::instance()) {
        app->removeNativeEventFilter(this);
    }
    // Once the application is gone its display is closed, and the grabs with it.
    if (Display* dpy = x11Display()) {
        ungrabAll(dpy, m_keycode, m_modifiers, m_lockMask);
        // A round trip, not a flush: the server orders requests per client only, and the chord must be free
        // for another program as soon as this returns.
        XSync(dpy, False);
    }
}

bool GlobalHotKey::isRegistered() const
{
    return m_registered;
}

bool GlobalHotKey::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*)
{
    if (!m_registered || eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & ~0x80) != XCB_KEY_PRESS) {
        return false;
    }
    const auto* press = static_cast<const xcb_key_press_event_t*>(message);
    if (press->detail != m_keycode || (press->state & CoreModifierBits & ~m_lockMask) != m_modifiers) {
        return false;
    }
    // Queued: the receiver may show windows or register again, which is better not done from inside Qt's
    // dispatch of an X event.
    QMetaObject::invokeMethod(this, &GlobalHotKey::activated, Qt::QueuedConnection);
    // Not swallowed: Qt finds no window of its own for a press reported on the root window and drops it, but it
    // first takes the user time from it, which the window manager checks when the receiver activates a window.
    return false;
}

} // namespace pv
