#include "engine/StartUp.h"

#include "common/Language.h"
#include "common/Paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace pv {

void gMettreDeCoteAnciensHistoriques(const QString& dossierProgramme)
{
    for (const char* nom : {"Incoming.pv", "Outgoing.pv"}) {
        const QString ancien = dossierProgramme + QLatin1Char('/') + QLatin1String(nom);
        const QString deCote = ancien + QStringLiteral("24");
        // Never overwrite a file set aside by an earlier start.
        if (QFileInfo::exists(ancien) && !QFileInfo::exists(deCote)) {
            QFile::rename(ancien, deCote);
        }
    }
}

QString gPreparerDossierDonnees(const QString& dossierProgramme, QList<ProblemeDemarrage>& problemes)
{
    const QString dossier = gDossierDonnees();
    if (dossier.isEmpty()) {
        problemes.append({QStringLiteral("ErreurDossierDonnees"),
                          {QStringLiteral("~/.local/share/Pilvanor"), QStringLiteral("HOME is not set")}});
        return {};
    }
    QString fichier = dossier + QStringLiteral("/Pilvanor.pv");
    if (!QFileInfo::exists(fichier)) {
        errno = 0;
        if (!QDir().mkpath(dossier)) {
            const QString raison = errno ? QString::fromLocal8Bit(strerror(errno)) : QStringLiteral("not a folder");
            problemes.append({QStringLiteral("ErreurDossierDonnees"), {dossier, raison}});
            return fichier;
        }
        const QString voisin = dossierProgramme + QStringLiteral("/Pilvanor.pv");
        if (QFileInfo::exists(voisin)) {
            // rename() cannot cross file systems; copy and remove then.
            if (!QFile::rename(voisin, fichier)) {
                if (QFile::copy(voisin, fichier)) {
                    QFile::remove(voisin);
                } else {
                    problemes.append(
                        {QStringLiteral("ErreurEcritureFichier"),
                         {fichier, QStringLiteral("the data file beside the program could not be moved")}});
                }
            }
        }
    }
    return fichier;
}

QString gTexteProblemes(const QString& fichierLangue, const QList<ProblemeDemarrage>& problemes)
{
    QStringList textes;
    for (const auto& probleme : problemes) {
        textes.append(gMessageTexte(fichierLangue, probleme.cle, probleme.champs));
        std::fprintf(stderr, "pilvanor: %s\n", qPrintable(textes.last()));
    }
    return textes.join(QLatin1Char(' '));
}

} // namespace pv
