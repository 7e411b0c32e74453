#include "addressbook/CarnetAdresses.h"

#include "common/Error.h"
#include "common/IniFile.h"
#include "common/TextCodec.h"
#include "common/TexteSaisi.h"

#include <QFile>

namespace pv {

namespace {

const QLatin1String Utilisateurs(SectionUtilisateur);
const QLatin1String Groupes(SectionGroupe);
const QLatin1String MessagesPredefinis(SectionMessagePredefini);

IniFile donnees()
{
    return IniFile(gFichierDonnees());
}

bool egaux(const QString& a, const QString& b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

bool estUtilisateur(const QList<Utilisateur>& utilisateurs, const QString& station)
{
    for (const Utilisateur& u : utilisateurs) {
        if (egaux(u.station, station)) {
            return true;
        }
    }
    return false;
}

} // namespace

QChar gCaractereInterdit(const QString& texte, const char* interdits)
{
    for (const QChar c : texte) {
        if (QLatin1String(interdits).contains(c)) {
            return c;
        }
    }
    return QChar();
}

QChar gCaractereInterditCle(const QString& nom, const char* interdits)
{
    const QChar c = gCaractereInterdit(nom, interdits);
    return c.isNull() ? iniKeyFault(nom) : c;
}

std::optional<Refus> gVerifierUtilisateur(const SaisieUtilisateur& saisie,
                                          const QString& stationChargee,
                                          const QString& descriptionChargee,
                                          const QList<Utilisateur>& utilisateurs)
{
    if (saisie.station.isEmpty()) {
        return Refus {"StationIPObligatoire", Champ::NomStation};
    }
    if (saisie.description.isEmpty()) {
        return Refus {"StationDescObligatoire", Champ::Description};
    }
    if (const QChar c = gCaractereInterditCle(saisie.station, InterditsStation); !c.isNull()) {
        return Refus {"CaractereInterdit", Champ::NomStation, {c}};
    }
    if (const QChar c = gCaractereInterdit(saisie.description, InterditsDescription); !c.isNull()) {
        return Refus {"CaractereInterdit", Champ::Description, {c}};
    }
    if (!egaux(saisie.station, stationChargee)) {
        for (const Utilisateur& u : utilisateurs) {
            if (egaux(u.station, saisie.station)) {
                return Refus {"StationExistante", Champ::NomStation};
            }
        }
    }
    if (!egaux(saisie.description, descriptionChargee)) {
        for (const Utilisateur& u : utilisateurs) {
            if (egaux(u.description, saisie.description)) {
                return Refus {"DescriptionExistante", Champ::Description};
            }
        }
    }
    return std::nullopt;
}

void gEnregistrerUtilisateur(const SaisieUtilisateur& saisie, const QString& stationChargee)
{
    donnees().update([&](IniDocument& doc) {
        if (!stationChargee.isEmpty() && stationChargee != saisie.station) {
            doc.removeKey(Utilisateurs, stationChargee);
        }
        doc.setValue(Utilisateurs, saisie.station, gValeurUtilisateur(saisie.description, saisie.ignorer));
    });
}

void gEnregistrerStation(const QString& station)
{
    donnees().writeString(Utilisateurs, station, gValeurUtilisateur(station, false));
}

int gAjouterStations(const QStringList& stations)
{
    int ajoutes = 0;
    donnees().update([&](IniDocument& doc) {
        ajoutes = 0;
        for (const QString& station : stations) {
            if (!station.isEmpty() && gCaractereInterditCle(station, InterditsStation).isNull()
                && !doc.value(Utilisateurs, station)) {
                doc.setValue(Utilisateurs, station, gValeurUtilisateur(station, false));
                ++ajoutes;
            }
        }
    });
    return ajoutes;
}

void gSupprimerUtilisateur(const QString& station)
{
    donnees().writeString(Utilisateurs, station, std::nullopt);
}

ResultatImport
gAnalyserImport(const QString& texte, const QList<Utilisateur>& utilisateurs, QList<LigneImport>* aEcrire)
{
    ResultatImport r;
    QStringList lignes = texte.split(QLatin1Char('\n'));
    // The last line break ends the last line; it does not start an empty one.
    if (!lignes.isEmpty() && lignes.last().isEmpty()) {
        lignes.removeLast();
    }
    for (QString ligne : lignes) {
        if (ligne.endsWith(QLatin1Char('\r'))) {
            ligne.chop(1);
        }
        const QStringList champs = ligne.split(QLatin1Char('\t'));
        const QString station = champs[0].toUpper();
        // An empty key would be a record nobody can send to or delete; a separator would break the record.
        if (station.trimmed().isEmpty() || !gCaractereInterditCle(station, InterditsStation).isNull()) {
            ++r.lignesIgnorees;
            continue;
        }
        r.stations.append(station);
        if (estUtilisateur(utilisateurs, station)) {
            continue;
        }
        // Unlike the editor, the import keeps parentheses as they are.
        const QString description = champs.size() > 1 ? champs[1] : station;
        const QString indicateur = champs.size() > 2 ? champs[2] : QStringLiteral("0");
        if (aEcrire) {
            aEcrire->append({station, description + QLatin1Char('|') + indicateur});
        }
        ++r.ajoutes;
    }
    return r;
}

ResultatImport gImporterUtilisateurs(const QString& chemin)
{
    QFile fichier(chemin);
    if (!fichier.open(QIODevice::ReadOnly)) {
        throw Error(QStringLiteral("Cannot read %1: %2").arg(chemin, fichier.errorString()));
    }
    const QByteArray octets = fichier.readAll();
    if (fichier.error() != QFileDevice::NoError) {
        throw Error(QStringLiteral("Cannot read %1: %2").arg(chemin, fichier.errorString()));
    }
    QList<LigneImport> aEcrire;
    ResultatImport r = gAnalyserImport(decodeTextFile(octets), gUtilisateurs(), &aEcrire);
    if (!aEcrire.isEmpty()) {
        donnees().update([&](IniDocument& doc) {
            for (const LigneImport& l : aEcrire) {
                doc.setValue(Utilisateurs, l.station, l.valeur);
            }
        });
    }
    return r;
}

QString gAfficherMembres(const QString& membres, const QList<Utilisateur>& utilisateurs, bool avecStation)
{
    QStringList parties;
    for (const QString& station : membres.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        QString description;
        for (const Utilisateur& u : utilisateurs) {
            if (egaux(u.station, station)) {
                description = u.description;
                break;
            }
        }
        parties.append(avecStation ? description + QStringLiteral(" (") + station + QLatin1Char(')') : description);
    }
    return parties.join(QStringLiteral("; "));
}

std::optional<Refus>
gVerifierGroupe(const QString& nom, const QStringList& membres, const QString& nomCharge, const QList<Groupe>& groupes)
{
    if (nom.isEmpty()) {
        return Refus {"NomGroupeObligatoire", Champ::NomGroupe};
    }
    if (membres.isEmpty()) {
        return Refus {"UtilisateurGroupeObligatoire", Champ::Membres};
    }
    if (const QChar c = gCaractereInterditCle(nom, InterditsGroupe); !c.isNull()) {
        return Refus {"CaractereInterdit", Champ::NomGroupe, {c}};
    }
    // A rename is not checked: renaming onto another group's name replaces that group.
    if (nomCharge.isEmpty()) {
        for (const Groupe& g : groupes) {
            if (g.nom == nom) {
                return Refus {"GroupeExistant", Champ::NomGroupe};
            }
        }
    }
    return std::nullopt;
}

void gEnregistrerGroupe(const QString& nom, const QStringList& membres, const QString& nomCharge)
{
    donnees().update([&](IniDocument& doc) {
        if (!nomCharge.isEmpty() && nomCharge != nom) {
            doc.removeKey(Groupes, nomCharge);
        }
        doc.setValue(Groupes, nom, membres.join(QLatin1Char(',')));
    });
}

void gSupprimerGroupe(const QString& nom)
{
    donnees().writeString(Groupes, nom, std::nullopt);
}

QStringList gAjouterMembres(const QStringList& membres, const QStringList& ajout)
{
    QStringList out = membres;
    for (const QString& station : ajout) {
        if (!station.isEmpty() && !out.contains(station)) {
            out.append(station);
        }
    }
    return out;
}

QString gCleMessagePredefini(const QDateTime& moment)
{
    return moment.toString(QStringLiteral("yyyyMMddHHmmss"));
}

QString gEnregistrerMessagePredefini(const QString& cleChargee, const QString& texte, const QDateTime& moment)
{
    QString cle = cleChargee.isEmpty() ? gCleMessagePredefini(moment) : cleChargee;
    donnees().writeString(MessagesPredefinis, cle, gEncoderTexte(gEnCRLF(texte)));
    return cle;
}

void gSupprimerMessagePredefini(const QString& cle)
{
    donnees().writeString(MessagesPredefinis, cle, std::nullopt);
}

const QStringList& gCaracteresSpeciaux()
{
    static const QStringList caracteres {QStringLiteral("%UserDescription%"),
                                         QStringLiteral("%UserWorkstation%"),
                                         QStringLiteral("%UserIPAddress%"),
                                         QString(),
                                         QStringLiteral("%MyIPAddress%"),
                                         QString(),
                                         QStringLiteral("%DateTime%"),
                                         QStringLiteral("%Date%"),
                                         QStringLiteral("%Time%")};
    return caracteres;
}

} // namespace pv
