#include "FormFixture.h"

#include "common/Dialogues.h"
#include "common/Impression.h"
#include "common/IniFile.h"
#include "reminders/SpinDureeRappel.h"
#include "viewer/frmMessage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEventLoop>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPrinter>
#include <QProcess>
#include <QPushButton>
#include <QtTest>

using namespace pv;

class tst_frmMessage : public QObject
{
    Q_OBJECT

    static void store(QString s, QString k, QString v) { IniFile(gFichierDonnees()).writeString(s, k, v); }
    static QStringList stored() { return IniFile(gFichierParametres()).readSection(SectionRappel); }

    // A reminder's window as it fires, at 10:07:40 on 2026-11-18.
    std::unique_ptr<frmMessage> fired(const QString& record)
    {
        gParametres().garderPositionTailleFenetre = false;
        setHorlogeEssai(QDateTime(QDate(2026, 11, 18), QTime(10, 7, 40)));
        auto w = std::make_unique<frmMessage>(TypeFenetre::Rappel);
        w->setAttribute(Qt::WA_DeleteOnClose, false);
        w->mstrCleRappel = "20261101000000";
        w->mvarRappel = record.split('|');
        w->mstrMessage = "Hi";
        w->mCharger();
        return w;
    }

    test::FormFixture m_fixture;

private Q_SLOTS:
    void init()
    {
        m_fixture.reset();
        store(SectionUtilisateur, "PC1", "Alice|0");
        gChargerUtilisateurGroupe();
    }

    void historyFillsTheChooserNewestFirst_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("entries"); // "key|station|stored text", ";" between, file order
        QTest::addColumn<QString>("lines");   // the chooser, ";" between
        QTest::addColumn<QString>("shown");   // line 0's sender, date and text
        const QString d = "2004-01-01 00:00:00", k = "20040101000000000|PC1|", a = "Alice (PC1)";
        const QString l = d + " - " + a, t = a + '|' + d + '|';
        QTest::newRow("three") << 2 << k + "a;20040102000000000|PC9|b;20040103000000000|PC1|c"
                               << "2004-01-03 00:00:00 - " + a + ";2004-01-02 00:00:00 - PC9 (PC9);" + l
                               << a + "|2004-01-03 00:00:00|c";
        QTest::newRow("marker later") << 1 << k + "x [PVEncrypt]o>" << l << t + "x [PVEncrypt]o>";
        QTest::newRow("line breaks") << 1 << k + "[PVEncrypt]o>¶EEH¶" << l << t + "He\nllo\n";
    }

    void historyFillsTheChooserNewestFirst()
    {
        QFETCH(int, type);
        QFETCH(QString, entries);
        QFETCH(QString, lines);
        QFETCH(QString, shown);
        gParametres().afficherStationAvecNomIP = true; // names alone in firstKeyKeepsEqualAndLaterKeys
        for (const QString& e : entries.split(';')) {
            store(type == 2 ? SectionMessageEnvoye : SectionMessageRecu, e.section('|', 0, 0), e.section('|', 1));
        }
        frmMessage w(static_cast<TypeFenetre>(type));
        QVERIFY(w.mCharger());
        QStringList chooser;
        for (int i = 0; i < w.cboUtilisateur->count(); ++i) {
            chooser.append(w.cboUtilisateur->itemText(i));
        }
        QCOMPARE(chooser.join(';'), lines);
        QCOMPARE(w.txtUtilisateur->text() + '|' + w.txtDateHeure->text() + '|' + w.txtMessage->toPlainText(), shown);
        w.cboUtilisateur->setCurrentIndex(int(chooser.size() - 1));
        QCOMPARE(w.mintIndexMessageRecherche, 0);
    }

    void firstKeyKeepsEqualAndLaterKeys()
    {
        for (const char* key : {"20040101000000000", "20040102000000000", "20040102000000001"}) {
            store(SectionMessageRecu, key, "PC1|m");
        }
        gParametres().affichageMessage = AffichageMessage::UneSeuleFenetre;
        frmMessage w(TypeFenetre::NouveauMessage);
        w.clePremierMessage = "20040102000000000";
        QVERIFY(w.mCharger());
        QCOMPARE(w.cboUtilisateur->itemText(1) + '|' + w.cboUtilisateur->itemText(2), "2004-01-02 00:00:00 - Alice|");
    }

    void senderWarningOnlyForAnotherAddress()
    {
        store(SectionMessageRecu, "20040101000000000", "localhost|m");
        // The address the message came from, the warning ("": hidden).
        for (const auto& [pair, warning] :
             {std::pair {"127.0.0.1", ""},
              {"127.0.0.2", "Sent from 127.0.0.2, which is not an address of this sender."}}) {
            frmMessage w(TypeFenetre::NouveauMessage);
            w.mstrExpediteur = "localhost";
            w.clePremierMessage = "20040101000000000";
            w.adresseExpediteur = pair;
            w.resolveurs.netbios = [](const codec::NetbiosName&) { return std::vector<uint32_t> {}; };
            QEventLoop loop;
            connect(&w, &frmMessage::expediteurVerifie, &loop, &QEventLoop::quit);
            QVERIFY(w.mCharger());
            w.show();
            loop.exec();
            QCOMPARE(w.lblExpediteurDouteux->isVisible() ? w.lblExpediteurDouteux->text() : QString(), warning);
        }
    }

    void searchGoesTowardOlderMessages()
    {
        const QList<EntreeHistorique> h {{"1", "PC1", "Cat\r\nx"}, {"2", "PC1", "dog"}, {"3", "PC1", "a cat CAT"}};
        const std::tuple<int, int, int, int> cas[] // from index, position -> found index, position (-1: end)
            = {{2, 1, 2, 3}, {2, 4, 2, 7}, {2, 8, 0, 1}, {1, 1, 0, 1}, {0, 2, -1, -1}, {5, 1, 2, 3}};
        for (const auto& [index, position, foundIndex, foundPosition] : cas) {
            const auto hit = gRechercherTexte(h, "cAt", index, position);
            QCOMPARE(hit ? hit->index * 100 + hit->position : -101, foundIndex * 100 + foundPosition);
        }
        QCOMPARE(gRechercherTexte(h, "x", 0, 1)->position, 5); // shown with a bare line feed
    }

    void windowsOpenOnScreenAndCascade()
    {
        // Kept on a monitor that is no longer there, and taller than the screen.
        const QRect ecran = QGuiApplication::primaryScreen()->availableGeometry();
        gParametres().garderPositionTailleFenetre = true;
        IniFile(gFichierParametres())
            .writeString(SectionGeneral,
                         gClePositionFenetreMessage(TypeFenetre::NouveauMessage),
                         QString("%1,-900,420,%2").arg(ecran.right() + 500).arg(ecran.height() + 50));
        std::vector<std::unique_ptr<frmMessage>> fenetres;
        QList<QPoint> coins;
        for (int i = 0; i < 3; ++i) {
            auto& f = fenetres.emplace_back(std::make_unique<frmMessage>(TypeFenetre::NouveauMessage));
            f->setAttribute(Qt::WA_DeleteOnClose, false);
            f->mstrMessage = "m";
            QVERIFY(f->mCharger());
            f->show();
            QVERIFY2(ecran.contains(f->frameGeometry()), qPrintable(QDebug::toString(f->frameGeometry())));
            QVERIFY(!coins.contains(f->pos()));
            coins.append(f->pos());
        }
    }

    void textsFitAtTheDefaultSize()
    {
        store(SectionMessageRecu, "20040101000000000", "PC1|m");
        store(SectionMessageEnvoye, "20040101000000000", "PC1|m");
        for (const char* langue : {"ENG", "FRA"}) {
            gParametres().fichierLangue = test::langFile(langue);
            for (auto type :
                 {TypeFenetre::NouveauMessage, TypeFenetre::HistoriqueRecu, TypeFenetre::HistoriqueEnvoye}) {
                frmMessage w(type);
                QVERIFY(w.mCharger());
                w.show();
                w.cmdRechercher->click();
                QVERIFY(QTest::qWaitForWindowExposed(&w));
                for (QWidget* c : w.findChildren<QWidget*>()) {
                    if (c->isVisible() && (qobject_cast<QAbstractButton*>(c) || qobject_cast<QLabel*>(c))) {
                        const QString quoi = QString("%1 %2 %3").arg(langue).arg(int(type)).arg(c->objectName());
                        QVERIFY2(c->width() >= c->sizeHint().width(), qPrintable(quoi));
                    }
                }
            }
        }
    }

    void nextFindsEachHitThenStartsOver_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("texts");   // the history, oldest first, ";" between
        QTest::addColumn<QString>("presses"); // what is typed before each press of Next ("": nothing), ";" between
        QTest::addColumn<QString>("found");   // the text shown and where the hit starts, or "end" for the box
        QTest::newRow("one message, overlapping") << 0 << "xaaaa"
                                                  << "aa;;;;"
                                                  << "xaaaa@2;xaaaa@3;xaaaa@4;end;xaaaa@2";
        QTest::newRow("history, then older") << 1 << "aa b;xaaaa"
                                             << "aA;;;;"
                                             << "xaaaa@2;xaaaa@3;xaaaa@4;aa b@1;end";
        QTest::newRow("another word starts over") << 1 << "a dog;a cat"
                                                  << "zzz;dog;;"
                                                  << "end;a dog@3;end;a dog@3";
    }

    void nextFindsEachHitThenStartsOver()
    {
        QFETCH(int, type);
        QFETCH(QString, texts);
        QFETCH(QString, presses);
        QFETCH(QString, found);
        const QStringList t = texts.split(';');
        for (int i = 0; i < t.size(); ++i) {
            store(SectionMessageRecu, QString("2004010%1000000000").arg(i + 1), "PC1|" + t[i]);
        }
        frmMessage w(static_cast<TypeFenetre>(type));
        w.mstrMessage = t.last();
        QVERIFY(w.mCharger());
        w.show();
        w.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&w));
        w.cmdRechercher->click();
        QTRY_VERIFY(w.txtTexteRecherche->hasFocus());
        QStringList seen;
        for (const QString& typed : presses.split(';')) {
            if (!typed.isEmpty()) {
                w.txtTexteRecherche->clear();
                QTest::keyClicks(w.txtTexteRecherche, typed);
            }
            w.cmdRechercherTexte->click();
            const QTextCursor c = w.txtMessage->textCursor();
            const bool box = m_fixture.takeBoxes().size() == 1;
            QVERIFY(box || c.selectedText().compare(w.txtTexteRecherche->text(), Qt::CaseInsensitive) == 0);
            seen.append(box ? "end" : w.txtMessage->toPlainText() + '@' + QString::number(c.selectionStart() + 1));
        }
        QCOMPARE(seen.join(';'), found);
    }

    void replyHandsOverAndClosesUnlessBrowsing_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("messages");  // in the history, PC1 the oldest
        QTest::addColumn<bool>("withText"); // chkAjouterMessageReponse, where it shows
        QTest::addColumn<QString>("call");  // what mRepondre gets: station|text|prefix flag
        QTest::addColumn<bool>("closes");
        QTest::newRow("new message") << 0 << 0 << true << "PC7|Hi\r\nyou|1" << true;
        QTest::newRow("new message, no text") << 0 << 0 << false << "PC7||1" << true;
        QTest::newRow("received, browsing") << 1 << 2 << true << "PC2|Hi\r\nyou|1" << false;
        QTest::newRow("received, the only one") << 1 << 1 << false << "PC1||1" << true;
        QTest::newRow("sent: resent as it was") << 2 << 2 << true << "PC2|Hi\r\nyou|0" << false;
    }

    void replyHandsOverAndClosesUnlessBrowsing()
    {
        QFETCH(int, type);
        QFETCH(int, messages);
        QFETCH(bool, withText);
        QFETCH(QString, call);
        QFETCH(bool, closes);
        for (int i = 1; i <= messages; ++i) {
            store(type == 2 ? SectionMessageEnvoye : SectionMessageRecu,
                  QString("2004010%1000000000").arg(i),
                  QString("PC%1|Hi¶you").arg(i));
        }
        frmMessage w(static_cast<TypeFenetre>(type));
        w.setAttribute(Qt::WA_DeleteOnClose, false);
        w.mstrExpediteur = "PC7";
        w.mstrMessage = "Hi\r\nyou";
        QVERIFY(w.mCharger());
        w.show();
        if (w.chkAjouterMessageReponse->isVisible()) {
            w.chkAjouterMessageReponse->setChecked(withText);
        }
        QStringList calls;
        w.mRepondre = [&calls](const QString& station, const QString& texte, bool prefixe) {
            calls.append(station + '|' + texte + '|' + QString::number(prefixe));
        };
        w.cmdRepondre->click();
        QCOMPARE(calls, QStringList {call});
        QCOMPARE(!w.isVisible(), closes);
    }

    void deleteAsksThenSelectsTheSameLine()
    {
        for (const char* key : {"20040101000000000", "20040102000000000", "20040103000000000"}) {
            store(SectionMessageRecu, key, QString("PC1|") + key);
        }
        frmMessage w(TypeFenetre::HistoriqueRecu);
        QVERIFY(w.mCharger());
        int answer = MsgResult::No;
        setMessageBoxPresenter([&answer](const QString&, int, const QString&) { return answer; });
        w.cboUtilisateur->setCurrentIndex(2);
        for (const auto& [reply, count, line, shown] : {std::tuple {int(MsgResult::No), 3, 2, "20040101000000000"},
                                                        {int(MsgResult::Yes), 2, 1, "20040102000000000"},
                                                        {int(MsgResult::Yes), 1, 0, "20040103000000000"}}) {
            answer = reply;
            w.cmdSupprimer->click();
            QCOMPARE(gLireHistorique(false).size(), count);
            QCOMPARE(w.cboUtilisateur->currentIndex(), line);
            QCOMPARE(w.txtMessage->toPlainText(), shown);
        }
    }

    void printGivesTheMessagePage()
    {
        const QString pdftotext = QStandardPaths::findExecutable("pdftotext");
        if (pdftotext.isEmpty()) {
            QSKIP("pdftotext (poppler-utils) is missing: the printed page cannot be read back");
        }
        // Window type; "World" selected (and kept); where the PDF goes ("": the dialog is cancelled); the lines of
        // the page that are not empty, the rule as "RULE" ("": no page).
        for (const auto& [type, select, where, page] :
             {std::tuple {1, false, "out.pdf", "Sender: Alice;Date / Time: 2004-01-01 00:00:00;RULE;Hello;World"},
              {2, true, "out.pdf", "Recipient: Alice;Date / Time: 2004-01-01 00:00:00;RULE;World"},
              {3, false, "out.pdf", "Reminder;Date / Time: 2004/01/02 03:04;RULE;Hello;World"},
              {1, true, "", ""},
              {1, false, "no/such/folder/out.pdf", ""}}) {
            const QString pdf = *where ? m_fixture.path(where) : QString();
            store(type == 2 ? SectionMessageEnvoye : SectionMessageRecu, "20040101000000000", "PC1|Hello¶World");
            frmMessage w(static_cast<TypeFenetre>(type));
            w.mstrDateHeure = "2004/01/02 03:04";
            w.mstrMessage = "Hello\r\nWorld";
            w.mvarRappel = QStringList({"1", "20040102", "0304", "Hello¶World"});
            QVERIFY(w.mCharger());
            if (select) {
                QTextCursor c = w.txtMessage->textCursor();
                c.setPosition(6);
                c.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
                w.txtMessage->setTextCursor(c);
            }
            bool offered = false;
            double width = 0, inch = 0, underscore = 0;
            setReponseImpression([&](QPrinter& printer, bool avecSelection) {
                offered = avecSelection;
                printer.setOutputFormat(QPrinter::PdfFormat);
                printer.setOutputFileName(pdf);
                width = printer.width();
                inch = printer.resolution();
                underscore = QFontMetricsF(gPoliceImpression(), &printer).horizontalAdvance('_');
                return !pdf.isEmpty();
            });
            w.cmdImprimer->click();
            setReponseImpression({});
            QCOMPARE(offered, select);
            const auto boxes = m_fixture.takeBoxes();
            if (!*page) {
                QVERIFY(!QFile::exists(pdf));
                QCOMPARE(boxes.size(), pdf.isEmpty() ? 0 : 1);
                QVERIFY(pdf.isEmpty() || boxes[0].first.contains(pdf));
                continue;
            }
            QProcess p;
            p.start(pdftotext, {"-layout", pdf, "-"});
            QVERIFY(p.waitForFinished());
            QStringList lines;
            QList<qsizetype> colons; // where ": " stands on the caption lines
            for (const QString& line : QString::fromUtf8(p.readAllStandardOutput()).split('\n')) {
                const QString l = line.trimmed();
                if (l.isEmpty()) {
                    continue;
                }
                if (l.count('_') == l.size()) {
                    // One line of "_", as wide as the printable width less an inch.
                    QVERIFY2(qAbs(l.size() - (width - inch) / underscore) < 1.0, qPrintable(QString::number(l.size())));
                    lines.append("RULE");
                    continue;
                }
                if (!lines.contains("RULE") && l.contains(": ")) {
                    colons.append(line.indexOf(": "));
                }
                lines.append(l);
            }
            QCOMPARE(lines.join(';'), QString(page));
            QCOMPARE(colons.size(), type == 3 ? 1 : 2);
            QCOMPARE(colons.first(), colons.last());
        }
    }

    void contextMenuOpensTheSelectedText()
    {
        frmMessage w(TypeFenetre::NouveauMessage);
        w.mstrMessage = "see www.example.org";
        QVERIFY(w.mCharger());
        w.show();
        QTextCursor c = w.txtMessage->textCursor();
        c.setPosition(4);
        c.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
        w.txtMessage->setTextCursor(c);
        Q_EMIT w.txtMessage->customContextMenuRequested(QPoint(2, 2));
        QMenu* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        QVERIFY(menu && menu->actions().contains(w.mnuOuvrirTexteSelectionne));
        menu->close();
        w.mnuOuvrirTexteSelectionne->trigger();
        QCOMPARE(m_fixture.opened, QList<QUrl>({QUrl("http://www.example.org")}));
    }

    // The repeat controls of a fired reminder's window, and what closing it writes back (15 minutes through the
    // button and the title bar of a daily reminder are driven in tests/app/reminders.sh).
    void closingPlansAgainOnlyThroughTheButton()
    {
        // Record, "Repeat in" ticked, duration, unit (1: hours), closed by the button, stored ("": nothing).
        for (const auto& [record, ticked, duration, unit, button, expected] :
             {std::tuple {"0|20261118|1007|Hi", true, "99", 1, true, "20261101000000=0|20261122|1307|Hi"},
              {"0|20261118|1007|Hi", false, "15", 0, true, ""},
              {"0|20261118|1007|Hi", true, "15", 0, false, ""},
              {"1|20261118|1007|Hi", false, "", 0, true, "20261101000000=1|20261119|1007|Hi"}}) {
            IniFile(gFichierParametres()).removeSection(SectionRappel);
            auto w = fired(record);
            const bool once = record[0] == '0';
            QCOMPARE(w->chkRepeterRappel->isVisibleTo(w.get()), once);
            QCOMPARE(w->spnDureeRepetitionRappel->isVisibleTo(w.get()), once);
            if (once) {
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
            QCOMPARE(stored().join(';'), QString(expected));
        }
    }

    void durationBoxTakesDigitsOnlyAndNeverEmpties()
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
    }
};

QTEST_MAIN(tst_frmMessage)
#include "tst_frmMessage.moc"
