#include "common/Son.h"

#include "common/Parametres.h"

#include <QFileInfo>

namespace pv {

namespace {

LecteurSon& lecteur()
{
    static LecteurSon l;
    return l;
}

} // namespace

void setLecteurSon(LecteurSon l)
{
    lecteur() = std::move(l);
}

void gJouerFichierSon()
{
    const Parametres& p = gParametres();
    if (!p.jouerFichierSon || !lecteur() || !QFileInfo(p.fichierSon).isFile()) {
        return;
    }
    lecteur()(p.fichierSon);
}

void gJouerSon(const QString& fichier)
{
    if (lecteur() && QFileInfo(fichier).isFile()) {
        lecteur()(fichier);
    }
}

} // namespace pv
