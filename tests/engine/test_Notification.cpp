#include "TestFiles.h"

#include "engine/Notification.h"
#include "engine/NotificationBureau.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// Several new messages, and a language text too long for the tray's tool tip field.
TEST(Notification, TrayTipCountsAndIsCut)
{
    EXPECT_EQ(pv::gTexteSysTray(PV_SOURCE_DIR "/lang/pv.ENG", 3), "Pilvanor - 3 new messages");
    QTemporaryDir dir;
    const QString fichier = dir.filePath("pv.TST");
    ASSERT_TRUE(
        pv::test::writeFile(fichier, "[Message]\nSysTrayPlusieursNouveauMessage=" + QByteArray(200, 'x') + "\n"));
    EXPECT_EQ(pv::gTexteSysTray(fichier, 12), "Pilvanor - 12 " + QString(113, 'x'));
}

// The desktop's notification: replaces the previous one, names the program's desktop entry and icon, and never
// lets a message's text pass for markup.
TEST(Notification, DesktopNotificationCall)
{
    const QDBusMessage m = pv::NotificationBureau::messageNotify({"Message from Bob (PC2)", "a < b & c", "Show"}, 41);
    EXPECT_EQ(m.member(), "Notify");
    EXPECT_EQ(pv::test::dbusSignature(m), "susssasa{sv}i");
    const QVariantList a = m.arguments();
    ASSERT_EQ(a.size(), 8);
    EXPECT_EQ(a[1].toUInt(), 41u);
    EXPECT_EQ(a[2].toString(), "org.pilvanor.Pilvanor");
    EXPECT_EQ(a[3].toString(), "Message from Bob (PC2)");
    EXPECT_EQ(a[4].toString(), "a &lt; b &amp; c");
    EXPECT_EQ(a[5].toStringList(), QStringList({"default", "Show"}));
    EXPECT_EQ(a[6].toMap().value("desktop-entry").toString(), "org.pilvanor.Pilvanor");
}
