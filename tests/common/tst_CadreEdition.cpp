#include "common/CadreEdition.h"

#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using pv::CadreEdition;

class tst_CadreEdition : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ligneApresSuppression_data()
    {
        QTest::addColumn<int>("ligne");
        QTest::addColumn<int>("restant");
        QTest::addColumn<int>("attendu");
        QTest::newRow("middle row keeps its position") << 1 << 3 << 1;
        QTest::newRow("first row") << 0 << 2 << 0;
        QTest::newRow("last row selects the previous") << 3 << 3 << 2;
        QTest::newRow("only row leaves nothing") << 0 << 0 << -1;
    }
    void ligneApresSuppression()
    {
        QFETCH(int, ligne);
        QFETCH(int, restant);
        QFETCH(int, attendu);
        QCOMPARE(CadreEdition::ligneApresSuppression(ligne, restant), attendu);
    }

    void editingLocksTheListAndDoubleClickModifiesOnlyARow()
    {
        QWidget fenetre;
        auto* liste = new QListWidget(&fenetre);
        auto* cadre = new QWidget(&fenetre);
        auto* cmdAjouter = new QPushButton(&fenetre);
        CadreEdition edition(liste, cadre, {cmdAjouter});
        QSignalSpy modifier(&edition, &CadreEdition::modifierDemande);
        fenetre.show();

        QVERIFY(!cadre->isVisible());
        Q_EMIT liste->doubleClicked(QModelIndex());
        QCOMPARE(modifier.count(), 0); // empty list

        liste->addItems({QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C")});
        Q_EMIT liste->doubleClicked(liste->model()->index(1, 0));
        QCOMPARE(modifier.count(), 1);

        edition.ouvrir(true);
        QVERIFY(cadre->isVisible() && edition.ajout());
        QVERIFY(!liste->isEnabled() && !cmdAjouter->isEnabled());
        Q_EMIT liste->doubleClicked(liste->model()->index(1, 0));
        QCOMPARE(modifier.count(), 1); // not while editing

        edition.fermer();
        QVERIFY(!cadre->isVisible() && liste->isEnabled() && cmdAjouter->isEnabled());

        delete liste->takeItem(2);
        edition.selectionnerApresSuppression(2);
        QCOMPARE(edition.ligneSelectionnee(), 1);
    }
};

QTEST_MAIN(tst_CadreEdition)
#include "tst_CadreEdition.moc"
