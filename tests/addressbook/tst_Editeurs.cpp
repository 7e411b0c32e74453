#include "FormFixture.h"
#include "TestFiles.h"

#include "addressbook/frmGroupe.h"
#include "addressbook/frmMessagePredefini.h"
#include "addressbook/frmRechercherUtilisateur.h"
#include "addressbook/frmUtilisateur.h"
#include "common/IniFile.h"
#include "engine/frmPilvanor.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QThread>
#include <QTreeWidget>
#include <QtTest>

#include <future>

using namespace pv;

// The four editors offscreen; their rules are tested on the logic in test_CarnetAdresses.cpp.
class tst_Editeurs : public QObject
{
    Q_OBJECT

    static QString texte(const char* cle) { return gMessageTexte(test::langFile("ENG"), cle); }
    static QString section(const char* nom) { return IniFile(gFichierDonnees()).readSection(nom).join(';'); }

    static QStringList lignes(const QTreeWidget* liste, int colonne = 0)
    {
        QStringList out;
        for (int i = 0; i < liste->topLevelItemCount(); ++i) {
            out.append(liste->topLevelItem(i)->text(colonne));
        }
        return out;
    }
    static QString selection(const QTreeWidget* liste)
    {
        const auto items = liste->selectedItems();
        return items.isEmpty() ? QString() : items[0]->text(0);
    }
    static void choisir(QTreeWidget* liste, const QStringList& stations)
    {
        for (int i = 0; i < liste->topLevelItemCount(); ++i) {
            liste->topLevelItem(i)->setSelected(stations.contains(liste->topLevelItem(i)->text(0)));
        }
    }
    // The boxes shown since the last call, as their texts.
    QStringList boites()
    {
        QStringList textes;
        for (const auto& boite : m_fixture.takeBoxes()) {
            textes.append(boite.first);
        }
        return textes;
    }

    test::FormFixture m_fixture;

private Q_SLOTS:
    void init()
    {
        m_fixture.reset(MsgResult::Yes);
        IniFile(gFichierDonnees()).update([](IniDocument& doc) {
            doc.replaceSection(SectionUtilisateur, {"PC1=Alice|0", "PC2=Bob|1", "PC3=Carol|0"});
            doc.replaceSection(SectionGroupe, {"Compta=PC1,PC2", "Direction=PC3"});
            doc.replaceSection(SectionMessagePredefini, {"20040101000000=Hello¶World", "20040101000001=Bye"});
        });
        gChargerUtilisateurGroupe();
        gChargerMessagePredefini();
    }

    void userAddModifyAndFailedChecks()
    {
        frmUtilisateur w;
        QSignalSpy modifies(&w, &frmUtilisateur::donneesModifiees);
        w.show();
        QCOMPARE(lignes(w.lstUtilisateur, 2), QStringList({"", "X", ""}));
        w.cmdAjouter->click();
        QVERIFY(w.fraUtilisateur->isVisible() && !w.cmdImporter->isEnabled() && !w.lstUtilisateur->isEnabled());
        QTest::keyClicks(w.txtNomStation, "pc 12");
        QCOMPARE(w.txtNomStation->text(), "PC12");
        w.cmdOK->click();
        QCOMPARE(boites(), QStringList(texte("StationDescObligatoire")));
        QVERIFY(w.fraUtilisateur->isVisible());
        QCOMPARE(w.focusWidget(), w.txtDescription);

        w.txtDescription->setText("alice");
        w.cmdOK->click();
        QCOMPARE(boites(), QStringList(texte("DescriptionExistante")));
        QCOMPARE(w.focusWidget(), w.txtDescription);

        w.txtDescription->setText("Bureau (2e)");
        w.cmdOK->click();
        QVERIFY(boites().isEmpty() && !w.fraUtilisateur->isVisible());
        QCOMPARE(section(SectionUtilisateur), "PC1=Alice|0;PC2=Bob|1;PC3=Carol|0;PC12=Bureau [2e]|0");
        QCOMPARE(selection(w.lstUtilisateur), "PC12");
        QCOMPARE(modifies.count(), 1);

        // Modify by double click: a rename keeps the count, the ignore mark is loaded.
        choisir(w.lstUtilisateur, {"PC2"});
        w.lstUtilisateur->setCurrentItem(w.lstUtilisateur->topLevelItem(1));
        Q_EMIT w.lstUtilisateur->doubleClicked(w.lstUtilisateur->currentIndex());
        QVERIFY(w.fraUtilisateur->isVisible() && w.chkIgnorer->isChecked());
        QCOMPARE(w.txtDescription->text(), "Bob");
        w.txtNomStation->setText("PC20");
        w.cmdOK->click();
        QCOMPARE(section(SectionUtilisateur), "PC1=Alice|0;PC3=Carol|0;PC12=Bureau [2e]|0;PC20=Bob|1");
        QCOMPARE(gUtilisateurs().size(), 4);

        // Cancel leaves the file alone.
        w.cmdAjouter->click();
        w.txtNomStation->setText("PC99");
        w.txtDescription->setText("Nobody");
        w.cmdAnnuler->click();
        QVERIFY(!w.fraUtilisateur->isVisible() && w.cmdModifier->isEnabled());
        QCOMPARE(gUtilisateurs().size(), 4);
    }

    void deleteAsksThenSelectsTheNeighbour()
    {
        // Selected, answer, rows left, selected after.
        for (const auto& [selected, answer, left, selectedAfter] :
             {std::tuple {"PC2", int(MsgResult::No), "PC1;PC2;PC3", "PC2"},
              {"PC2", int(MsgResult::Yes), "PC1;PC3", "PC3"},
              {"PC3", int(MsgResult::Yes), "PC1;PC2", "PC2"}}) {
            init();
            m_fixture.answer = answer;
            frmUtilisateur u;
            frmMessagePredefini m;
            u.show();
            const int ligne = int(lignes(u.lstUtilisateur).indexOf(selected));
            u.lstUtilisateur->setCurrentItem(u.lstUtilisateur->topLevelItem(ligne));
            u.cmdSupprimer->click();
            QCOMPARE(boites(), QStringList(texte("SupprimerUtilisateur")));
            QCOMPARE(lignes(u.lstUtilisateur).join(';'), QString(left));
            QCOMPARE(gUtilisateurs().size(), QString(left).count(';') + 1);
            QCOMPARE(selection(u.lstUtilisateur), selectedAfter);

            // The same rule in the predefined messages, down to an empty list.
            m.cmdSupprimer->click();
            m.cmdSupprimer->click();
            QCOMPARE(m.lstMessagePredefini->count(), answer == MsgResult::Yes ? 0 : 2);
            QCOMPARE(m.cmdSupprimer->isEnabled(), answer != MsgResult::Yes);
        }
    }

    void selectionModeReturnsTheChosenStations()
    {
        for (const bool annuler : {false, true}) {
            frmUtilisateur w;
            w.mblnSelectionnerSeulement = true;
            w.show();
            QVERIFY(!w.cmdAjouter->isVisible() && !w.cmdImporter->isVisible());
            QVERIFY(w.lstUtilisateur->selectedItems().isEmpty() && !w.cmdRechercher->isEnabled());
            choisir(w.lstUtilisateur, {"PC3", "PC1"});
            QVERIFY(w.cmdRechercher->isEnabled());
            (annuler ? w.cmdFermer : w.cmdRechercher)->click();
            QCOMPARE(w.mstrListeStation, annuler ? "" : "PC1|PC3");
            QVERIFY(!w.isVisible());
        }
    }

    void importAddsOnlyNewStationsAndAHeaderClickSorts()
    {
        QVERIFY(test::writeFile(m_fixture.path("import.txt"), "ws01\tCompta\t1\n\nPC1\tOther\n"));
        frmUtilisateur w;
        w.show();
        w.mChoisirFichierImport = [&](QWidget*) { return m_fixture.path("import.txt"); };
        QCOMPARE(w.mImporterUtilisateur(&w, false), "WS01|PC1");
        QCOMPARE(boites(), QStringList(gMessageTexte(test::langFile("ENG"), "LignesSansStationIgnorees", {"1"})));
        QCOMPARE(lignes(w.lstUtilisateur), QStringList({"PC1", "PC2", "PC3", "WS01"}));
        w.mChoisirFichierImport = [](QWidget*) { return QString(); };
        QCOMPARE(w.mImporterUtilisateur(&w, false), "");
        w.mChoisirFichierImport = [&](QWidget*) { return m_fixture.path("missing.txt"); };
        QCOMPARE(w.mImporterUtilisateur(&w, false), "");
        QCOMPARE(boites().size(), 1);

        // Sorted by the clicked column, ascending, and kept so.
        QTest::mouseClick(w.lstUtilisateur->header()->viewport(),
                          Qt::LeftButton,
                          {},
                          QPoint(w.lstUtilisateur->header()->sectionViewportPosition(1) + 5, 5));
        QCOMPARE(lignes(w.lstUtilisateur, 1), QStringList({"Alice", "Bob", "Carol", "Compta"}));
        w.mEnregistrerUtilisateur("AAA");
        QCOMPARE(gUtilisateurs().size(), 5);
    }

    void groupEditor()
    {
        frmGroupe w;
        QSignalSpy modifies(&w, &frmGroupe::donneesModifiees);
        w.show();
        QCOMPARE(lignes(w.lstGroupe, 1), QStringList({"Alice; Bob", "Carol"}));

        w.cmdAjouter->click();
        w.txtNomGroupe->setText("Compta");
        w.cmdOK->click();
        QCOMPARE(boites(), QStringList(texte("UtilisateurGroupeObligatoire")));
        QCOMPARE(w.focusWidget(), w.lstUtilisateur);
        QVERIFY(!w.cmdEnlever->isEnabled());

        w.mChoisirUtilisateurs = [](QWidget*) { return QStringLiteral("PC3|GONE|PC3"); };
        w.cmdUtilisateur->click();
        QCOMPARE(lignes(w.lstUtilisateur, 1), QStringList({"Carol", ""}));
        w.cmdOK->click();
        QCOMPARE(boites(), QStringList(texte("GroupeExistant")));
        QCOMPARE(w.focusWidget(), w.txtNomGroupe);

        w.txtNomGroupe->setText("Ventes");
        w.cmdEnlever->click();
        QCOMPARE(lignes(w.lstUtilisateur), QStringList({"GONE"}));
        QVERIFY(test::writeFile(m_fixture.path("membres.txt"), "pc1\nWS09\tNew one\n"));
        w.mChoisirFichierImport = [&](QWidget*) { return m_fixture.path("membres.txt"); };
        w.cmdImporter->click();
        w.cmdOK->click();
        QVERIFY(boites().isEmpty() && !w.fraGroupe->isVisible());
        QCOMPARE(section(SectionGroupe), "Compta=PC1,PC2;Direction=PC3;Ventes=GONE,PC1,WS09");
        QCOMPARE(gRechercherUtilisateur("WS09", false).description, "New one");
        QCOMPARE(selection(w.lstGroupe), "Ventes");

        // Renaming onto a taken name replaces that group.
        w.lstGroupe->setCurrentItem(w.lstGroupe->topLevelItem(1));
        w.cmdModifier->click();
        QCOMPARE(lignes(w.lstUtilisateur), QStringList({"PC3"}));
        w.txtNomGroupe->setText("Compta");
        w.cmdOK->click();
        QCOMPARE(section(SectionGroupe), "Compta=PC3;Ventes=GONE,PC1,WS09");
        QVERIFY(modifies.count() >= 2);
    }

    void domainSearchRunsOffTheWindowThread()
    {
        QVERIFY(test::writeFile(m_fixture.path("smb.conf"), "[global]\n  workgroup = homewg\n"));
        qputenv("PILVANOR_SMB_CONF", m_fixture.path("smb.conf").toUtf8());
        frmRechercherUtilisateur w;
        QStringList demandes;
        std::promise<void> feu;
        std::shared_future<void> attente = feu.get_future().share();
        w.mListerStations = [&demandes, attente](const QString& groupe) {
            demandes.append(groupe + (QThread::currentThread() == qApp->thread() ? "@ui" : ""));
            attente.wait();
            return groupe == "TESTWG" ? QStringList({"PEERB", "PEERC"}) : QStringList();
        };
        QSignalSpy fini(&w, &frmRechercherUtilisateur::rechercheTerminee);
        w.show();
        w.txtNomDomaine->setText("ignored");
        QVERIFY(w.chkDomainePrincipal->isChecked() && !w.txtNomDomaine->isEnabled());
        w.cmdRechercher->click();
        QVERIFY(QApplication::overrideCursor() && QApplication::overrideCursor()->shape() == Qt::WaitCursor);
        QVERIFY(!w.cmdRechercher->isEnabled());
        feu.set_value();
        QVERIFY(fini.wait());
        QCOMPARE(demandes, QStringList({"HOMEWG"}));
        QVERIFY(!QApplication::overrideCursor());

        w.chkDomainePrincipal->setChecked(false);
        w.txtNomDomaine->clear();
        QVERIFY(!w.cmdRechercher->isEnabled());
        w.txtNomDomaine->setText("testwg");
        w.cmdRechercher->click();
        QVERIFY(fini.wait());
        QVERIFY(!w.cmdAjouter->isEnabled());
        QCOMPARE(demandes, QStringList({"HOMEWG", "TESTWG"}));
        QCOMPARE(w.lstStation->count(), 2);
        w.lstStation->item(1)->setSelected(true);
        w.lstStation->item(0)->setSelected(true);
        w.cmdAjouter->click();
        QCOMPARE(w.listeStation(), "PEERB|PEERC");
        qunsetenv("PILVANOR_SMB_CONF");
    }

    void predefinedMessages()
    {
        setHorlogeEssai(QDateTime(QDate(2024, 1, 2), QTime(3, 4, 5)));
        frmMessagePredefini w;
        QSignalSpy modifies(&w, &frmMessagePredefini::donneesModifiees);
        w.show();
        w.cmdAjouter->click();
        w.cmdOK->click();
        QCOMPARE(boites(), QStringList(texte("MessageObligatoire")));
        QCOMPARE(w.focusWidget(), w.txtMessage);

        QTest::keyClicks(w.txtMessage, "To XX");
        QTextCursor c = w.txtMessage->textCursor();
        c.setPosition(3);
        c.setPosition(5, QTextCursor::KeepAnchor);
        w.txtMessage->setTextCursor(c);
        w.mnuCaractereSpecial[4]->trigger(); // over the selection
        w.txtMessage->appendPlainText("at ");
        w.txtMessage->moveCursor(QTextCursor::End);
        w.mnuCaractereSpecial[8]->trigger(); // at the caret
        QCOMPARE(w.txtMessage->toPlainText(), "To %MyIPAddress%\nat %Time%");
        w.cmdOK->click();
        QCOMPARE(w.lstMessagePredefini->currentItem()->text(), QString::fromUtf8("To %MyIPAddress%¶at %Time%"));
        QCOMPARE(section(SectionMessagePredefini),
                 QString::fromUtf8("20040101000000=Hello¶World;20040101000001=Bye;20240102030405=To "
                                   "%MyIPAddress%¶at %Time%"));

        // Modify restores the line break and keeps the key, so the row keeps its place.
        w.lstMessagePredefini->setCurrentRow(0);
        w.cmdModifier->click();
        QCOMPARE(w.txtMessage->toPlainText(), "Hello\nWorld");
        w.txtMessage->setPlainText("Hello\nthere");
        w.cmdOK->click();
        QCOMPARE(w.lstMessagePredefini->currentRow(), 0);
        QCOMPARE(gMessagesPredefinis().value(0).texte, QString::fromUtf8("Hello¶there"));
        QCOMPARE(modifies.count(), 2);
    }

    void mainWindowListsFollowTheEditors()
    {
        IniFile(gFichierParametres()).writeString(SectionGeneral, "MinimiserSysTray", "0");
        frmPilvanor main;
        main.charger();
        main.cboDestinataire->setEditText("PC1,PC");
        main.mnuFicUtilisateur->trigger();
        auto* u = main.findChild<frmUtilisateur*>();
        QVERIFY(u && u->isVisible());
        u->mEnregistrerUtilisateur("NEWPC");
        QCOMPARE(main.cboDestinataire->findText("NEWPC (NEWPC)"), 3);
        QCOMPARE(main.cboDestinataire->currentText(), "PC1,PC");

        main.mnuMesMessagePredefini->trigger();
        auto* m = main.findChild<frmMessagePredefini*>();
        QVERIFY(m && m->isVisible());
        m->cmdAjouter->click();
        m->txtMessage->setPlainText("Fresh");
        m->cmdOK->click();
        QCOMPARE(main.cboMessagePredefini->count(), 3);
        main.quitter();
    }
};

QTEST_MAIN(tst_Editeurs)
#include "tst_Editeurs.moc"
