#include "common/DataFile.h"
#include "common/IniFile.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/Paths.h"
#include "engine/Settings.h"
#include "engine/frmPilvanor.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QMenu>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QToolBar>
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

private:
    QString langFile(const QString& code) const { return QStringLiteral(PV_SOURCE_DIR "/lang/pv.") + code; }
    void storeSetting(const char* key, const QString& value)
    {
        IniFile(gFichierParametres()).writeString(SectionGeneral, key, value);
    }

    std::unique_ptr<QTemporaryDir> m_home;
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
    for (QAction* later : {w.mnuFicUtilisateur, w.mnuFicPreference, w.mnuMesEnvoyer, w.mnuSysAProposDe}) {
        QVERIFY2(!later->isEnabled(), qPrintable(later->objectName()));
    }
    QVERIFY(!w.boutonBarreOutils("EnvoyerMessage")->isEnabled());
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

QTEST_MAIN(tst_frmPilvanor)
#include "tst_frmPilvanor.moc"
