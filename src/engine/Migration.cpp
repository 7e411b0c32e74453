#include "engine/Migration.h"

#include "common/DataFile.h"
#include "common/IniFile.h"
#include "engine/Settings.h"

#include <QStringList>

#include <algorithm>

namespace pv {

namespace {

const char* const SectionsAnciennes[]
    = {SectionAncienneStation, SectionAncienneStationIgnoree, SectionAncienGroupe, SectionAncienMessagePredefini};

struct Entree
{
    QString cle;
    QString valeur;
};

QList<Entree> entrees(const IniDocument& doc, const char* section)
{
    QList<Entree> out;
    for (const QString& ligne : doc.sectionLines(QLatin1String(section))) {
        const qsizetype egal = ligne.indexOf(QLatin1Char('='));
        if (egal > 0) {
            out.append({ligne.left(egal).trimmed(), ligne.mid(egal + 1)});
        }
    }
    return out;
}

} // namespace

bool gTransfererRegistreFichier(const QDateTime& maintenant)
{
    if (gFichierParametres().isEmpty() || gFichierDonnees().isEmpty()) {
        return false;
    }
    IniFile magasin(gFichierParametres());
    const IniDocument ancien = magasin.load();
    bool present = false;
    for (const char* section : SectionsAnciennes) {
        present = present || ancien.hasSection(QLatin1String(section));
    }
    if (!present) {
        return false;
    }

    const QLatin1String utilisateurs(SectionUtilisateur);
    IniFile(gFichierDonnees()).update([&](IniDocument& doc) {
        for (const Entree& e : entrees(ancien, SectionAncienneStation)) {
            doc.setValue(utilisateurs, e.cle, e.valeur + QStringLiteral("|0"));
        }
        // A station in both old sections ends ignored.
        for (const Entree& e : entrees(ancien, SectionAncienneStationIgnoree)) {
            doc.setValue(utilisateurs, e.cle, e.valeur + QStringLiteral("|1"));
        }
        // Members take the spelling of their user record; one that is no user is kept as typed.
        QStringList stations;
        for (const QString& ligne : doc.sectionLines(utilisateurs)) {
            stations.append(iniLineKey(ligne));
        }
        for (const Entree& e : entrees(ancien, SectionAncienGroupe)) {
            QStringList membres;
            for (const QString& membre : e.valeur.split(QLatin1Char('|'), Qt::SkipEmptyParts)) {
                const auto it = std::find_if(stations.cbegin(), stations.cend(), [&membre](const QString& s) {
                    return s.compare(membre, Qt::CaseInsensitive) == 0;
                });
                membres.append(it == stations.cend() ? membre : *it);
            }
            doc.setValue(QLatin1String(SectionGroupe), e.cle, membres.join(QLatin1Char(',')));
        }
        const QString minute = maintenant.toString(QStringLiteral("yyyyMMddHHmm"));
        int index = 0;
        for (const Entree& e : entrees(ancien, SectionAncienMessagePredefini)) {
            doc.setValue(QLatin1String(SectionMessagePredefini),
                         minute + QStringLiteral("%1").arg(index++, 2, 10, QLatin1Char('0')),
                         gEncoderTexte(e.valeur));
        }
    });
    // Only once the data file holds them.
    magasin.update([](IniDocument& doc) {
        for (const char* section : SectionsAnciennes) {
            doc.removeSection(QLatin1String(section));
        }
    });
    gChargerUtilisateurGroupe();
    gChargerMessagePredefini();
    return true;
}

} // namespace pv
