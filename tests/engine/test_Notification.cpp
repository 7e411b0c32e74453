#include "TestFiles.h"

#include "engine/Notification.h"

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
