#include "common/LabelApplier.h"
#include "common/Language.h"
#include "common/MessageBoxes.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolBar>
#include <QTreeWidget>
#include <QtTest>

#include <algorithm>
#include <memory>

using namespace pv;

namespace {

// A small window with one control of each kind the language files label.
std::unique_ptr<QMainWindow> buildForm()
{
    auto form = std::make_unique<QMainWindow>();
    form->setObjectName(QStringLiteral("frmEssai"));
    form->setWindowTitle(QStringLiteral("Built-in"));
    auto* central = new QWidget(form.get());
    form->setCentralWidget(central);

    auto* tabs = new QTabWidget(central);
    tabs->setObjectName(QStringLiteral("tabOnglets"));
    tabs->addTab(new QWidget, QStringLiteral("T1"));
    tabs->addTab(new QWidget, QStringLiteral("T2"));

    auto* list = new QTreeWidget(central);
    list->setObjectName(QStringLiteral("lstMessages"));
    list->setHeaderLabels({QStringLiteral("C1"), QStringLiteral("C2"), QStringLiteral("C3")});

    auto* ok = new QPushButton(QStringLiteral("cmd"), central);
    ok->setObjectName(QStringLiteral("cmdOK"));

    for (int i : {0, 1}) {
        auto* option = new QRadioButton(QStringLiteral("R%1").arg(i), central);
        option->setObjectName(QStringLiteral("optChoix"));
        option->setProperty("index", i);
    }

    auto* label = new QLabel(QStringLiteral("label"), central);
    label->setObjectName(QStringLiteral("lblNom"));
    auto* value = new QLabel(QStringLiteral("42"), central);
    value->setObjectName(QStringLiteral("lblValeur"));
    value->setProperty("sansLibelle", true);
    auto* edit = new QLineEdit(central);
    edit->setObjectName(QStringLiteral("txtNom"));

    auto* frame = new QGroupBox(QStringLiteral("frame"), central);
    frame->setObjectName(QStringLiteral("fraCadre"));
    auto* check = new QCheckBox(QStringLiteral("chk"), frame);
    check->setObjectName(QStringLiteral("chkOption"));

    auto* bar = form->addToolBar(QStringLiteral("bar"));
    bar->setObjectName(QStringLiteral("tlbOutils"));
    bar->addAction(QStringLiteral("New"))->setObjectName(QStringLiteral("btnNouveau"));
    bar->addSeparator();
    bar->addAction(QStringLiteral("Open"))->setObjectName(QStringLiteral("btnOuvrir"));

    QMenu* menu = form->menuBar()->addMenu(QStringLiteral("File"));
    menu->setObjectName(QStringLiteral("mnuFichier"));
    menu->addAction(QStringLiteral("Quit"))->setObjectName(QStringLiteral("mnuFicQuitter"));
    menu->addSeparator()->setObjectName(QStringLiteral("mnuFicSeparateur"));
    return form;
}

const QStringList completeSection = {
    QStringLiteral("TITRE=Essai"),
    QStringLiteral("tabOnglets=Un,Deux"),
    QStringLiteral("lstMessages=A,B,C"),
    QStringLiteral("cmdOK=OK,Close the window,"),
    QStringLiteral("optChoix(0)=Utilisateurs"),
    QStringLiteral("optChoix(1)=Groupes"),
    QStringLiteral("lblNom=Nom"),
    QStringLiteral("fraCadre=Cadre"),
    QStringLiteral("chkOption=Option"),
    QStringLiteral("tlbOutils=Nouveau,Ouvrir"),
    QStringLiteral("mnuFichier=&Fichier"),
    QStringLiteral("mnuFicQuitter=&Quitter"),
};

QObject* member(QWidget* form, const QString& name, int index)
{
    for (QObject* o : form->findChildren<QObject*>(name)) {
        if (o->property("index").toInt() == index) {
            return o;
        }
    }
    return nullptr;
}

// What a probe names on the test form: "TITRE", "tab:i", "col:i", "tip:i" (i-th action of the tool bar),
// "opt:i", "cmdOK.tip", or a control whose text or title is read.
QString readBack(QWidget* form, const QString& probe)
{
    const int i = probe.section(QLatin1Char(':'), 1).toInt();
    if (probe == QLatin1String("TITRE")) {
        return form->windowTitle();
    }
    if (probe.startsWith(QLatin1String("tab:"))) {
        return form->findChild<QTabWidget*>(QStringLiteral("tabOnglets"))->tabText(i);
    }
    if (probe.startsWith(QLatin1String("col:"))) {
        return form->findChild<QTreeWidget*>(QStringLiteral("lstMessages"))->headerItem()->text(i);
    }
    if (probe.startsWith(QLatin1String("tip:"))) {
        return form->findChild<QToolBar*>(QStringLiteral("tlbOutils"))->actions().at(i)->toolTip();
    }
    if (probe.startsWith(QLatin1String("opt:"))) {
        return qobject_cast<QRadioButton*>(member(form, QStringLiteral("optChoix"), i))->text();
    }
    if (probe == QLatin1String("cmdOK.tip")) {
        return form->findChild<QPushButton*>(QStringLiteral("cmdOK"))->toolTip();
    }
    QObject* o = form->findChild<QObject*>(probe);
    if (auto* menu = qobject_cast<QMenu*>(o)) {
        return menu->title();
    }
    if (auto* box = qobject_cast<QGroupBox*>(o)) {
        return box->title();
    }
    if (auto* action = qobject_cast<QAction*>(o)) {
        return action->text();
    }
    return o ? o->property("text").toString() : QStringLiteral("<no %1>").arg(probe);
}

struct Shown
{
    QString text;
    int style;
};

} // namespace

class TestLabelApplier : public QObject
{
    Q_OBJECT

private:
    QString writeSection(const QStringList& lines, const QString& section = QStringLiteral("frmEssai"))
    {
        const QString path = m_dir.filePath(QStringLiteral("pv.TST"));
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            qFatal("cannot write %s", qPrintable(path));
        }
        f.write(QStringLiteral("[Message]\nLangue=Test\n\n[%1]\n%2\n")
                    .arg(section, lines.join(QLatin1Char('\n')))
                    .toUtf8());
        return path;
    }

    QTemporaryDir m_dir;
    QList<Shown> m_shown;

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_dir.isValid());
        m_shown.clear();
        setMessageBoxPresenter([this](const QString& text, int style, const QString&) {
            m_shown.append({text, style});
            return int(MsgResult::Ok);
        });
    }
    void cleanup() { setMessageBoxPresenter({}); }

    void appliesByKind_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("probe");
        QTest::addColumn<QString>("expected");

        QTest::newRow("title") << "TITRE=Essai"
                               << "TITRE"
                               << "Essai";
        QTest::newRow("label") << "lblNom=Nom :"
                               << "lblNom"
                               << "Nom :";
        QTest::newRow("value ends at a second =") << "lblNom=a=b"
                                                  << "lblNom"
                                                  << "a";
        QTest::newRow("key ignoring case") << "LBLNOM=Nom"
                                           << "lblNom"
                                           << "Nom";
        QTest::newRow("check box in a frame") << "chkOption=Option"
                                              << "chkOption"
                                              << "Option";
        QTest::newRow("frame") << "fraCadre=Cadre"
                               << "fraCadre"
                               << "Cadre";
        QTest::newRow("menu") << "mnuFichier=&Fichier"
                              << "mnuFichier"
                              << "&Fichier";
        QTest::newRow("menu entry") << "mnuFicQuitter=&Quitter"
                                    << "mnuFicQuitter"
                                    << "&Quitter";
        QTest::newRow("array member") << "optChoix(1)=Groupes"
                                      << "opt:1"
                                      << "Groupes";
        QTest::newRow("other member untouched") << "optChoix(1)=Groupes"
                                                << "opt:0"
                                                << "R0";
        QTest::newRow("tabs") << "tabOnglets=Un,Deux"
                              << "tab:1"
                              << "Deux";
        QTest::newRow("extra tab part ignored") << "tabOnglets=Un,Deux,Trois"
                                                << "tab:1"
                                                << "Deux";
        QTest::newRow("columns") << "lstMessages=A,B,C"
                                 << "col:2"
                                 << "C";
        QTest::newRow("first tool button") << "tlbOutils=Nouveau,Ouvrir"
                                           << "tip:0"
                                           << "Nouveau";
        QTest::newRow("separator takes no part") << "tlbOutils=Nouveau,Ouvrir"
                                                 << "tip:2"
                                                 << "Ouvrir";
        QTest::newRow("button caption") << "cmdOK=OK,Close the window"
                                        << "cmdOK"
                                        << "OK";
        QTest::newRow("two parts set no tip") << "cmdOK=OK,Close the window"
                                              << "cmdOK.tip"
                                              << "";
        QTest::newRow("three parts set the tip") << "cmdOK=OK,Close the window,"
                                                 << "cmdOK.tip"
                                                 << "Close the window";
        QTest::newRow("button caption alone") << "cmdOK=Fermer"
                                              << "cmdOK"
                                              << "Fermer";
    }
    void appliesByKind()
    {
        QFETCH(QString, line);
        QFETCH(QString, probe);
        QFETCH(QString, expected);
        auto form = buildForm();
        QVERIFY(gAfficherLibelle(writeSection({line}), form.get()));
        QCOMPARE(readBack(form.get(), probe), expected);
        QVERIFY(m_shown.isEmpty());
    }

    void reportsAFaultOnce_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("mentions");

        QTest::newRow("unknown control") << "lblInconnu=x" << 730 << "'lblInconnu' not found";
        QTest::newRow("line without =") << "n'importe quoi" << 730 << "'n'importe quoi' not found";
        QTest::newRow("unknown member") << "optChoix(5)=x" << 730 << "'optChoix(5)' not found";
        QTest::newRow("array without index") << "optChoix=x" << 730 << "'optChoix' not found";
        QTest::newRow("index not a number") << "optChoix(a)=x" << 730 << "optChoix(a)";
        QTest::newRow("fewer parts than tabs") << "tabOnglets=Un" << 9 << "2 tabs";
        QTest::newRow("fewer parts than columns") << "lstMessages=A,B" << 9 << "3 columns";
        QTest::newRow("fewer parts than buttons") << "tlbOutils=Nouveau" << 9 << "2 buttons";
        QTest::newRow("empty button") << "cmdOK=" << 9 << "cmdOK";
        QTest::newRow("control without caption") << "txtNom=x" << 438 << "QLineEdit";
    }
    void reportsAFaultOnce()
    {
        QFETCH(QString, line);
        QFETCH(int, number);
        QFETCH(QString, mentions);
        auto form = buildForm();
        const QString file = writeSection({QStringLiteral("lblNom=Avant"), line, QStringLiteral("chkOption=Après")});

        QVERIFY(!gAfficherLibelle(file, form.get()));
        QCOMPARE(m_shown.size(), 1);
        const QString prefix
            = QStringLiteral("Module\t: modPilvanor.gAfficherLibelle\r\nErreur\t: %1\r\nDesc.\t: ").arg(number);
        QVERIFY2(m_shown[0].text.startsWith(prefix), qPrintable(m_shown[0].text));
        QVERIFY2(m_shown[0].text.contains(mentions), qPrintable(m_shown[0].text));
        QCOMPARE(m_shown[0].style & MsgStyle::ButtonsMask, int(MsgStyle::Ok));
        QCOMPARE(readBack(form.get(), QStringLiteral("lblNom")), QStringLiteral("Avant"));
        QCOMPARE(readBack(form.get(), QStringLiteral("chkOption")), QStringLiteral("chk"));
    }

    void missingFileOrSection_data()
    {
        QTest::addColumn<bool>("fileExists");
        QTest::addColumn<QString>("expected");

        QTest::newRow("no file") << false << "Le fichier des libellés (%1) est inexistant.";
        QTest::newRow("no section") << true
                                    << "La fenêtre 'frmEssai' est inexistante ou il n'y a aucun libellé de spécifié "
                                       "pour cette fenêtre dans le fichier %1.";
    }
    void missingFileOrSection()
    {
        QFETCH(bool, fileExists);
        QFETCH(QString, expected);
        const QString file = fileExists ? writeSection({QStringLiteral("TITRE=Autre")}, QStringLiteral("frmAutre"))
                                        : m_dir.filePath(QStringLiteral("pv.XXX"));
        auto form = buildForm();
        QVERIFY(!gAfficherLibelle(file, form.get()));
        QCOMPARE(m_shown.size(), 1);
        QCOMPARE(m_shown[0].text, expected.arg(file));
        QCOMPARE(m_shown[0].style, int(MsgStyle::Exclamation));
        QCOMPARE(form->windowTitle(), QStringLiteral("Built-in"));
    }

    void verifiesTheSection_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QStringList>("problems");

        auto without = [](const QString& line) {
            QStringList lines = completeSection;
            lines.removeAll(line);
            return lines;
        };
        QTest::newRow("consistent") << completeSection << QStringList();
        QTest::newRow("label missing") << without(QStringLiteral("lblNom=Nom"))
                                       << QStringList {"no label for 'lblNom' (QLabel)"};
        QTest::newRow("member missing") << without(QStringLiteral("optChoix(1)=Groupes"))
                                        << QStringList {"no label for 'optChoix(1)' (QRadioButton)"};
        QTest::newRow("menu entry missing") << without(QStringLiteral("mnuFicQuitter=&Quitter"))
                                            << QStringList {"no label for 'mnuFicQuitter' (QAction)"};
        QTest::newRow("title missing") << without(QStringLiteral("TITRE=Essai")) << QStringList {"no TITRE"};
        QTest::newRow("stray key") << completeSection + QStringList {"lblFantome=x"}
                                   << QStringList {"'lblFantome' not found"};
        QTest::newRow("key given twice") << completeSection + QStringList {"LBLNOM=Encore"}
                                         << QStringList {"'LBLNOM' is given twice"};
        QTest::newRow("too few tabs") << without(QStringLiteral("tabOnglets=Un,Deux")) + QStringList {"tabOnglets=Un"}
                                      << QStringList {"'tabOnglets' has 2 tabs"};
    }
    void verifiesTheSection()
    {
        QFETCH(QStringList, lines);
        QFETCH(QStringList, problems);
        auto form = buildForm();
        const QStringList found = gVerifierLibelles(writeSection(lines), form.get());
        QVERIFY2(found.size() == problems.size(), qPrintable(found.join(QLatin1Char('\n'))));
        for (qsizetype i = 0; i < problems.size(); ++i) {
            QVERIFY2(found[i].startsWith(QStringLiteral("pv.TST [frmEssai] ")), qPrintable(found[i]));
            QVERIFY2(found[i].contains(problems[i]), qPrintable(found[i]));
        }
        // Checking applies nothing and shows nothing.
        QCOMPARE(form->windowTitle(), QStringLiteral("Built-in"));
        QVERIFY(m_shown.isEmpty());
    }

    void verifiesAMissingFile()
    {
        auto form = buildForm();
        const QString file = m_dir.filePath(QStringLiteral("pv.XXX"));
        QCOMPARE(gVerifierLibelles(file, form.get()),
                 QStringList {QStringLiteral("Le fichier des libellés (%1) est inexistant.").arg(file)});
    }

    void messageBoxes_data()
    {
        QTest::addColumn<int>("style");
        QTest::addColumn<QList<int>>("buttons"); // QMessageBox::StandardButton, in order
        QTest::addColumn<int>("icon");
        QTest::addColumn<int>("press"); // a standard button to click, else a key
        QTest::addColumn<int>("result");

        const int Return = Qt::Key_Return;
        const int Escape = Qt::Key_Escape;
        QTest::newRow("question yes") << int(MsgStyle::Question | MsgStyle::YesNo)
                                      << QList<int> {QMessageBox::Yes, QMessageBox::No} << int(QMessageBox::Question)
                                      << int(QMessageBox::Yes) << int(MsgResult::Yes);
        QTest::newRow("question escapes to no")
            << int(MsgStyle::Question | MsgStyle::YesNo) << QList<int> {QMessageBox::Yes, QMessageBox::No}
            << int(QMessageBox::Question) << Escape << int(MsgResult::No);
        QTest::newRow("yes no cancel escapes to cancel")
            << int(MsgStyle::YesNoCancel) << QList<int> {QMessageBox::Yes, QMessageBox::No, QMessageBox::Cancel}
            << int(QMessageBox::NoIcon) << Escape << int(MsgResult::Cancel);
        QTest::newRow("second button by default")
            << int(MsgStyle::OkCancel | MsgStyle::DefaultButton2) << QList<int> {QMessageBox::Ok, QMessageBox::Cancel}
            << int(QMessageBox::NoIcon) << Return << int(MsgResult::Cancel);
        QTest::newRow("third button by default")
            << int(MsgStyle::AbortRetryIgnore | MsgStyle::DefaultButton3)
            << QList<int> {QMessageBox::Abort, QMessageBox::Retry, QMessageBox::Ignore} << int(QMessageBox::NoIcon)
            << Return << int(MsgResult::Ignore);
        QTest::newRow("exclamation") << int(MsgStyle::Exclamation) << QList<int> {QMessageBox::Ok}
                                     << int(QMessageBox::Warning) << int(QMessageBox::Ok) << int(MsgResult::Ok);
        QTest::newRow("information escapes to ok") << int(MsgStyle::Information) << QList<int> {QMessageBox::Ok}
                                                   << int(QMessageBox::Information) << Escape << int(MsgResult::Ok);
        QTest::newRow("critical retry") << int(MsgStyle::Critical | MsgStyle::RetryCancel)
                                        << QList<int> {QMessageBox::Retry, QMessageBox::Cancel}
                                        << int(QMessageBox::Critical) << int(QMessageBox::Retry)
                                        << int(MsgResult::Retry);
    }
    void messageBoxes()
    {
        QFETCH(int, style);
        QFETCH(QList<int>, buttons);
        QFETCH(int, icon);
        QFETCH(int, press);
        QFETCH(int, result);

        installMessageBoxes();
        QString seenText;
        QString seenTitle;
        QList<int> seenButtons;
        int seenIcon = -1;
        auto* poll = new QTimer(this);
        poll->setInterval(10);
        connect(poll, &QTimer::timeout, this, [&, poll] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box) {
                return;
            }
            poll->stop();
            seenText = box->text();
            seenTitle = box->windowTitle();
            seenIcon = box->icon();
            for (QAbstractButton* b : box->buttons()) {
                seenButtons.append(box->standardButton(b));
            }
            if (QAbstractButton* b = box->button(QMessageBox::StandardButton(press))) {
                b->click();
            } else {
                QTest::keyClick(box, Qt::Key(press));
            }
        });
        poll->start();
        const int answer = showMessageBox(QStringLiteral("Shown") + QChar(0) + QStringLiteral("hidden"), style);
        poll->deleteLater();

        QCOMPARE(answer, result);
        QCOMPARE(seenText, QStringLiteral("Shown"));
        QCOMPARE(seenTitle, QStringLiteral("Pilvanor"));
        QCOMPARE(seenIcon, icon);
        std::sort(seenButtons.begin(), seenButtons.end());
        std::sort(buttons.begin(), buttons.end());
        QCOMPARE(seenButtons, buttons);
    }
};

QTEST_MAIN(TestLabelApplier)
#include "tst_LabelApplier.moc"
