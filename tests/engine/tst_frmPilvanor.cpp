#include "FormFixture.h"

#include "common/IniFile.h"
#include "common/MessengerText.h"
#include "common/Son.h"
#include "engine/Envoi.h"
#include "engine/LanceurService.h"
#include "engine/LigneCommande.h"
#include "engine/frmEnvoiMessageGroupe.h"
#include "engine/frmPilvanor.h"
#include "messenger/Spool.h"
#include "viewer/frmMessage.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QTreeWidget>
#include <QtTest>

using namespace pv;

// Real sends, the close box and the kept window position are driven by tests/app/send_e2e.sh and desktop.sh.
class tst_frmPilvanor : public QObject
{
    Q_OBJECT

    void storeSetting(const char* key, const QString& value)
    {
        IniFile(gFichierParametres()).writeString(SectionGeneral, key, value);
    }

    // Transport answers from m_codes (0 if not listed); the ping finds every station but GHOST.
    void useFakeEngine(frmPilvanor& w)
    {
        auto transport = [this](const QString& station, const QString&, const QString& texte) {
            m_sent.append(station + '|' + texte);
            return m_codes.value(station, 0);
        };
        w.utiliserEnvoi(new EnvoiMessage(transport, [](const QString& s, QString*, int) { return s != "GHOST"; }));
    }

    static QStringList lines(const frmEnvoiMessageGroupe* g)
    {
        QStringList out;
        for (int i = 0; i < g->lstUtilisateur->topLevelItemCount(); ++i) {
            const QTreeWidgetItem* item = g->lstUtilisateur->topLevelItem(i);
            out.append(item->text(0) + '|' + item->text(1) + (item->foreground(1).color() == Qt::red ? "|red" : ""));
        }
        return out;
    }

    static bool spool(const QString& text, const QString& title = "Messenger Service ")
    {
        Popup p;
        p.title = stdText(title);
        p.text = stdText(text);
        return PopupSpool(PopupSpool::defaultFolder()).write(p).ok();
    }

    test::FormFixture m_fixture;
    QHash<QString, int> m_codes;
    QStringList m_sent;

private Q_SLOTS:
    void init()
    {
        m_fixture.reset(MsgResult::No);
        setHorlogeEssai(QDateTime(QDate(2004, 1, 2), QTime(3, 4, 5)));
        m_codes.clear();
        m_sent.clear();
    }

    void historyDeletionAsksFirst()
    {
        frmPilvanor w;
        w.charger();
        // Answer, which history, kept.
        for (const auto& [answer, envoye, kept] : {std::tuple {int(MsgResult::No), false, true},
                                                   {int(MsgResult::Yes), false, false},
                                                   {int(MsgResult::Yes), true, false}}) {
            gSupprimerHistorique(!envoye);
            gEnregistrerHistorique(false, "PC1", "in", 50);
            gEnregistrerHistorique(true, "PC2", "out", 50);
            m_fixture.answer = answer;
            (envoye ? w.mnuHisSupprimerHistoriqueMessageEnvoye : w.mnuHisSupprimerHistoriqueMessageRecu)->trigger();
            const auto boxes = m_fixture.takeBoxes();
            QCOMPARE(boxes, QList({qMakePair(boxes.value(0).first, int(MsgStyle::Question | MsgStyle::YesNo))}));
            QCOMPARE(gLireHistorique(envoye).isEmpty(), !kept);
            QCOMPARE(gLireHistorique(!envoye).size(), 1);
        }
    }

    void unusableDataFolderIsSaidOnceAndTheWindowRuns()
    {
        QFile blocker(m_fixture.path(".local"));
        QVERIFY(blocker.open(QIODevice::WriteOnly)); // a file where the folder would go
        frmPilvanor w;
        w.charger();
        QVERIFY(w.isVisible());
        QVERIFY2(w.staBarreStatut->currentMessage().contains(m_fixture.path(".local/share/Pilvanor")),
                 qPrintable(w.staBarreStatut->currentMessage()));
        QVERIFY(m_fixture.boxes.isEmpty());
        // Saving a history then fails: said once in a box, however often it fails.
        m_fixture.answer = MsgResult::Yes;
        w.mnuHisSupprimerHistoriqueMessageRecu->trigger();
        w.mnuHisSupprimerHistoriqueMessageRecu->trigger();
        QCOMPARE(std::ranges::count_if(m_fixture.boxes, [](auto& b) { return b.first.contains(gFichierDonnees()); }),
                 1);
    }

    void openHistoryShowsTheMessageJustStored()
    {
        for (const bool envoye : {true, false}) {
            frmPilvanor w;
            w.charger();
            w.tmrCaptureMessage->stop();
            useFakeEngine(w);
            QAction* menu = envoye ? w.mnuHisHistoriqueMessageEnvoye : w.mnuHisHistoriqueMessageRecu;
            menu->trigger(); // nothing yet: said, no window
            const char* vide = envoye ? "HistoriqueMessageEnvoyeVide" : "HistoriqueMessageRecuVide";
            QCOMPARE(m_fixture.takeBoxes(),
                     QList({qMakePair(gMessageTexte(gParametres().fichierLangue, vide), int(MsgStyle::Information))}));
            QVERIFY(test::visibleWindows<frmMessage>().isEmpty());
            gEnregistrerHistorique(envoye, "PC1", "old", 50, QDateTime(QDate(2003, 1, 1), QTime(0, 0)));
            menu->trigger();
            const QList<frmMessage*> shown = test::visibleWindows<frmMessage>();
            QCOMPARE(shown.size(), 1);
            if (envoye) {
                w.cboDestinataire->setEditText("PC2");
                w.txtMessage->setPlainText("new");
                w.mnuMesEnvoyer->trigger();
                QTRY_VERIFY(!QApplication::overrideCursor());
            } else {
                QVERIFY(spool("Message from PC2 to BOB on 21/11/2026 10:00:00\r\n\r\nnew"));
                w.mCapturerMessage();
            }
            QCOMPARE(shown[0]->cboUtilisateur->count(), 2);
            QCOMPARE(shown[0]->txtUtilisateur->text(), "PC2");
            QCOMPARE(shown[0]->txtMessage->toPlainText(), "new");
            qDeleteAll(test::visibleWindows<frmMessage>());
        }
    }

    void popupsUnderAnUnknownTitleAreSaid()
    {
        frmPilvanor w;
        w.charger();
        w.tmrCaptureMessage->stop();
        QVERIFY(spool("Nachricht von PC2 an BOB am 21.11.2026\r\n\r\nHallo", "Nachrichtendienst "));
        w.mCapturerMessage();
        const QString said = w.staBarreStatut->currentMessage();
        QVERIFY2(said.startsWith("1 ") && said.contains("\"Nachrichtendienst \""), qPrintable(said));
        QVERIFY(gLireHistorique(false).isEmpty());
    }

    void predefinedMessageReplacesOrAppends()
    {
        IniFile(gCheminFichierDonneesParDefaut()).writeString("PredefinedMessage", "20260101120000", "A¶B");
        frmPilvanor w;
        w.charger();
        w.txtMessage->setPlainText("Hello ");
        QMetaObject::invokeMethod(w.cboMessagePredefini, "activated", Q_ARG(int, 0));
        QCOMPARE(w.txtMessage->toPlainText(), "A\nB");
        w.chkAjouterMessagePredefini->setChecked(true);
        QMetaObject::invokeMethod(w.cboMessagePredefini, "activated", Q_ARG(int, 0));
        QCOMPARE(w.txtMessage->toPlainText(), "A\nBA\nB");
    }

    void recipientCompletesAsTyped()
    {
        IniFile(gCheminFichierDonneesParDefaut()).update([](IniDocument& d) {
            d.setValue("User", "PC12", "Accueil|0");
            d.setValue("User", "PC-ACCOUNTING", "Compta|0");
            d.setValue("Group", "Bureau", "PC12");
            d.setValue("Group", "PC-ACCOUNTING", "PC-ACCOUNTING");
        });
        // List (0 users, 1 groups), typed, shown, selected.
        const std::tuple<int, const char*, const char*, const char*> cas[] = {
            {1, "pc", "PC-ACCOUNTING", "-ACCOUNTING"},
            {0, "pc", "PC12 (Accueil)", "12 (Accueil)"}, // the first in list order
            {0, "zz9", "ZZ9", ""},                       // no entry: upper case
            {1, "pc1,pc", "PC1,PC", ""},                 // a typed list
        };
        for (const auto& [liste, typed, shown, selected] : cas) {
            frmPilvanor w;
            w.charger();
            w.optDestinataire[liste]->setChecked(true);
            QTest::keyClicks(w.cboDestinataire, typed);
            QCOMPARE(w.cboDestinataire->currentText(), shown);
            QCOMPARE(w.cboDestinataire->lineEdit()->selectedText(), selected);
        }
    }

    void replyFillsTheMessageAndSelectsTheStation()
    {
        storeSetting("CaractereDevantReponseExpediteur", "| ");
        frmPilvanor w;
        w.charger();
        w.optDestinataire[1]->setChecked(true);
        w.txtMessage->setPlainText("old");
        w.mRepondre("pc7 (x)", "a\r\nb", true);
        QCOMPARE(w.txtMessage->toPlainText(), "\n\n| a\n| b");
        QVERIFY(w.optDestinataire[0]->isChecked());
        QCOMPARE(w.cboDestinataire->currentText(), "PC7 (PC7)"); // the sender became a user
        // A name that cannot be kept is answered all the same.
        w.mRepondre("#pc8", "a", false);
        QCOMPARE(w.cboDestinataire->currentText() + '|' + w.txtMessage->toPlainText(), "#PC8|a");
        QVERIFY(m_fixture.takeBoxes().isEmpty());
    }

    void sendNeedsRecipientAndText()
    {
        const std::tuple<const char*, const char*, bool> cas[]
            = {{"PC1", "", false}, {"PC1", " \n ", false}, {"  ", "Hello", false}, {"PC1", "Hello", true}};
        for (const auto& [recipient, text, enabled] : cas) {
            frmPilvanor w;
            w.charger();
            useFakeEngine(w);
            w.cboDestinataire->setEditText(recipient);
            w.txtMessage->setPlainText(text);
            QCOMPARE(w.mnuMesEnvoyer->isEnabled(), enabled);
            QCOMPARE(w.bouton.EnvoyerMessage->isEnabled(), enabled);
            // Enter in the recipient box sends only when Send may.
            QTest::keyClick(w.cboDestinataire, Qt::Key_Return);
            QTRY_VERIFY(!QApplication::overrideCursor());
            QCOMPARE(m_sent.isEmpty(), !enabled);
        }
    }

    void failureToOneStationIsBoxed()
    {
        storeSetting("EffacerMessageApresEnvoi", "1");
        storeSetting("MinimiserApresEnvoi", "1");
        m_codes.insert("PC1", 5);
        for (const auto& [station, box] : {std::pair {"PC1", "Access to computer denied."},
                                           {"GHOST", "The station GHOST cannot be found or does not answer."}}) {
            m_fixture.boxes.clear();
            frmPilvanor w;
            w.charger();
            useFakeEngine(w);
            QVERIFY(QTest::qWaitForWindowExposed(&w));
            w.cboDestinataire->setEditText(station);
            w.txtMessage->setPlainText("Hello");
            QTest::keyClick(w.txtMessage, Qt::Key_Return, Qt::ControlModifier);
            QCOMPARE(QApplication::overrideCursor() ? QApplication::overrideCursor()->shape() : Qt::ArrowCursor,
                     Qt::WaitCursor);
            QVERIFY(!w.mnuMesEnvoyer->isEnabled());
            QTRY_VERIFY(!QApplication::overrideCursor());
            QCOMPARE(m_fixture.boxes, QList({qMakePair(QString(box), int(MsgStyle::Exclamation))}));
            // Neither cleared nor minimised, and no group window for one station.
            QCOMPARE(w.txtMessage->toPlainText(), "Hello");
            QVERIFY(!w.isMinimized());
            QVERIFY(!w.fenetreEnvoiGroupe());
        }
    }

    void groupSendFillsItsWindowInOrder()
    {
        storeSetting("MinimiserApresEnvoi", "0");
        m_codes.insert("PEERD", 2273);
        frmPilvanor w;
        w.charger();
        useFakeEngine(w);
        w.cboDestinataire->setEditText("peerb, GHOST,peerc,peerd");
        QCOMPARE(w.lblGroupeRapide->text(), "Quick group: PEERB, GHOST, PEERC, PEERD");
        w.txtMessage->setPlainText("Hi all");
        w.mnuMesEnvoyer->trigger();
        QTRY_VERIFY(!QApplication::overrideCursor());
        frmEnvoiMessageGroupe* g = w.fenetreEnvoiGroupe();
        QVERIFY(g && g->isVisible());
        QCOMPARE(lines(g),
                 QStringList({"Sending started (2004-01-02 03:04:05)|",
                              "PEERB|Message sent successfully",
                              "GHOST|The station GHOST cannot be found or does not answer.|red",
                              "PEERC|Message sent successfully",
                              "PEERD|The station PEERD cannot be found or does not answer.|red",
                              "Sending finished (2004-01-02 03:04:05)|"}));
        QVERIFY(m_fixture.boxes.isEmpty());
        QCOMPARE(w.txtMessage->toPlainText(), "Hi all"); // a failure keeps the text

        // A second send while the window is open, minimised, starts it afresh and brings it back.
        g->showMinimized();
        w.cboDestinataire->setEditText("PEERC,PEERB");
        w.mnuMesEnvoyer->trigger();
        QTRY_VERIFY(!QApplication::overrideCursor());
        QCOMPARE(w.fenetreEnvoiGroupe(), g);
        QVERIFY(!g->isMinimized());
        QCOMPARE(lines(g).size(), 4);
        QCOMPARE(lines(g).mid(1, 2),
                 QStringList({"PEERC|Message sent successfully", "PEERB|Message sent successfully"}));
        QVERIFY(w.txtMessage->toPlainText().isEmpty());
    }

    void soundPlaysBeforeAReminderOrMessageShows()
    {
        // JouerFichierSon, the file there, played.
        for (const auto& [on, present, played] :
             {std::tuple {"1", true, true}, {"1", false, false}, {"0", true, false}}) {
            const QString wav = m_fixture.path("ding.wav");
            QFile::remove(wav);
            if (present) {
                QVERIFY(QFile(wav).open(QIODevice::WriteOnly));
            }
            storeSetting("JouerFichierSon", on);
            storeSetting("FichierSon", wav);
            IniFile(gFichierParametres()).writeString(SectionRappel, "1", "1|20040102|0304|Wake¶up");
            frmPilvanor w;
            w.charger();
            w.tmrCaptureMessage->stop();
            QVERIFY(spool("Message from ALICE to BOB on x\r\n\r\nHello"));
            QStringList sounds; // the file, and how many message windows showed when it played
            setLecteurSon([&sounds](const QString& f) {
                sounds.append(f + '|' + QString::number(test::visibleWindows<frmMessage>().size()));
            });
            w.mCapturerMessage();
            setLecteurSon({});
            QCOMPARE(sounds, played ? QStringList({wav + "|0", wav + "|1"}) : QStringList());
            const QList<frmMessage*> shown = test::visibleWindows<frmMessage>();
            QCOMPARE(shown.size(), 2);
            const auto rappel
                = std::ranges::find_if(shown, [](auto* f) { return f->typeFenetre() == TypeFenetre::Rappel; });
            QVERIFY(rappel != shown.end());
            QCOMPARE((*rappel)->txtMessage->toPlainText() + '|' + (*rappel)->mstrDateHeure,
                     "Wake\nup|2004/01/02 03:04");
            qDeleteAll(test::visibleWindows<frmMessage>());
        }
    }

    // --new-message: the window ready to type to the station, a known user chosen from the list.
    void newMessageRequestSelectsTheStation()
    {
        IniFile(gFichierDonnees()).writeString(SectionUtilisateur, "PC7", "Seventh|0");
        frmPilvanor w;
        w.charger();
        w.tmrCaptureMessage->stop();
        for (const auto& [station, shown] : {std::pair {"PC7", "PC7 (Seventh)"}, {"PC8,PC9", "PC8,PC9"}}) {
            w.mTraiterDemande({Demande::Action::NouveauMessage, station, {}});
            QCOMPARE(w.cboDestinataire->currentText(), shown);
            QTRY_COMPARE(QApplication::focusWidget(), w.txtMessage);
        }
        w.mTraiterDemande({Demande::Action::NouveauMessage, {}, {}});
        QCOMPARE(w.cboDestinataire->currentText(), "PC8,PC9");
        QTRY_VERIFY(w.cboDestinataire->hasFocus());
    }

    void openSelectedTextOpensAddressOrFileOrSaysMissing()
    {
        frmPilvanor w;
        QVERIFY(QFile(m_fixture.path("here.txt")).open(QIODevice::WriteOnly));
        for (const QString text : {"readme.txt", "here.txt", "www.example.org", ""}) {
            w.txtMessage->setPlainText("see " + text);
            QTextCursor c = w.txtMessage->textCursor();
            c.setPosition(4);
            c.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
            w.txtMessage->setTextCursor(c);
            w.bouton.OuvrirTexteSelectionne->trigger();
        }
        QCOMPARE(m_fixture.boxes.size(), 1);
        QCOMPARE(m_fixture.boxes[0].second, int(MsgStyle::Exclamation));
        QVERIFY(m_fixture.boxes[0].first.contains(m_fixture.path("readme.txt")));
        QCOMPARE(m_fixture.opened,
                 QList<QUrl>({QUrl::fromLocalFile(m_fixture.path("here.txt")), QUrl("http://www.example.org")}));
    }

    void wholeReasonForNotReceivingShows()
    {
        frmPilvanor w;
        w.charger();
        const QString raison = "TCP port 139: Permission denied; " + QString(300, 'x');
        Q_EMIT w.findChild<LanceurService*>()->receptionImpossible(raison);
        const QString texte = "This computer cannot receive messages: " + raison;
        QCOMPARE(w.staBarreStatut->toolTip(), texte);
        QTest::mouseClick(w.staBarreStatut, Qt::LeftButton);
        QCOMPARE(m_fixture.takeBoxes(), QList({qMakePair(texte, int(MsgStyle::Information))}));
    }

    void qtOwnTextsFollowTheLanguage()
    {
        frmPilvanor w;
        // Language, the standard buttons of a question box: at start-up, then changed in the preferences.
        for (const auto& [langue, boutons] : {std::pair {"FRA", "&Oui|&Non"}, {"ENG", "&Yes|&No"}}) {
            IniFile(gFichierParametres()).writeString(SectionGeneral, "Langue", langue);
            if (QString(langue) == "FRA") {
                w.charger();
            } else {
                w.appliquerParametres();
            }
            QMessageBox box(QMessageBox::Question, "", "", QMessageBox::Yes | QMessageBox::No);
            QCOMPARE(box.button(QMessageBox::Yes)->text() + '|' + box.button(QMessageBox::No)->text(), boutons);
        }
    }

    void noAssociationOpensTheDesktopTextEditor()
    {
        // The desktop's text editor here copies the file beside it; a missing program is passed over.
        const QString copie = m_fixture.path("opened.txt");
        QVERIFY(QDir().mkpath(m_fixture.path(".local/share/applications")) && QDir().mkpath(m_fixture.path(".config")));
        const std::pair<const char*, QString> fichiers[]
            = {{".local/share/applications/pv-copie.desktop", "[Desktop Entry]\nExec=cp %f \"" + copie + "\"\n"},
               {".config/mimeapps.list", "[Default Applications]\ntext/plain=absent.desktop;pv-copie.desktop\n"},
               {"here.txt", "Hello"}};
        for (const auto& [nom, contenu] : fichiers) {
            QFile f(m_fixture.path(nom));
            QVERIFY(f.open(QIODevice::WriteOnly) && f.write(contenu.toUtf8()) > 0);
        }
        const QByteArray dataDirs = qgetenv("XDG_DATA_DIRS");
        const auto restore = qScopeGuard([&dataDirs] { qputenv("XDG_DATA_DIRS", dataDirs); });
        qputenv("XDG_DATA_DIRS", m_fixture.path("none").toUtf8()); // no program of this machine's
        qunsetenv("VISUAL");
        qunsetenv("EDITOR");
        frmPilvanor w;
        m_fixture.browser = false;
        m_fixture.answer = MsgResult::Yes;
        w.txtMessage->setPlainText("here.txt");
        w.txtMessage->selectAll();
        w.bouton.OuvrirTexteSelectionne->trigger();
        QTRY_VERIFY(QFile::exists(copie));
        QFile lu(copie);
        QVERIFY(lu.open(QIODevice::ReadOnly));
        QCOMPARE(lu.readAll(), "Hello");
        QCOMPARE(m_fixture.takeBoxes().size(), 1);

        // With no editor at all, it says so.
        QVERIFY(QFile::remove(m_fixture.path(".config/mimeapps.list")));
        w.bouton.OuvrirTexteSelectionne->trigger();
        const auto boxes = m_fixture.takeBoxes();
        QCOMPARE(boxes.size(), 2);
        QCOMPARE(boxes[1].first,
                 "No text editor is set up on this computer to open " + m_fixture.path("here.txt") + ".");
    }

    void helpOpensItsFirstPageOrSaysWhyNot()
    {
        frmPilvanor w;
        gParametres().fichierLangue = test::langFile("ENG");
        gDefinirDossierProgramme(QStringLiteral(PV_SOURCE_DIR)); // the shipped help/
        w.mnuAidPilvanor->trigger();
        w.mnuSysAidePilvanor->trigger();
        w.bouton.AidePilvanor->trigger();
        QCOMPARE(m_fixture.opened, QList<QUrl>(3, QUrl::fromLocalFile(PV_SOURCE_DIR "/help/index.html")));
        QVERIFY(m_fixture.boxes.isEmpty());

        m_fixture.browser = false;
        w.mnuAidPilvanor->trigger();
        gDefinirDossierProgramme(QStringLiteral(PV_SOURCE_DIR "/lang")); // no help there
        w.mnuAidPilvanor->trigger();
        QCOMPARE(m_fixture.opened.size(), 4);
        QCOMPARE(m_fixture.boxes.size(), 2);
        QVERIFY2(m_fixture.boxes[0].first.contains("browser"), qPrintable(m_fixture.boxes[0].first));
        QVERIFY2(m_fixture.boxes[1].first.contains(PV_SOURCE_DIR "/lang/help/index.html"),
                 qPrintable(m_fixture.boxes[1].first));
    }
};

QTEST_MAIN(tst_frmPilvanor)
#include "tst_frmPilvanor.moc"
