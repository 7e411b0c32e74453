#include "engine/Notification.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// Several new messages, and a language text too long for the tray's tool tip field.
TEST(Notification, TrayTipCountsAndIsCut)
{
    EXPECT_EQ(pv::gTexteSysTray(PV_SOURCE_DIR "/lang/pv.ENG", 3), "Pilvanor - 3 new messages");
    QTemporaryDir dir;
    QFile f(dir.filePath("pv.TST"));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("[Message]\nSysTrayPlusieursNouveauMessage=" + QByteArray(200, 'x') + "\n");
    f.close();
    EXPECT_EQ(pv::gTexteSysTray(f.fileName(), 12), "Pilvanor - 12 " + QString(113, 'x'));
}
