// Runs against a real X server (xvfb-run ... -platform xcb): the keys are pressed with xdotool, and a second
// X connection plays the other program that may hold the same chord. openbox is started when it is
// installed, so that minimising and restoring go through a window manager as on a desktop; set
// PV_TEST_WITHOUT_WM=1 to run on the bare server instead.

#include "engine/GlobalHotKey.h"

#include <QApplication>
#include <QLineEdit>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QVBoxLayout>
#include <QWidget>
#include <QtTest>

#include <memory>

// Xlib's macros clash with Qt names: after every Qt header.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

using pv::GlobalHotKey;
using pv::HotKey;

namespace {

const HotKey CtrlAltM {HotKey::Ctrl | HotKey::Alt, 'M'};
const HotKey CtrlAltN {HotKey::Ctrl | HotKey::Alt, 'N'};
constexpr unsigned int XCtrlAlt = ControlMask | Mod1Mask;
constexpr unsigned int NumLockMask = Mod2Mask; // on the X server's default keymap

constexpr char RegisterProbe[] = "--probe-register";

int g_otherClientErrors = 0;

int countOtherClientError(Display*, XErrorEvent*)
{
    ++g_otherClientErrors;
    return 0;
}

// Another program on the same display, with a connection of its own.
class OtherClient
{
public:
    OtherClient()
        : m_dpy(XOpenDisplay(nullptr))
    {
    }
    ~OtherClient()
    {
        if (m_dpy) {
            XCloseDisplay(m_dpy);
        }
    }
    OtherClient(const OtherClient&) = delete;
    OtherClient& operator=(const OtherClient&) = delete;

    bool isOpen() const { return m_dpy != nullptr; }

    // False when the server refuses the grab, i.e. some other client holds exactly this combination.
    bool grab(KeySym keysym, unsigned int modifiers)
    {
        XSync(m_dpy, False);
        g_otherClientErrors = 0;
        const XErrorHandler previous = XSetErrorHandler(countOtherClientError);
        XGrabKey(m_dpy, XKeysymToKeycode(m_dpy, keysym), modifiers, root(), False, GrabModeAsync, GrabModeAsync);
        XSync(m_dpy, False);
        XSetErrorHandler(previous);
        return g_otherClientErrors == 0;
    }

    void ungrab(KeySym keysym, unsigned int modifiers)
    {
        XUngrabKey(m_dpy, XKeysymToKeycode(m_dpy, keysym), modifiers, root());
        XSync(m_dpy, False);
    }

    // The modifiers in effect now, locked ones included.
    unsigned int modifierState()
    {
        Window rootReturn, child;
        int rootX, rootY, x, y;
        unsigned int mask = 0;
        XQueryPointer(m_dpy, root(), &rootReturn, &child, &rootX, &rootY, &x, &y, &mask);
        return mask;
    }

    int mapState(WId window)
    {
        XWindowAttributes attributes {};
        if (!XGetWindowAttributes(m_dpy, static_cast<Window>(window), &attributes)) {
            return -1;
        }
        return attributes.map_state;
    }

    bool hasWindowManager()
    {
        const Atom check = XInternAtom(m_dpy, "_NET_SUPPORTING_WM_CHECK", False);
        Atom type = 0;
        int format = 0;
        unsigned long count = 0, after = 0;
        unsigned char* data = nullptr;
        const int status
            = XGetWindowProperty(m_dpy, root(), check, 0, 1, False, XA_WINDOW, &type, &format, &count, &after, &data);
        if (data) {
            XFree(data);
        }
        return status == Success && type == XA_WINDOW && count == 1;
    }

private:
    Window root() const { return DefaultRootWindow(m_dpy); }

    Display* m_dpy;
};

// The child's side of the tests that need a second program: registers Ctrl+Alt+M on the platform given with
// -platform and answers through its exit code, 1 registered, 0 refused.
int probeRegistration(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    GlobalHotKey hotKey;
    const bool registered = hotKey.registerHotKey(CtrlAltM);
    if (registered != hotKey.isRegistered()) {
        return 2;
    }
    return registered ? 1 : 0;
}

} // namespace

class TestGlobalHotKey : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void hotKeyRestoresMinimisedWindow();
    void unregisteredChordStaysSilent();
    void registeringAgainReplacesTheChord();
    void sameKeyWithOtherModifiersIsAnotherHotKey();
    void chordIsHeldInEveryLockState_data();
    void chordIsHeldInEveryLockState();
    void chordHeldByAnotherClientIsRefused_data();
    void chordHeldByAnotherClientIsRefused();
    void lockKeysDoNotMatter_data();
    void lockKeysDoNotMatter();
    void unmappedChordIsRefused();
    void noHotKeyWithoutX11();
    void secondProgramCannotTakeTheChord();

private:
    void press(const QStringList& keys);
    // Exit code of the child, or -1 when it did not end normally.
    int registerInOtherProgram(const QString& platform);

    QString m_xdotool;
    std::unique_ptr<OtherClient> m_other;
    QTemporaryDir m_wmHome;
    QProcess m_windowManager;
    bool m_withWindowManager = false;
};

void TestGlobalHotKey::initTestCase()
{
    QVERIFY2(QGuiApplication::platformName() == QLatin1String("xcb"),
             "needs an X server: run under xvfb-run with -platform xcb");
    m_xdotool = QStandardPaths::findExecutable(QStringLiteral("xdotool"));
    if (m_xdotool.isEmpty()) {
        QSKIP("xdotool is not installed: no key can be pressed, so nothing about the hot key was tested");
    }
    m_other = std::make_unique<OtherClient>();
    QVERIFY2(m_other->isOpen(), "cannot open a second connection to the X server");
    QCOMPARE(m_other->modifierState() & (LockMask | NumLockMask), 0u);

    const QString openbox = QStandardPaths::findExecutable(QStringLiteral("openbox"));
    if (!openbox.isEmpty() && qEnvironmentVariableIsEmpty("PV_TEST_WITHOUT_WM")) {
        // A home of its own, so that the window manager reads and writes nothing of the user's.
        QVERIFY(m_wmHome.isValid());
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), m_wmHome.path());
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_wmHome.filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_CACHE_HOME"), m_wmHome.filePath(QStringLiteral("cache")));
        env.insert(QStringLiteral("XDG_DATA_HOME"), m_wmHome.filePath(QStringLiteral("data")));
        m_windowManager.setProcessEnvironment(env);
        m_windowManager.setStandardOutputFile(QProcess::nullDevice());
        m_windowManager.setStandardErrorFile(QProcess::nullDevice());
        m_windowManager.start(openbox, {QStringLiteral("--sm-disable")});
        QVERIFY(m_windowManager.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(m_other->hasWindowManager(), 10000);
        m_withWindowManager = true;
    }
    qInfo("%s", m_withWindowManager ? "with openbox as window manager" : "without a window manager");
}

void TestGlobalHotKey::cleanupTestCase()
{
    if (m_windowManager.state() != QProcess::NotRunning) {
        m_windowManager.terminate();
        if (!m_windowManager.waitForFinished(5000)) {
            m_windowManager.kill();
            m_windowManager.waitForFinished();
        }
    }
    m_other.reset();
}

void TestGlobalHotKey::press(const QStringList& keys)
{
    QCOMPARE(QProcess::execute(m_xdotool, QStringList {QStringLiteral("key")} + keys), 0);
}

void TestGlobalHotKey::hotKeyRestoresMinimisedWindow()
{
    // Registered before the window shows, as at start-up: the window's own events must still get through.
    GlobalHotKey hotKey;
    QVERIFY(hotKey.registerHotKey(CtrlAltM));
    QVERIFY(hotKey.isRegistered());

    QWidget window;
    window.setWindowTitle(QStringLiteral("Pilvanor"));
    auto* edit = new QLineEdit(&window);
    (new QVBoxLayout(&window))->addWidget(edit);
    window.resize(320, 200);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));

    connect(&hotKey, &GlobalHotKey::activated, &window, [&window] {
        window.showNormal();
        window.raise();
        window.activateWindow();
    });
    QSignalSpy activated(&hotKey, &GlobalHotKey::activated);

    window.showMinimized();
    QTRY_VERIFY(window.isMinimized());
    if (m_withWindowManager) {
        QTRY_COMPARE(m_other->mapState(window.winId()), IsUnmapped);
    }

    press({QStringLiteral("ctrl+alt+m")});
    QTRY_COMPARE(activated.count(), 1);
    QTRY_VERIFY(!window.isMinimized());
    QTRY_COMPARE(m_other->mapState(window.winId()), IsViewable);
    QTRY_VERIFY(window.isActiveWindow());

    // Other chords are not the hot key, and a press counts once. Ctrl+Alt+N comes last: the server reports
    // presses in order, so once it has come through, every press before it has too.
    GlobalHotKey last;
    QVERIFY(last.registerHotKey(CtrlAltN));
    QSignalSpy lastActivated(&last, &GlobalHotKey::activated);
    press({QStringLiteral("ctrl+m"),
           QStringLiteral("alt+m"),
           QStringLiteral("ctrl+alt+m"),
           QStringLiteral("ctrl+alt+n")});
    QTRY_COMPARE(lastActivated.count(), 1);
    QCOMPARE(activated.count(), 2);

    // The window still gets its ordinary keys.
    edit->clear();
    edit->setFocus();
    press({QStringLiteral("m"), QStringLiteral("ctrl+alt+m"), QStringLiteral("x")});
    QTRY_COMPARE(edit->text(), QStringLiteral("mx"));
    QTRY_COMPARE(activated.count(), 3);
}

void TestGlobalHotKey::unregisteredChordStaysSilent()
{
    GlobalHotKey m;
    GlobalHotKey n;
    QVERIFY(m.registerHotKey(CtrlAltM));
    QVERIFY(n.registerHotKey(CtrlAltN));
    m.unregisterHotKey();
    QVERIFY(!m.isRegistered());
    QSignalSpy mActivated(&m, &GlobalHotKey::activated);
    QSignalSpy nActivated(&n, &GlobalHotKey::activated);

    // The server reports presses in order, so once N has come through, M would have too.
    press({QStringLiteral("ctrl+alt+m"), QStringLiteral("ctrl+alt+n")});
    QTRY_COMPARE(nActivated.count(), 1);
    QCOMPARE(mActivated.count(), 0);

    // And the grab itself is gone: another program may take the chord now.
    QVERIFY(m_other->grab(XK_m, XCtrlAlt));
    m_other->ungrab(XK_m, XCtrlAlt);
}

void TestGlobalHotKey::registeringAgainReplacesTheChord()
{
    GlobalHotKey hotKey;
    QVERIFY(hotKey.registerHotKey(CtrlAltM));
    QVERIFY(hotKey.registerHotKey(CtrlAltN));
    QVERIFY(hotKey.isRegistered());
    QVERIFY(m_other->grab(XK_m, XCtrlAlt));
    m_other->ungrab(XK_m, XCtrlAlt);
    QVERIFY(!m_other->grab(XK_n, XCtrlAlt));

    QSignalSpy activated(&hotKey, &GlobalHotKey::activated);
    press({QStringLiteral("ctrl+alt+n")});
    QTRY_COMPARE(activated.count(), 1);
}

void TestGlobalHotKey::sameKeyWithOtherModifiersIsAnotherHotKey()
{
    GlobalHotKey ctrlAltM;
    GlobalHotKey ctrlM;
    QVERIFY(ctrlAltM.registerHotKey(CtrlAltM));
    QVERIFY(ctrlM.registerHotKey({HotKey::Ctrl, 'M'}));
    QSignalSpy ctrlAltMActivated(&ctrlAltM, &GlobalHotKey::activated);
    QSignalSpy ctrlMActivated(&ctrlM, &GlobalHotKey::activated);

    press({QStringLiteral("ctrl+m")});
    QTRY_COMPARE(ctrlMActivated.count(), 1);
    press({QStringLiteral("ctrl+alt+m")});
    QTRY_COMPARE(ctrlAltMActivated.count(), 1);
    QCOMPARE(ctrlMActivated.count(), 1);
}

void TestGlobalHotKey::chordIsHeldInEveryLockState_data()
{
    QTest::addColumn<unsigned int>("locks");
    QTest::newRow("no lock") << 0u;
    QTest::newRow("Caps Lock") << static_cast<unsigned int>(LockMask);
    QTest::newRow("Num Lock") << NumLockMask;
    QTest::newRow("Caps Lock and Num Lock") << static_cast<unsigned int>(LockMask | NumLockMask);
}

void TestGlobalHotKey::chordIsHeldInEveryLockState()
{
    QFETCH(unsigned int, locks);
    {
        GlobalHotKey hotKey;
        QVERIFY(hotKey.registerHotKey(CtrlAltM));
        QVERIFY2(!m_other->grab(XK_m, XCtrlAlt | locks), "another program could take the chord");
    }
    // Destroying the object releases the grab.
    QVERIFY(m_other->grab(XK_m, XCtrlAlt | locks));
    m_other->ungrab(XK_m, XCtrlAlt | locks);
}

void TestGlobalHotKey::chordHeldByAnotherClientIsRefused_data()
{
    chordIsHeldInEveryLockState_data();
}

void TestGlobalHotKey::chordHeldByAnotherClientIsRefused()
{
    QFETCH(unsigned int, locks);
    QVERIFY(m_other->grab(XK_m, XCtrlAlt | locks));

    GlobalHotKey hotKey;
    QSignalSpy activated(&hotKey, &GlobalHotKey::activated);
    const bool registered = hotKey.registerHotKey(CtrlAltM);
    m_other->ungrab(XK_m, XCtrlAlt | locks);
    QVERIFY(!registered);
    QVERIFY(!hotKey.isRegistered());

    // The variants that did succeed were let go again: the other program can take every one of them.
    for (unsigned int variant : {0u, static_cast<unsigned int>(LockMask), NumLockMask}) {
        QVERIFY2(m_other->grab(XK_m, XCtrlAlt | variant), qPrintable(QString::number(variant)));
        m_other->ungrab(XK_m, XCtrlAlt | variant);
    }

    // Once the other program lets go, the same object registers.
    QVERIFY(hotKey.registerHotKey(CtrlAltM));
    press({QStringLiteral("ctrl+alt+m")});
    QTRY_COMPARE(activated.count(), 1);
}

void TestGlobalHotKey::lockKeysDoNotMatter_data()
{
    QTest::addColumn<QStringList>("lockKeys");
    QTest::addColumn<unsigned int>("locks");
    QTest::newRow("Num Lock") << QStringList {QStringLiteral("Num_Lock")} << NumLockMask;
    QTest::newRow("Caps Lock") << QStringList {QStringLiteral("Caps_Lock")} << static_cast<unsigned int>(LockMask);
    QTest::newRow("both") << QStringList {QStringLiteral("Num_Lock"), QStringLiteral("Caps_Lock")}
                          << static_cast<unsigned int>(LockMask | NumLockMask);
}

void TestGlobalHotKey::lockKeysDoNotMatter()
{
    QFETCH(QStringList, lockKeys);
    QFETCH(unsigned int, locks);

    GlobalHotKey hotKey;
    QVERIFY(hotKey.registerHotKey(CtrlAltM));
    QSignalSpy activated(&hotKey, &GlobalHotKey::activated);

    press(lockKeys);
    // Switch the locks off again whatever happens below; later tests expect them off.
    const auto unlock = qScopeGuard(
        [this, &lockKeys] { QProcess::execute(m_xdotool, QStringList {QStringLiteral("key")} + lockKeys); });
    QTRY_COMPARE(m_other->modifierState() & (LockMask | NumLockMask), locks);

    press({QStringLiteral("ctrl+alt+m")});
    QTRY_COMPARE(activated.count(), 1);
}

void TestGlobalHotKey::unmappedChordIsRefused()
{
    GlobalHotKey hotKey;
    QVERIFY(!hotKey.registerHotKey({HotKey::Ctrl, 0x07})); // no key has this code
    QVERIFY(!hotKey.registerHotKey({16, 'M'}));            // nor is 16 a modifier
    QVERIFY(!hotKey.registerHotKey({HotKey::Ctrl, 0}));
    QVERIFY(!hotKey.isRegistered());

    // A failed registration also drops the one before it, as unregistering first always did.
    QVERIFY(hotKey.registerHotKey(CtrlAltM));
    QVERIFY(!hotKey.registerHotKey({HotKey::Ctrl, 0x07}));
    QVERIFY(!hotKey.isRegistered());
    QVERIFY(m_other->grab(XK_m, XCtrlAlt));
    m_other->ungrab(XK_m, XCtrlAlt);
}

int TestGlobalHotKey::registerInOtherProgram(const QString& platform)
{
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(),
                {QString::fromLatin1(RegisterProbe), QStringLiteral("-platform"), platform});
    if (!child.waitForFinished(30000) || child.exitStatus() != QProcess::NormalExit) {
        return -1;
    }
    return child.exitCode();
}

void TestGlobalHotKey::noHotKeyWithoutX11()
{
    QCOMPARE(registerInOtherProgram(QStringLiteral("offscreen")), 0);
}

void TestGlobalHotKey::secondProgramCannotTakeTheChord()
{
    GlobalHotKey hotKey;
    QVERIFY(hotKey.registerHotKey(CtrlAltM));
    QCOMPARE(registerInOtherProgram(QStringLiteral("xcb")), 0);
    hotKey.unregisterHotKey();
    QCOMPARE(registerInOtherProgram(QStringLiteral("xcb")), 1);
}

int main(int argc, char** argv)
{
    if (argc > 1 && qstrcmp(argv[1], RegisterProbe) == 0) {
        return probeRegistration(argc, argv);
    }
    QApplication app(argc, argv);
    TestGlobalHotKey test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_GlobalHotKey.moc"
