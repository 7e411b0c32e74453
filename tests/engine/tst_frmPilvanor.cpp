#include "common/DataFile.h"
#include "common/IniFile.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/Paths.h"
#include "engine/Envoi.h"
#include "engine/Settings.h"
#include "engine/frmEnvoiMessageGroupe.h"
#include "engine/frmPilvanor.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QToolBar>
#include <QTreeWidget>
#include <QtTest>

using namespace pv;

class tst_frmPilvanor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void captionsComeFromTheLanguageFile_data();
    void captionsComeFromTheLanguageFile();
    void laterWindowsAreVisiblyUnavailable();
    void listsShowTheDataFile();
    void predefinedMessageReplacesOrAppends();
    void closeBoxMinimisesWhenAsked();
    void unloadKeepsTheCheckBoxes();
    void historyDeletionAsksFirst_data();
    void historyDeletionAsksFirst();
    void unusableDataFolderIsSaidOnceAndTheWindowRuns();
    void recipientCompletesAsTyped_data();
    void recipientCompletesAsTyped();
    void sendNeedsRecipientAndText_data();
    void sendNeedsRecipientAndText();
    void ctrlEnterSendsToOneStation_data();
    void ctrlEnterSendsToOneStation();
    void groupSendFillsItsWindowInOrder();

private:
    QString langFile(const QString& code) const { return QStringLiteral(PV_SOURCE_DIR "/lang/pv.") + code; }
    void storeSetting(const char* key, const QString& value)
    {
        IniFile(gFichierParametres()).writeString(SectionGeneral, key, value);
    }

    // An engine whose transport answers from m_codes (0 for a station not listed), whose ping finds every
    // station but GHOST, and which keeps what it was given in m_sent.
    void useFakeEngine(frmPilvanor& w)
    {
        auto transport = [this](const QString& station, const QString&, const QString& texte) {
            m_sent.append(station + '|' + texte);
            return m_codes.value(station, 0);
        };
        auto ping = [](const QString& station, QString*, int) { return station != "GHOST"; };
        w.utiliserEnvoi(new EnvoiMessage(transport, ping));
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

    std::unique_ptr<QTemporaryDir> m_home;
    QHash<QString, int> m_codes;
    QStringList m_sent;
    QList<QPair<QString, int>> m_boxes;
    int m_answer = MsgResult::No;
};

void tst_frmPilvanor::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    qputenv("HOME", m_home->path().toUtf8());
    for (const char* v : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"}) {
        qunsetenv(v);
    }
    qputenv("PILVANOR_MESSENGER", "off");
    gDefinirDossierProgramme(QStringLiteral(PV_SOURCE_DIR "/lang"));
    gDefinirFichierParametres(gCheminFichierParametres());
    gParametres() = Parametres {};
    m_boxes.clear();
    m_codes.clear();
    m_sent.clear();
    setMessageBoxPresenter([this](const QString& text, int style, const QString&) {
        m_boxes.append({text, style});
        return m_answer;
    });
}

void tst_frmPilvanor::captionsComeFromTheLanguageFile_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("quit");
    QTest::newRow("English") << "ENG"
                             << "&Quit";
    QTest::newRow("French") << "FRA"
                            << "&Quitter";
}

void tst_frmPilvanor::captionsComeFromTheLanguageFile()
{
    QFETCH(QString, code);
    QFETCH(QString, quit);
    storeSetting("Langue", code);
    frmPilvanor w;
    w.charger();
    QVERIFY2(m_boxes.isEmpty(), qPrintable(m_boxes.value(0).first));
    QCOMPARE(w.mnuFicQuitter->text(), quit);
    const QStringList problems = gVerifierLibelles(langFile(code), &w);
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));
    // Toolbar tips come in button order, separators taking none.
    const QStringList tips = IniFile(langFile(code)).readString("frmPilvanor", "tlbPrincipale").split(',');
    QCOMPARE(w.boutonBarreOutils("Utilisateurs")->toolTip(), tips.value(0));
    QCOMPARE(w.boutonBarreOutils("HistoriqueMessageRecu")->toolTip(), tips.value(2));
    QCOMPARE(w.boutonBarreOutils("AidePilvanor")->toolTip(), tips.value(8));

    gParametres().fichierLangue = langFile(code);
    frmEnvoiMessageGroupe g;
    const QStringList groupProblems = gVerifierLibelles(langFile(code), &g);
    QVERIFY2(groupProblems.isEmpty(), qPrintable(groupProblems.join('\n')));
    QCOMPARE(g.lstUtilisateur->headerItem()->text(1),
             IniFile(langFile(code)).readString("frmEnvoiMessageGroupe", "lstUtilisateur").section(',', 1));
}

void tst_frmPilvanor::laterWindowsAreVisiblyUnavailable()
{
    frmPilvanor w;
    w.charger();
    for (QAction* working : {w.mnuFicQuitter,
                             w.mnuSysQuitter,
                             w.mnuSysRestaurer,
                             w.mnuMesEffacer,
                             w.mnuMesInsererSignature,
                             w.mnuHisSupprimerHistoriqueMessageRecu}) {
        QVERIFY2(working->isEnabled(), qPrintable(working->objectName()));
    }
    for (QAction* later : {w.mnuFicUtilisateur, w.mnuFicPreference, w.mnuSysAProposDe}) {
        QVERIFY2(!later->isEnabled(), qPrintable(later->objectName()));
    }
    QVERIFY(w.boutonBarreOutils("EffacerMessage")->isEnabled());
}

void tst_frmPilvanor::listsShowTheDataFile()
{
    IniFile data(gCheminFichierDonneesParDefaut());
    data.update([](IniDocument& d) {
        d.setValue("User", "PC12", "Accueil|0");
        d.setValue("User", "PC-ACCOUNTING", "Compta [2e]|1");
        d.setValue("Group", "Bureau", "PC12,PC-ACCOUNTING");
        d.setValue("PredefinedMessage", "20260101120000", QString::fromUtf8("Réunion¶à 14 h"));
    });
    frmPilvanor w;
    w.charger();
    QCOMPARE(gFichierDonnees(), data.path());
    QCOMPARE(w.cboDestinataire->count(), 2);
    QCOMPARE(w.cboDestinataire->itemText(1), "PC-ACCOUNTING (Compta [2e])");
    w.optDestinataire[1]->setChecked(true);
    QCOMPARE(w.cboDestinataire->count(), 1);
    QCOMPARE(w.cboDestinataire->itemText(0), "Bureau");
    QCOMPARE(w.cboMessagePredefini->count(), 1);
}

void tst_frmPilvanor::predefinedMessageReplacesOrAppends()
{
    IniFile(gCheminFichierDonneesParDefaut())
        .writeString("PredefinedMessage", "20260101120000", QString::fromUtf8("A¶B"));
    frmPilvanor w;
    w.charger();
    w.txtMessage->setPlainText("Hello ");
    QMetaObject::invokeMethod(w.cboMessagePredefini, "activated", Q_ARG(int, 0));
    QCOMPARE(w.txtMessage->toPlainText(), "A\nB");
    w.chkAjouterMessagePredefini->setChecked(true);
    QMetaObject::invokeMethod(w.cboMessagePredefini, "activated", Q_ARG(int, 0));
    QCOMPARE(w.txtMessage->toPlainText(), "A\nBA\nB");
}

void tst_frmPilvanor::closeBoxMinimisesWhenAsked()
{
    storeSetting("MinimiserBoutonX", "1");
    frmPilvanor w;
    w.charger();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    w.close();
    QVERIFY(w.isMinimized());
    QVERIFY2(gObtenirParametre(SectionGeneral, "EncrypterMessage").isEmpty(), "nothing was unloaded");
    w.quitter();
    QCOMPARE(gObtenirParametre(SectionGeneral, "EncrypterMessage"), "0");
}

void tst_frmPilvanor::unloadKeepsTheCheckBoxes()
{
    storeSetting("EncrypterMessage", "1");
    {
        frmPilvanor w;
        w.charger();
        QVERIFY(w.chkEncrypterMessage->isChecked());
        QVERIFY(!w.chkAjouterMessagePredefini->isChecked());
        w.chkEncrypterMessage->setChecked(false);
        w.chkAjouterMessagePredefini->setChecked(true);
        w.resize(400, 350);
        w.quitter();
    }
    QCOMPARE(gObtenirParametre(SectionGeneral, "EncrypterMessage"), "0");
    QCOMPARE(gObtenirParametre(SectionGeneral, "AjouterMessagePredefini"), "1");
    QVERIFY(gObtenirParametre(SectionGeneral, "PositionTailleFenetrePrincipale").endsWith(",400,350"));
}

void tst_frmPilvanor::historyDeletionAsksFirst_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("envoye");
    QTest::addColumn<bool>("kept");
    QTest::newRow("received, No") << int(MsgResult::No) << false << true;
    QTest::newRow("received, Yes") << int(MsgResult::Yes) << false << false;
    QTest::newRow("sent, Yes") << int(MsgResult::Yes) << true << false;
}

void tst_frmPilvanor::historyDeletionAsksFirst()
{
    QFETCH(int, answer);
    QFETCH(bool, envoye);
    QFETCH(bool, kept);
    frmPilvanor w;
    w.charger();
    gEnregistrerHistorique(false, "PC1", "in", 50);
    gEnregistrerHistorique(true, "PC2", "out", 50);
    m_answer = answer;
    (envoye ? w.mnuHisSupprimerHistoriqueMessageEnvoye : w.mnuHisSupprimerHistoriqueMessageRecu)->trigger();
    QCOMPARE(m_boxes.size(), 1);
    QCOMPARE(m_boxes[0].second, int(MsgStyle::Question | MsgStyle::YesNo));
    QCOMPARE(gLireHistorique(envoye).isEmpty(), !kept);
    QCOMPARE(gLireHistorique(!envoye).size(), 1);
}

void tst_frmPilvanor::unusableDataFolderIsSaidOnceAndTheWindowRuns()
{
    QFile blocker(m_home->filePath(".local"));
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    frmPilvanor w;
    w.charger();
    QVERIFY(w.isVisible());
    QVERIFY2(w.staBarreStatut->currentMessage().contains(m_home->filePath(".local/share/Pilvanor")),
             qPrintable(w.staBarreStatut->currentMessage()));
    QVERIFY(m_boxes.isEmpty());
    // Saving a history then fails: said once in a box, however often it fails.
    m_answer = MsgResult::Yes;
    w.mnuHisSupprimerHistoriqueMessageRecu->trigger();
    w.mnuHisSupprimerHistoriqueMessageRecu->trigger();
    int failures = 0;
    for (const auto& box : m_boxes) {
        failures += box.first.contains(gFichierDonnees()) ? 1 : 0;
    }
    QCOMPARE(failures, 1);
}

void tst_frmPilvanor::recipientCompletesAsTyped_data()
{
    QTest::addColumn<int>("liste");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("selected");
    QTest::newRow("group, pc") << 1 << "pc"
                               << "PC-ACCOUNTING"
                               << "-ACCOUNTING";
    QTest::newRow("user, first match in list order") << 0 << "pc"
                                                     << "PC12 (Accueil)"
                                                     << "12 (Accueil)";
    QTest::newRow("no entry: upper case") << 0 << "zz9"
                                          << "ZZ9"
                                          << "";
    QTest::newRow("typed list") << 1 << "pc1,pc"
                                << "PC1,PC"
                                << "";
}

void tst_frmPilvanor::recipientCompletesAsTyped()
{
    QFETCH(int, liste);
    QFETCH(QString, typed);
    QFETCH(QString, shown);
    QFETCH(QString, selected);
    IniFile(gCheminFichierDonneesParDefaut()).update([](IniDocument& d) {
        d.setValue("User", "PC12", "Accueil|0");
        d.setValue("User", "PC-ACCOUNTING", "Compta|0");
        d.setValue("Group", "Bureau", "PC12");
        d.setValue("Group", "PC-ACCOUNTING", "PC-ACCOUNTING");
    });
    frmPilvanor w;
    w.charger();
    w.optDestinataire[liste]->setChecked(true);
    QTest::keyClicks(w.cboDestinataire, typed);
    QCOMPARE(w.cboDestinataire->currentText(), shown);
    QCOMPARE(w.cboDestinataire->lineEdit()->selectedText(), selected);
}

void tst_frmPilvanor::sendNeedsRecipientAndText_data()
{
    QTest::addColumn<QString>("recipient");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("recipient only") << "PC1"
                                    << "" << false;
    QTest::newRow("blank text") << "PC1"
                                << " \n " << false;
    QTest::newRow("text only") << "  "
                               << "Hello" << false;
    QTest::newRow("both") << "PC1"
                          << "Hello" << true;
}

void tst_frmPilvanor::sendNeedsRecipientAndText()
{
    QFETCH(QString, recipient);
    QFETCH(QString, text);
    QFETCH(bool, enabled);
    frmPilvanor w;
    w.charger();
    useFakeEngine(w);
    w.cboDestinataire->setEditText(recipient);
    w.txtMessage->setPlainText(text);
    QCOMPARE(w.mnuMesEnvoyer->isEnabled(), enabled);
    QCOMPARE(w.boutonBarreOutils("EnvoyerMessage")->isEnabled(), enabled);
    // Enter in the recipient box sends only when Send may.
    QTest::keyClick(w.cboDestinataire, Qt::Key_Return);
    QTRY_VERIFY(!QApplication::overrideCursor());
    QCOMPARE(m_sent.isEmpty(), !enabled);
}

void tst_frmPilvanor::ctrlEnterSendsToOneStation_data()
{
    QTest::addColumn<QString>("station");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("clearAndMinimise");
    QTest::addColumn<QString>("box");
    QTest::newRow("delivered, clear and minimise") << "PC1" << 0 << "1"
                                                   << "";
    QTest::newRow("delivered, keep") << "PC1" << 0 << "0"
                                     << "";
    QTest::newRow("refused") << "PC1" << 5 << "1"
                             << "Access to computer denied.";
    QTest::newRow("no answer to ping") << "GHOST" << 0 << "1"
                                       << "The station GHOST cannot be found or does not answer.";
}

void tst_frmPilvanor::ctrlEnterSendsToOneStation()
{
    QFETCH(QString, station);
    QFETCH(int, code);
    QFETCH(QString, clearAndMinimise);
    QFETCH(QString, box);
    storeSetting("EffacerMessageApresEnvoi", clearAndMinimise);
    storeSetting("MinimiserApresEnvoi", clearAndMinimise);
    m_codes.insert(station, code);
    frmPilvanor w;
    w.charger();
    useFakeEngine(w);
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    w.cboDestinataire->setEditText(station);
    w.txtMessage->setPlainText("Hello\nworld");
    QTest::keyClick(w.txtMessage, Qt::Key_Return, Qt::ControlModifier);
    QVERIFY(QApplication::overrideCursor());
    QCOMPARE(QApplication::overrideCursor()->shape(), Qt::WaitCursor);
    QVERIFY(!w.mnuMesEnvoyer->isEnabled());
    QTRY_VERIFY(!QApplication::overrideCursor());

    const bool delivered = box.isEmpty();
    QCOMPARE(m_sent, station == "GHOST" ? QStringList() : QStringList {station + "|Hello\r\nworld"});
    QCOMPARE(m_boxes.size(), delivered ? 0 : 1);
    if (!delivered) {
        QCOMPARE(m_boxes[0], qMakePair(box, int(MsgStyle::Exclamation)));
    }
    QCOMPARE(w.staBarreStatut->currentMessage().startsWith("Message sent successfully ("), delivered);
    const bool after = delivered && clearAndMinimise == "1";
    QCOMPARE(w.txtMessage->toPlainText().isEmpty(), after);
    QCOMPARE(w.isMinimized(), after);
    QVERIFY(!w.fenetreEnvoiGroupe());
}

void tst_frmPilvanor::groupSendFillsItsWindowInOrder()
{
    storeSetting("MinimiserApresEnvoi", "0");
    m_codes.insert("PEERD", 2273);
    frmPilvanor w;
    w.charger();
    useFakeEngine(w);
    w.cboDestinataire->setEditText("peerb, GHOST,peerc,peerd");
    QVERIFY(w.lblGroupeRapide->isVisibleTo(&w));
    QCOMPARE(w.lblGroupeRapide->text(), "Quick group: PEERB, GHOST, PEERC, PEERD");
    w.txtMessage->setPlainText("Hi all");
    w.mnuMesEnvoyer->trigger();
    QTRY_VERIFY(!QApplication::overrideCursor());
    frmEnvoiMessageGroupe* g = w.fenetreEnvoiGroupe();
    QVERIFY(g && g->isVisible());
    QVERIFY(g->cmdFermer->isEnabled());
    QStringList got = lines(g);
    QCOMPARE(got.size(), 6);
    QVERIFY2(got.first().startsWith("Sending started (20"), qPrintable(got.first()));
    QCOMPARE(got.mid(1, 4),
             QStringList({"PEERB|Message sent successfully",
                          "GHOST|The station GHOST cannot be found or does not answer.|red",
                          "PEERC|Message sent successfully",
                          "PEERD|The station PEERD cannot be found or does not answer.|red"}));
    QVERIFY2(got.last().startsWith("Sending finished (20"), qPrintable(got.last()));
    QVERIFY(m_boxes.isEmpty());
    QCOMPARE(w.txtMessage->toPlainText(), "Hi all");

    // A second send while the window is open starts it afresh.
    w.cboDestinataire->setEditText("PEERC,PEERB");
    w.mnuMesEnvoyer->trigger();
    QTRY_VERIFY(!QApplication::overrideCursor());
    QCOMPARE(w.fenetreEnvoiGroupe(), g);
    got = lines(g);
    QCOMPARE(got.mid(1, 2), QStringList({"PEERC|Message sent successfully", "PEERB|Message sent successfully"}));
    QCOMPARE(got.size(), 4);
    QVERIFY(w.txtMessage->toPlainText().isEmpty());
}

QTEST_MAIN(tst_frmPilvanor)
#include "tst_frmPilvanor.moc"
