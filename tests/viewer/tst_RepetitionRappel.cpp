#include "common/IniFile.h"
#include "common/Language.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"
#include "reminders/SpinDureeRappel.h"
#include "viewer/frmMessage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

using namespace pv;

// The repeat controls of a fired reminder's window, and what closing it writes back.
class tst_RepetitionRappel : public QObject
{
    Q_OBJECT

    static QStringList stored() { return IniFile(gFichierParametres()).readSection(SectionRappel); }

    std::unique_ptr<frmMessage> fired(const QString& record)
    {
        auto w = std::make_unique<frmMessage>(TypeFenetre::Rappel);
        w->setAttribute(Qt::WA_DeleteOnClose, false);
        w->mstrCleRappel = "20261101000000";
        w->mvarRappel = record.split('|');
        w->mstrMessage = "Hi";
        w->mCharger();
        return w;
    }

    std::unique_ptr<QTemporaryDir> m_home;

private Q_SLOTS:
    void init()
    {
        m_home = std::make_unique<QTemporaryDir>();
        qputenv("HOME", m_home->path().toUtf8());
        gDefinirFichierParametres(m_home->filePath("settings.ini"));
        gParametres() = Parametres {};
        gParametres().garderPositionTailleFenetre = false;
        gParametres().fichierLangue = QStringLiteral(PV_SOURCE_DIR "/lang/pv.ENG");
        setHorlogeEssai(QDateTime(QDate(2026, 11, 18), QTime(10, 7, 40)));
    }

    void cleanup() { setHorlogeEssai({}); }

    void closingPlansAgainOnlyThroughTheButton_data()
    {
        QTest::addColumn<QString>("record");
        QTest::addColumn<bool>("ticked");
        QTest::addColumn<QString>("duration");
        QTest::addColumn<int>("unit");
        QTest::addColumn<bool>("button");
        QTest::addColumn<QString>("stored"); // empty: nothing
        QTest::newRow("once, 15 minutes")
            << "0|20261118|1007|Hi" << true << "15" << 0 << true << "20261101000000=0|20261118|1022|Hi";
        QTest::newRow("once, 99 hours") << "0|20261118|1007|Hi" << true << "99" << 1 << true
                                        << "20261101000000=0|20261122|1307|Hi";
        QTest::newRow("once, not ticked") << "0|20261118|1007|Hi" << false << "15" << 0 << true << "";
        QTest::newRow("once, title bar") << "0|20261118|1007|Hi" << true << "15" << 0 << false << "";
        QTest::newRow("daily") << "1|20261118|1007|Hi" << false << "" << 0 << true
                               << "20261101000000=1|20261119|1007|Hi";
        QTest::newRow("weekly, title bar") << "2|20261118|1007|Hi|3" << false << "" << 0 << false << "";
    }

    void closingPlansAgainOnlyThroughTheButton()
    {
        QFETCH(QString, record);
        QFETCH(bool, ticked);
        QFETCH(QString, duration);
        QFETCH(int, unit);
        QFETCH(bool, button);
        QFETCH(QString, stored);
        auto w = fired(record);
        const bool once = record.startsWith('0');
        QCOMPARE(w->chkRepeterRappel->isVisibleTo(w.get()), once);
        QCOMPARE(w->spnDureeRepetitionRappel->isVisibleTo(w.get()), once);
        QCOMPARE(w->cmdFermer->text(), once ? "OK" : "&Close");
        if (once) {
            QCOMPARE(w->txtDureeRepetitionRappel->text(), "15");
            QCOMPARE(w->cboTempsRepetitionRappel->itemText(1), "hour(s)");
            QVERIFY(!w->spnDureeRepetitionRappel->isEnabled() && !w->cboTempsRepetitionRappel->isEnabled());
            w->chkRepeterRappel->setChecked(ticked);
            QCOMPARE(w->cboTempsRepetitionRappel->isEnabled(), ticked);
            w->txtDureeRepetitionRappel->setText(duration);
            w->cboTempsRepetitionRappel->setCurrentIndex(unit);
        }
        if (button) {
            w->cmdFermer->click();
        } else {
            w->close();
        }
        QVERIFY(!w->isVisible());
        QCOMPARE(this->stored().join(';'), stored);
    }

    void durationBoxTakesDigitsAndArrowsStopAt1And99()
    {
        auto w = fired("0|20261118|1007|Hi");
        w->show();
        QVERIFY(QTest::qWaitForWindowActive(w.get()));
        w->chkRepeterRappel->setChecked(true);
        QLineEdit* duree = w->txtDureeRepetitionRappel;
        duree->setFocus();
        duree->selectAll();
        QTest::keyClicks(duree, "a1-2 b");
        QCOMPARE(duree->text(), "12");
        QTest::keyClick(duree, Qt::Key_Backspace);
        QTest::keyClick(duree, Qt::Key_Backspace);
        QCOMPARE(duree->text(), "1");
        QTest::keyClick(w->spnDureeRepetitionRappel, Qt::Key_Down);
        QCOMPARE(duree->text(), "1");
        duree->setText("98");
        QTest::keyClick(w->spnDureeRepetitionRappel, Qt::Key_Up);
        QTest::keyClick(w->spnDureeRepetitionRappel, Qt::Key_Up);
        QCOMPARE(duree->text(), "99");
        duree->selectAll();
        QTest::keyClicks(duree, "150");
        QTest::keyClick(w->spnDureeRepetitionRappel, Qt::Key_Up);
        QCOMPARE(duree->text(), "150");
        QTest::keyClick(w->spnDureeRepetitionRappel, Qt::Key_Down);
        QCOMPARE(duree->text(), "149");
    }
};

QTEST_MAIN(tst_RepetitionRappel)
#include "tst_RepetitionRappel.moc"
