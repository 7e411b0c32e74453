#include "FormFixture.h"

#include "common/CadreEdition.h"
#include "common/IniFile.h"
#include "engine/frmPilvanor.h"
#include "reminders/frmListeRappel.h"

#include <QAction>
#include <QComboBox>
#include <QDateEdit>
#include <QGroupBox>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimeEdit>
#include <QTreeWidget>
#include <QtTest>

using namespace pv;

class tst_frmListeRappel : public QObject
{
    Q_OBJECT

    static QString texte(const char* cle) { return gMessageTexte(test::langFile("ENG"), cle); }
    static QStringList stored() { return IniFile(gFichierParametres()).readSection(SectionRappel); }
    static void store(const QString& cle, const QString& valeur)
    {
        IniFile(gFichierParametres()).writeString(SectionRappel, cle, valeur);
    }
    static QStringList rows(const frmListeRappel& w)
    {
        QStringList out;
        for (int i = 0; i < w.lstRappel->topLevelItemCount(); ++i) {
            const QTreeWidgetItem* item = w.lstRappel->topLevelItem(i);
            out.append(item->text(0) + '/' + item->text(1) + '/' + item->text(2));
        }
        return out;
    }

    test::FormFixture m_fixture;

private Q_SLOTS:
    void init()
    {
        m_fixture.reset(MsgResult::Yes);
        setHorlogeEssai(QDateTime(QDate(2026, 11, 18), QTime(9, 15, 20))); // a Wednesday
    }

    void failedCheckKeepsTheFrameOpenWithTheFocusThere()
    {
        // Kind, message, the box's key, the control that takes the focus.
        for (const auto& [type, message, key, control] : {std::tuple {0, "x", "DateHeureRappelInvalide", "txtHeure"},
                                                          {2, "x", "SelectionJourObligatoire", "lstJour"},
                                                          {1, "", "MessageObligatoire", "txtMessage"}}) {
            frmListeRappel w;
            w.show();
            QVERIFY(QTest::qWaitForWindowActive(&w));
            w.cmdAjouter->click();
            w.cboPlanification->setCurrentIndex(type);
            w.txtHeure->setTime(QTime(9, 15));
            w.txtMessage->setPlainText(message);
            w.cmdOK->click();
            QCOMPARE(m_fixture.takeBoxes(), QList({qMakePair(texte(key), int(MsgStyle::Exclamation))}));
            QVERIFY(w.fraRappel->isVisible());
            QVERIFY(w.findChild<QWidget*>(control)->hasFocus());
            QVERIFY(stored().isEmpty());
        }
    }

    void addOffersTheNextWholeHourAndSelectsTheSavedRow()
    {
        store("20261101000000", "1|20261119|0800|Old");
        frmListeRappel w;
        w.cmdAjouter->click();
        QCOMPARE(w.txtHeure->time(), QTime(10, 0));
        QCOMPARE(w.txtDate->date(), QDate(2026, 11, 18));
        QVERIFY(w.txtDate->isVisibleTo(&w) && !w.lstJour->isVisibleTo(&w));
        w.txtMessage->setPlainText("Call\nBob");
        w.cmdOK->click();
        QVERIFY(m_fixture.boxes.isEmpty());
        QVERIFY(!w.fraRappel->isVisibleTo(&w) && w.lstRappel->isEnabled());
        QCOMPARE(stored().last(), QString::fromUtf8("20261118091520=0|20261118|1000|Call¶Bob"));
        QCOMPARE(rows(w).last(), QString::fromUtf8("Once at 10:00 on 2026-11-18/Today at 10:00/Call¶Bob"));
        QCOMPARE(w.edition()->ligneSelectionnee(), 1);
    }

    void modifyShowsTheRecordAndKeepsItsKey()
    {
        store("1", "1|20261119|0800|a");
        store("2", "2|20261120|0800|Two¶lines|1,5");
        frmListeRappel w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        const QRect rect = w.lstRappel->visualItemRect(w.lstRappel->topLevelItem(1));
        QTest::mouseClick(w.lstRappel->viewport(), Qt::LeftButton, {}, rect.center());
        QTest::mouseDClick(w.lstRappel->viewport(), Qt::LeftButton, {}, rect.center());
        QVERIFY(w.fraRappel->isVisible() && !w.edition()->ajout());
        QCOMPARE(w.cboPlanification->currentIndex(), 2);
        QVERIFY(w.lstJour->isVisible() && !w.txtDate->isVisible());
        QList<int> jours;
        for (const QListWidgetItem* item : w.lstJour->selectedItems()) {
            jours.append(w.lstJour->row(item));
        }
        std::sort(jours.begin(), jours.end());
        QCOMPARE(jours, QList({0, 4}));
        QCOMPARE(w.txtHeure->time(), QTime(8, 0));
        QCOMPARE(w.txtMessage->toPlainText(), "Two\nlines");
        w.txtMessage->setPlainText("Changed");
        w.cmdOK->click();
        QCOMPARE(stored(), QStringList({"1=1|20261119|0800|a", "2=2|20261120|0800|Changed|1,5"}));
        QCOMPARE(w.lstRappel->topLevelItemCount(), 2);
        QCOMPARE(w.edition()->ligneSelectionnee(), 1);
    }

    void deleteAsksThenSelectsTheNeighbouringRow()
    {
        for (const char* cle : {"1", "2", "3"}) {
            store(cle, QString("1|20261119|0800|") + cle);
        }
        frmListeRappel w;
        w.edition()->selectionnerLigne(2);
        for (const auto& [answer, left, selected] : {std::tuple {int(MsgResult::No), "1,2,3", 2},
                                                     {int(MsgResult::Yes), "1,2", 1},
                                                     {int(MsgResult::Yes), "2", 0},
                                                     {int(MsgResult::Yes), "", -1}}) {
            m_fixture.answer = answer;
            w.cmdSupprimer->click();
            QStringList keys;
            for (const QString& line : stored()) {
                keys.append(iniLineKey(line));
            }
            QCOMPARE(keys.join(','), QString(left));
            QCOMPARE(w.edition()->ligneSelectionnee(), selected);
            if (selected == 1) {
                w.edition()->selectionnerLigne(0); // then the first row goes
            }
        }
        QCOMPARE(m_fixture.boxes.size(), 4);
        QCOMPARE(m_fixture.boxes[0], qMakePair(texte("SupprimerRappel"), int(MsgStyle::Question | MsgStyle::YesNo)));
    }

    void oneWindowFromTheMainWindow()
    {
        frmPilvanor main;
        main.mnuFicListeRappel->trigger();
        main.bouton.ListeRappel->trigger();
        const QList<frmListeRappel*> open = test::visibleWindows<frmListeRappel>();
        QCOMPARE(open.size(), 1);
        QCOMPARE(open[0], frmListeRappel::instance());
        delete open[0];
    }
};

QTEST_MAIN(tst_frmListeRappel)
#include "tst_frmListeRappel.moc"
