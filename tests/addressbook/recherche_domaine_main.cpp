// Drives the users window offscreen through a real domain search: the search window lists the primary workgroup
// from the network, every station found is chosen and added. Prints the users list, one station a line.
// Run by tests/interop/domain_search.sh inside a network namespace, with a temporary HOME.
#include "addressbook/frmRechercherUtilisateur.h"
#include "addressbook/frmUtilisateur.h"
#include "common/DataFile.h"
#include "common/Language.h"
#include "common/Paths.h"
#include "engine/Settings.h"

#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QListWidget>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>

#include <cstdio>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    pv::setMessageBoxPresenter([](const QString& text, int, const QString&) {
        std::fprintf(stderr, "message box: %s\n", qPrintable(text));
        return int(pv::MsgResult::Ok);
    });
    pv::gDefinirFichierParametres(pv::gCheminFichierParametres());
    pv::gChargerParametres();
    pv::gParametres().fichierLangue = QCoreApplication::applicationDirPath() + QStringLiteral("/pv.ENG");
    QDir().mkpath(pv::gDossierDonnees());
    pv::gDefinirFichierDonnees(pv::gCheminFichierDonneesParDefaut());
    pv::gChargerUtilisateurGroupe();

    int trouvees = 0;
    pv::frmUtilisateur utilisateurs;
    utilisateurs.mRechercherDomaine = [&trouvees](QWidget* proprietaire) {
        pv::frmRechercherUtilisateur recherche(proprietaire);
        recherche.show();
        QEventLoop attente;
        QObject::connect(&recherche, &pv::frmRechercherUtilisateur::rechercheTerminee, &attente, &QEventLoop::quit);
        QTimer::singleShot(30000, &attente, &QEventLoop::quit);
        recherche.cmdRechercher->click();
        attente.exec();
        trouvees = recherche.lstStation->count();
        recherche.lstStation->selectAll();
        recherche.cmdAjouter->click();
        return recherche.mstrListeStation;
    };
    utilisateurs.show();
    utilisateurs.cmdRechercher->click();
    for (int i = 0; i < utilisateurs.lstUtilisateur->topLevelItemCount(); ++i) {
        std::printf("%s\n", qPrintable(utilisateurs.lstUtilisateur->topLevelItem(i)->text(0)));
    }
    std::fprintf(stderr, "%d station(s) found\n", trouvees);
    return trouvees > 0 ? 0 : 1;
}
