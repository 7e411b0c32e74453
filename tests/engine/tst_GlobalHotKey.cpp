// Under xvfb-run with -platform xcb: xdotool presses the keys, a second X connection plays another program.

#include "FormFixture.h"

#include "engine/GlobalHotKey.h"
#include "settings/frmPreference.h"

#include <QComboBox>
#include <QLineEdit>
#include <QProcess>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

// Xlib's macros clash with Qt names: after every Qt header.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

using namespace pv;

namespace {

const HotKey CtrlAltM {HotKey::Ctrl | HotKey::Alt, 'M'};
constexpr unsigned int XCtrlAlt = ControlMask | Mod1Mask;
constexpr unsigned int NumLock = Mod2Mask; // on the X server's default keymap

int g_otherErrors = 0;

} // namespace

class TestGlobalHotKey : public QObject
{
    Q_OBJECT

    QString m_xdotool;
    Display* m_other = nullptr; // another program's connection
    KeyCode m_keyM = 0;
    QTemporaryDir m_wmHome;
    QProcess m_windowManager;

    void press(const QString& keys) { QCOMPARE(QProcess::execute(m_xdotool, ("key " + keys).split(' ')), 0); }

    // Ctrl+Alt+M plus the given lock bits, on the other connection; false when someone else holds it.
    bool otherGrabs(unsigned int locks)
    {
        XSync(m_other, False);
        g_otherErrors = 0;
        const XErrorHandler previous = XSetErrorHandler([](Display*, XErrorEvent*) { return ++g_otherErrors, 0; });
        XGrabKey(m_other, m_keyM, XCtrlAlt | locks, DefaultRootWindow(m_other), False, GrabModeAsync, GrabModeAsync);
        XSync(m_other, False);
        XSetErrorHandler(previous);
        return g_otherErrors == 0;
    }

    void otherReleasesAll()
    {
        XUngrabKey(m_other, m_keyM, AnyModifier, DefaultRootWindow(m_other));
        XSync(m_other, False); // the chord must be free for our own connection at once
    }

    int mapState(WId window)
    {
        XWindowAttributes attributes {};
        XGetWindowAttributes(m_other, static_cast<Window>(window), &attributes);
        return attributes.map_state;
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_xdotool = QStandardPaths::findExecutable("xdotool");
        if (m_xdotool.isEmpty()) {
            QSKIP("xdotool is not installed: no key can be pressed, so nothing about the hot key was tested");
        }
        m_other = XOpenDisplay(nullptr);
        QVERIFY2(m_other && QGuiApplication::platformName() == "xcb", "run under xvfb-run with -platform xcb");
        m_keyM = XKeysymToKeycode(m_other, XK_m);
        const QString openbox = QStandardPaths::findExecutable("openbox");
        if (openbox.isEmpty()) {
            return;
        }
        // openbox makes minimising real. A home of its own, so that it reads and writes nothing of the user's.
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"}) {
            env.insert(name, m_wmHome.path());
        }
        m_windowManager.setProcessEnvironment(env);
        // It loses map requests made while it starts up: wait until it runs its start-up command.
        m_windowManager.start(openbox, {"--sm-disable", "--startup", "touch " + m_wmHome.filePath("up")});
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(m_wmHome.filePath("up")), 10000);
    }

    void cleanupTestCase()
    {
        m_windowManager.terminate();
        m_windowManager.waitForFinished();
    }

    void hotKeyRestoresMinimisedWindow()
    {
        // Registered before the window shows, as at start-up.
        GlobalHotKey hotKey;
        QVERIFY(hotKey.registerHotKey(CtrlAltM));
        QLineEdit window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        connect(&hotKey, &GlobalHotKey::activated, &window, &QWidget::showNormal);
        connect(&hotKey, &GlobalHotKey::activated, &window, &QWidget::activateWindow);
        QSignalSpy activated(&hotKey, &GlobalHotKey::activated);

        window.showMinimized();
        if (m_windowManager.state() == QProcess::Running) {
            QTRY_COMPARE(mapState(window.winId()), IsUnmapped);
        }
        press("ctrl+alt+m");
        QTRY_COMPARE(mapState(window.winId()), IsViewable);
        QTRY_VERIFY(window.isActiveWindow());
        QCOMPARE(activated.count(), 1);

        // Focused, our window's own keys pass the filter too: only the exact chord counts, and typing works.
        press("m ctrl+m ctrl+alt+m x");
        QTRY_COMPARE(window.text(), "mx");
        QCoreApplication::sendPostedEvents(); // activations queued before the x arrived
        QCOMPARE(activated.count(), 2);
    }

    void unregisteredChordStaysSilent()
    {
        GlobalHotKey m, n;
        QVERIFY(m.registerHotKey(CtrlAltM));
        QVERIFY(n.registerHotKey({HotKey::Ctrl | HotKey::Alt, 'N'}));
        m.unregisterHotKey();
        QVERIFY(!m.isRegistered());
        QSignalSpy mActivated(&m, &GlobalHotKey::activated);
        QSignalSpy nActivated(&n, &GlobalHotKey::activated);

        // The server reports presses in order, so once N has come through, M would have too.
        press("ctrl+alt+m ctrl+alt+n");
        QTRY_COMPARE(nActivated.count(), 1);
        QCOMPARE(mActivated.count(), 0);
        // And the grab is gone: another program may take the chord now.
        QVERIFY(otherGrabs(0));
        otherReleasesAll();
    }

    void lockKeysDoNotMatter()
    {
        GlobalHotKey hotKey;
        QVERIFY(hotKey.registerHotKey(CtrlAltM));
        QSignalSpy activated(&hotKey, &GlobalHotKey::activated);

        // Num Lock alone, then with Caps Lock as well; both off again afterwards, whatever happens.
        const auto unlock = qScopeGuard([this] { QProcess::execute(m_xdotool, {"key", "Num_Lock", "Caps_Lock"}); });
        press("Num_Lock ctrl+alt+m Caps_Lock ctrl+alt+m");
        QTRY_COMPARE(activated.count(), 2);
        XkbStateRec state {};
        XkbGetState(m_other, XkbUseCoreKbd, &state);
        QCOMPARE(state.locked_mods, LockMask | NumLock); // or the presses proved nothing
    }

    void chordHeldByAnotherClientIsRefused()
    {
        // Held with Num Lock only, so some of our grabs succeed before one is refused: those must be let go.
        const auto release = qScopeGuard([this] { otherReleasesAll(); });
        QVERIFY(otherGrabs(NumLock));
        GlobalHotKey hotKey;
        QVERIFY(!hotKey.registerHotKey(CtrlAltM));
        QVERIFY(!hotKey.isRegistered());
        for (unsigned int locks : {0u, unsigned(LockMask), unsigned(LockMask) | NumLock}) {
            QVERIFY2(otherGrabs(locks), qPrintable(QString::number(locks)));
        }

        // Taken as soon as the other program lets it go.
        QSignalSpy activated(&hotKey, &GlobalHotKey::activated);
        otherReleasesAll();
        QTRY_VERIFY_WITH_TIMEOUT(hotKey.isRegistered(), 3 * GlobalHotKey::RetryInterval);
        press("ctrl+alt+m");
        QTRY_COMPARE(activated.count(), 1);
    }

    void preferencesBoxReadsTheRegisteredChord()
    {
        test::FormFixture fixture;
        fixture.reset();
        gChargerParametres();
        GlobalHotKey hotKey;
        QVERIFY(hotKey.registerHotKey(CtrlAltM));
        QSignalSpy activated(&hotKey, &GlobalHotKey::activated);
        frmPreference w(nullptr, &hotKey);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        w.activateWindow();
        QTRY_VERIFY(w.isActiveWindow());
        w.txtTouchesAccesRapide->clear();
        w.txtTouchesAccesRapide->setFocus();

        press("ctrl+alt+m");
        QTRY_COMPARE(w.txtTouchesAccesRapide->text(), "Ctrl + Alt + M");
        QVERIFY(w.preferences().touchesAccesRapide == CtrlAltM);
        QCOMPARE(activated.count(), 0);

        // Out of the box, the chord is the hot key again.
        w.cboLangue->setFocus();
        QVERIFY(hotKey.isRegistered());
        press("ctrl+alt+m");
        QTRY_COMPARE(activated.count(), 1);
    }
};

QTEST_MAIN(TestGlobalHotKey)

#include "tst_GlobalHotKey.moc"
