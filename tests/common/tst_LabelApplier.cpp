#include "FormFixture.h"

#include "addressbook/frmGroupe.h"
#include "addressbook/frmMessagePredefini.h"
#include "addressbook/frmRechercherUtilisateur.h"
#include "addressbook/frmUtilisateur.h"
#include "common/ErrorReport.h"
#include "common/IniFile.h"
#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/MessageBoxes.h"
#include "engine/frmEnvoiMessageGroupe.h"
#include "engine/frmPilvanor.h"
#include "reminders/frmListeRappel.h"
#include "settings/frmAProposDe.h"
#include "settings/frmConfigurationCapture.h"
#include "settings/frmPreference.h"
#include "viewer/frmMessage.h"

#include <QtTest>
#include <QtWidgets>

#include <memory>
#include <tuple>

using namespace pv;

namespace {

// One control of each kind the language files label.
std::unique_ptr<QWidget> buildForm()
{
    auto* f = new QWidget;
    f->setObjectName("frmEssai");
    f->setWindowTitle("Built-in");
    const auto add = [](auto* control, const char* name) {
        control->setObjectName(QString::fromLatin1(name));
        return control;
    };
    auto* tabs = add(new QTabWidget(f), "tabOnglets");
    tabs->addTab(new QWidget, "T1");
    tabs->addTab(new QWidget, "T2");
    add(new QTreeWidget(f), "lstMessages")->setHeaderLabels({"C1", "C2", "C3"});
    add(new QPushButton(f), "cmdOK");
    add(new QPushButton(f), "cmdAnnuler");
    add(new QRadioButton(f), "optChoix")->setProperty("index", 0);
    add(new QRadioButton(f), "optChoix")->setProperty("index", 1);
    add(new QLabel(f), "lblNom");
    add(new QLabel(f), "lblValeur")->setProperty("sansLibelle", true); // the program sets its text
    add(new QLineEdit(f), "txtNom");
    auto* bar = add(new QToolBar(f), "tlbOutils");
    bar->addAction("New")->setObjectName("btnNouveau"); // labelled by the tool bar's key only
    bar->addSeparator();
    bar->addAction("Open")->setObjectName("btnOuvrir");
    auto* menu = add(new QMenu(f), "mnuFichier");
    menu->addAction("Quit")->setObjectName("mnuFicQuitter");
    menu->addSeparator()->setObjectName("mnuFicSeparateur");
    return std::unique_ptr<QWidget>(f);
}

// cmdAnnuler lacks the third part a tool tip needs; the last line: key case, blanks, value cut at a second "=".
const QString completeSection
    = "TITRE=Essai\ntabOnglets=Un,Deux\nlstMessages=A,B,C\ntlbOutils=Nouveau,Ouvrir\n"
      "cmdOK=OK,Close,\ncmdAnnuler=Annuler,Give up\noptChoix(0)=Utilisateurs\n"
      "optChoix(1)=Groupes\nlblNom=Nom\nmnuFicQuitter=&Quitter\n  MNUFICHIER = &Fichier=cut\n";

} // namespace

class TestLabelApplier : public QObject
{
    Q_OBJECT

private:
    QString writeSection(const QString& body)
    {
        QFile f(m_dir.filePath("pv.TST"));
        return f.open(QIODevice::WriteOnly) && f.write(("[frmEssai]\n" + body).toUtf8()) > 0 ? f.fileName() : "";
    }

    QTemporaryDir m_dir;
    QStringList m_shown; // "style|text"

private Q_SLOTS:
    void init()
    {
        m_shown.clear();
        setMessageBoxPresenter([this](const QString& text, int style, const QString&) {
            m_shown.append(QString::number(style) + "|" + text);
            return int(MsgResult::Ok);
        });
    }
    void cleanup() { setMessageBoxPresenter({}); }

    void appliesEachKind()
    {
        auto form = buildForm();
        QVERIFY(gAfficherLibelle(writeSection(completeSection), form.get()));
        const auto* tabs = form->findChild<QTabWidget*>();
        const auto* columns = form->findChild<QTreeWidget*>()->headerItem();
        const auto tools = form->findChild<QToolBar*>()->actions(); // the separator is the second
        const auto options = form->findChildren<QRadioButton*>();
        const auto* ok = form->findChild<QPushButton*>("cmdOK");
        const auto* cancel = form->findChild<QPushButton*>("cmdAnnuler");
        QStringList shown;
        shown << form->windowTitle() << tabs->tabText(0) << tabs->tabText(1) << columns->text(0) << columns->text(2)
              << tools[0]->toolTip() << tools[2]->toolTip() << ok->text() << ok->toolTip() << cancel->text()
              << cancel->toolTip() << options[0]->text() << options[1]->text()
              << form->findChild<QLabel*>("lblNom")->text() << form->findChild<QMenu*>()->title()
              << form->findChild<QAction*>("mnuFicQuitter")->text();
        QCOMPARE(shown.join('|'),
                 "Essai|Un|Deux|A|C|Nouveau|Ouvrir|OK|Close|Annuler||Utilisateurs|Groupes|Nom|&Fichier|&Quitter");
    }

    void reportsAFaultOnceKeepingEarlierLabels()
    {
        const std::tuple<QString, int, QString> faults[] = {
            {"lblInconnu", 730, "Control 'lblInconnu' not found"}, // a line without "=" is a key
            {"optChoix=x", 730, "Control 'optChoix' not found"},   // a member needs its index
            {"lstMessages=A,B",
             9,
             "Control 'lstMessages' has 3 columns but its label gives only 2 part(s) separated by \",\""},
            {"cmdOK=", 9, "Control 'cmdOK' is given no caption"},
            {"txtNom=x", 438, "Control 'txtNom' (QLineEdit) takes no label"},
        };
        for (const auto& [line, number, description] : faults) {
            m_shown.clear();
            auto form = buildForm();
            QVERIFY(!gAfficherLibelle(writeSection("lblNom=Avant\n" + line + "\nTITRE=Après\n"), form.get()));
            QCOMPARE(m_shown,
                     QStringList("48|" + gTexteRapportErreur("modPilvanor.gAfficherLibelle", number, description)));
            QCOMPARE(form->findChild<QLabel*>("lblNom")->text(), "Avant");
            QCOMPARE(form->windowTitle(), "Built-in");
        }
    }

    void reportsAMissingFileOrSection()
    {
        const QString noFile = m_dir.filePath("pv.XXX");
        const QString noSection = writeSection("; only a comment\n");
        const std::pair<QString, QString> cases[] = {
            {noFile, "Le fichier des libellés (" + noFile + ") est inexistant."},
            {noSection,
             "La fenêtre 'frmEssai' est inexistante ou il n'y a aucun libellé de spécifié pour cette fenêtre dans le "
             "fichier "
                 + noSection + "."},
        };
        for (const auto& [file, text] : cases) {
            m_shown.clear();
            auto form = buildForm();
            QVERIFY(!gAfficherLibelle(file, form.get()));
            QCOMPARE(m_shown, QStringList("48|" + text));
            QCOMPARE(gVerifierLibelles(file, form.get()), QStringList(text));
        }
    }

    void verifiesTheSection()
    {
        const std::pair<QString, QString> cases[] = {
            {completeSection, ""},
            {QString(completeSection).remove("lblNom=Nom\n"), "no label for 'lblNom' (QLabel)"},
            {QString(completeSection).remove("optChoix(1)=Groupes\n"), "no label for 'optChoix(1)' (QRadioButton)"},
            {completeSection + "lblFantome=x\n", "Control 'lblFantome' not found"},
            {completeSection + "lblnom=Encore\n", "key 'lblnom' is given twice"},
        };
        for (const auto& [section, problem] : cases) {
            auto form = buildForm();
            QCOMPARE(gVerifierLibelles(writeSection(section), form.get()),
                     problem.isEmpty() ? QStringList() : QStringList("pv.TST [frmEssai] " + problem));
            QCOMPARE(form->windowTitle(), "Built-in"); // checking applies nothing
        }
        QVERIFY(m_shown.isEmpty());
    }

    // Every window of the program in both languages: each captioned control has its key, each key its control, and
    // the texts a window takes from the messages are the file's.
    void shippedWindowsHaveTheirLabels()
    {
        test::FormFixture fixture;
        for (const char* code : {"ENG", "FRA"}) {
            fixture.reset();
            const QString lang = test::langFile(code);
            const IniFile fichier(lang);
            IniFile(gFichierParametres()).writeString(SectionGeneral, "Langue", code);
            IniFile(gFichierDonnees()).writeString(SectionMessageEnvoye, "20040101000000000", "PC1|m");
            frmPilvanor principale;
            principale.charger();
            QCOMPARE(gParametres().fichierLangue, lang);
            frmEnvoiMessageGroupe groupe;
            frmUtilisateur utilisateurs;
            frmGroupe groupes;
            frmRechercherUtilisateur recherche;
            frmMessagePredefini messages;
            frmListeRappel rappels;
            frmPreference preferences;
            frmConfigurationCapture capture;
            frmAProposDe aPropos;
            frmMessage historique(TypeFenetre::HistoriqueEnvoye);
            QVERIFY(historique.mCharger());
            for (QWidget* w : QApplication::topLevelWidgets()) {
                if (!w->objectName().startsWith("frm")) {
                    continue; // menus, tool tips
                }
                const QStringList problems = gVerifierLibelles(lang, w);
                QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));
                if (w != &historique) {
                    QCOMPARE(w->windowTitle(), fichier.readString(w->objectName(), "TITRE"));
                }
            }
            QVERIFY2(fixture.boxes.isEmpty(), qPrintable(fixture.boxes.value(0).first));
            // Texts the windows take from the messages rather than from their labels.
            QCOMPARE(preferences.cboAffichageMessage->itemText(2), gMessageTexte(lang, "AfficherMessageInfoBulle"));
            QCOMPARE(historique.fraExpediteur->title(), gMessageTexte(lang, "CadreDestinataire"));
        }
    }

    void showsQMessageBoxes()
    {
        installMessageBoxes();
        using B = QMessageBox;
        namespace S = MsgStyle;
        // style, buttons, icon, key pressed, result
        const std::tuple<int, int, int, int, int> cases[] = {
            {S::Question | S::YesNo, B::Yes | B::No, B::Question, Qt::Key_Escape, MsgResult::No},
            {S::YesNoCancel, B::Yes | B::No | B::Cancel, B::NoIcon, Qt::Key_Escape, MsgResult::Cancel},
            {S::OkCancel | S::DefaultButton2, B::Ok | B::Cancel, B::NoIcon, Qt::Key_Return, MsgResult::Cancel},
            {S::Exclamation, B::Ok, B::Warning, Qt::Key_Return, MsgResult::Ok},
        };
        for (const auto& [style, buttons, icon, press, result] : cases) {
            QString seen;
            QTimer::singleShot(0, this, [&seen, key = press] {
                auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
                seen = box->text() + "|" + box->windowTitle() + "|" + QString::number(box->standardButtons().toInt())
                       + "|" + QString::number(box->icon());
                QTest::keyClick(box, Qt::Key(key));
            });
            QCOMPARE(showMessageBox(QString("Shown") + QChar(0) + "hidden", style), result);
            QCOMPARE(seen, QString("Shown|Pilvanor|%1|%2").arg(buttons).arg(icon));
        }
    }
};

QTEST_MAIN(TestLabelApplier)
#include "tst_LabelApplier.moc"
