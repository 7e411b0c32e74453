#include "common/DataFile.h"

#include "common/ErrorReport.h"
#include "common/IniFile.h"

#include <QSet>

namespace pv {

namespace {

const QChar Pilcrow(0x00B6);
const QString CrLf = QStringLiteral("\r\n");

QString g_fichierDonnees;
QList<Utilisateur> g_utilisateurs;
QList<Groupe> g_groupes;
QList<MessagePredefini> g_messagesPredefinis;

const char* sectionHistorique(bool envoye)
{
    return envoye ? SectionMessageEnvoye : SectionMessageRecu;
}

struct Ligne
{
    QString cle;
    QString valeur;
};

// Splits "key=value" lines at their first "="; a hand-written line without one is passed over.
QList<Ligne> decouper(const QStringList& lines)
{
    QList<Ligne> out;
    out.reserve(lines.size());
    for (const QString& line : lines) {
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq > 0) {
            out.append({line.left(eq).trimmed(), line.mid(eq + 1)});
        }
    }
    return out;
}

QList<Ligne> lireSection(const char* section, int limit = IniFile::SectionLimit)
{
    return decouper(IniFile(g_fichierDonnees).readSection(QLatin1String(section), limit));
}

} // namespace

QString gFichierDonnees()
{
    return g_fichierDonnees;
}

void gDefinirFichierDonnees(const QString& path)
{
    g_fichierDonnees = path;
}

const QList<Utilisateur>& gUtilisateurs()
{
    return g_utilisateurs;
}

const QList<Groupe>& gGroupes()
{
    return g_groupes;
}

const QList<MessagePredefini>& gMessagesPredefinis()
{
    return g_messagesPredefinis;
}

void gChargerUtilisateurGroupe()
{
    g_utilisateurs.clear();
    for (const Ligne& l : lireSection(SectionUtilisateur)) {
        const qsizetype bar = l.valeur.indexOf(QLatin1Char('|'));
        // A value without "|" (hand-edited) keeps its whole text as the description.
        Utilisateur u {l.cle, bar < 0 ? l.valeur : l.valeur.left(bar), false};
        u.ignorer = bar >= 0 && l.valeur.mid(bar + 1) == QLatin1String("1");
        g_utilisateurs.append(u);
    }
    g_groupes.clear();
    for (const Ligne& l : lireSection(SectionGroupe)) {
        g_groupes.append({l.cle, l.valeur});
    }
}

void gChargerMessagePredefini()
{
    g_messagesPredefinis.clear();
    for (const Ligne& l : lireSection(SectionMessagePredefini)) {
        g_messagesPredefinis.append({l.cle, l.valeur});
    }
}

Utilisateur gRechercherUtilisateur(const QString& nom, bool parDescription, bool* trouve)
{
    if (trouve) {
        *trouve = false;
    }
    for (const Utilisateur& u : g_utilisateurs) {
        const bool egal = parDescription ? u.description == nom : u.station.compare(nom, Qt::CaseInsensitive) == 0;
        if (egal) {
            if (trouve) {
                *trouve = true;
            }
            return u;
        }
    }
    return {nom, nom, false};
}

Groupe gRechercherGroupe(const QString& nom)
{
    for (const Groupe& g : g_groupes) {
        if (g.nom == nom) {
            return g;
        }
    }
    return {nom, QString()};
}

QString gObtenirStation(const QString& texteAffiche)
{
    const qsizetype paren = texteAffiche.indexOf(QLatin1Char('('));
    if (paren < 0) {
        return texteAffiche;
    }
    // The displayed form is always station, " (", description, ")": drop the blank too.
    return texteAffiche.left(qMax<qsizetype>(0, paren - 1));
}

QString gEncoderTexte(const QString& texte)
{
    QString out = texte;
    return out.replace(CrLf, QString(Pilcrow));
}

QString gDecoderTexte(const QString& texte)
{
    QString out = texte;
    return out.replace(Pilcrow, CrLf);
}

QString gEncoderDescription(const QString& description)
{
    QString out = description;
    return out.replace(QLatin1Char('('), QLatin1Char('[')).replace(QLatin1Char(')'), QLatin1Char(']'));
}

QString gValeurUtilisateur(const QString& description, bool ignorer)
{
    return gEncoderDescription(description) + (ignorer ? QStringLiteral("|1") : QStringLiteral("|0"));
}

QString gCleHistorique(const QDateTime& moment)
{
    const QDate d = moment.date();
    const QTime t = moment.time();
    return QString::number(d.year())
           + QStringLiteral("%1%2%3%4%5%6")
                 .arg(d.month(), 2, 10, QLatin1Char('0'))
                 .arg(d.day(), 2, 10, QLatin1Char('0'))
                 .arg(t.hour(), 2, 10, QLatin1Char('0'))
                 .arg(t.minute(), 2, 10, QLatin1Char('0'))
                 .arg(t.second(), 2, 10, QLatin1Char('0'))
                 .arg(t.msec(), 3, 10, QLatin1Char('0'));
}

int gElaguerHistorique(IniDocument& doc, bool envoye, int maximum, int aAjouter)
{
    const QLatin1String section(sectionHistorique(envoye));
    // The whole section counts, not only what one read would return: a history that outgrew the read limit
    // must still be brought back under its maximum.
    QStringList cles;
    for (const QString& line : doc.sectionLines(section)) {
        const QString cle = iniLineKey(line);
        if (!cle.isEmpty()) {
            cles.append(cle);
        }
    }
    const qsizetype excess = qBound<qsizetype>(0, cles.size() + aAjouter - maximum, cles.size());
    if (excess == 0) {
        return 0;
    }
    cles.resize(excess);
    doc.removeKeys(section, cles);
    return static_cast<int>(excess);
}

namespace {

// The key one millisecond later, counted on the key's own clock: no time zone to look up at each step.
QString cleSuivante(const QString& cle)
{
    const qsizetype n = cle.size();
    auto champ = [&](qsizetype depuisFin, qsizetype longueur) {
        return QStringView(cle).mid(n - depuisFin, longueur).toInt();
    };
    const QDateTime t(QDate(QStringView(cle).left(n - 13).toInt(), champ(13, 2), champ(11, 2)),
                      QTime(champ(9, 2), champ(7, 2), champ(5, 2), champ(3, 3)),
                      Qt::UTC);
    return gCleHistorique(t.addMSecs(1));
}

} // namespace

QStringList
gAjouterHistorique(IniDocument& doc, bool envoye, const QList<NouvelleEntreeHistorique>& entrees, int maximum)
{
    const QLatin1String section(sectionHistorique(envoye));
    // Views into the lines, which this copy shares with the document: a history of thousands is not copied key by
    // key for each batch.
    const QStringList existantes = doc.sectionLines(section);
    QSet<QStringView> prises;
    prises.reserve(existantes.size());
    qsizetype nbExistantes = 0;
    for (const QString& line : existantes) {
        if (const qsizetype eq = line.indexOf(QLatin1Char('=')); eq > 0) {
            if (const QStringView cle = QStringView(line).left(eq).trimmed(); !cle.isEmpty()) {
                prises.insert(cle);
                ++nbExistantes;
            }
        }
    }
    QSet<QString> nouvelles;
    QStringList cles;
    QStringList lignes;
    QString proprePrecedente;
    for (const NouvelleEntreeHistorique& e : entrees) {
        const QString propre = gCleHistorique(e.moment);
        QString cle = propre;
        // From the previous entry's own key to the one it was given, every key is taken: a backlog of many
        // messages a millisecond would walk that run again for each.
        if (!cles.isEmpty() && proprePrecedente <= propre && propre <= cles.last()) {
            cle = cleSuivante(cles.last());
        }
        proprePrecedente = propre;
        while (prises.contains(cle) || nouvelles.contains(cle)) {
            cle = cleSuivante(cle);
        }
        nouvelles.insert(cle);
        cles.append(cle);
        lignes.append(cle + QLatin1Char('=') + e.valeur);
    }
    doc.appendLines(section, lignes);
    if (nbExistantes + cles.size() > maximum) {
        gElaguerHistorique(doc, envoye, maximum, 0);
    }
    return cles;
}

int gVerifierNbMessageHistorique(bool envoye, int maximum)
{
    int removed = 0;
    try {
        IniFile(g_fichierDonnees).update([&](IniDocument& doc) { removed = gElaguerHistorique(doc, envoye, maximum); });
    } catch (const std::exception& e) {
        gRapportErreur(QStringLiteral("modPilvanor.gVerifierNbMessageHistorique"), e);
        return 0;
    }
    return removed;
}

int gEnregistrerHistorique(
    bool envoye, const QString& station, const QString& texte, int maximum, const QDateTime& moment)
{
    int removed = 0;
    IniFile(g_fichierDonnees).update([&](IniDocument& doc) {
        removed = gElaguerHistorique(doc, envoye, maximum);
        doc.setValue(QLatin1String(sectionHistorique(envoye)),
                     gCleHistorique(moment),
                     station + QLatin1Char('|') + gEncoderTexte(texte));
    });
    return removed;
}

QList<EntreeHistorique> gLireHistorique(bool envoye)
{
    QList<EntreeHistorique> out;
    for (const Ligne& l : lireSection(sectionHistorique(envoye), IniFile::HistoryLimit)) {
        const qsizetype bar = l.valeur.indexOf(QLatin1Char('|'));
        if (bar < 0) {
            out.append({l.cle, l.valeur, QString()});
        } else {
            out.append({l.cle, l.valeur.left(bar), gDecoderTexte(l.valeur.mid(bar + 1))});
        }
    }
    return out;
}

void gSupprimerHistorique(bool envoye)
{
    IniFile(g_fichierDonnees).removeSection(QLatin1String(sectionHistorique(envoye)));
}

void gSupprimerEntreeHistorique(bool envoye, const QString& cle)
{
    IniFile(g_fichierDonnees).writeString(QLatin1String(sectionHistorique(envoye)), cle, std::nullopt);
}

} // namespace pv
