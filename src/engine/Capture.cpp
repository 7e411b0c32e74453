#include "engine/Capture.h"
#include "common/MessengerText.h"

#include "common/DataFile.h"
#include "common/ErrorReport.h"
#include "common/IniFile.h"
#include "common/Scrambling.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"
#include "messenger/Service.h"
#include "reminders/Rappels.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>

#include <sys/stat.h>
#include <time.h>

namespace pv {

namespace {

const QLatin1String Expediteur("#EXPEDITEUR#");
const QLatin1String Destinataire("#DESTINATAIRE#");
const QLatin1String Date("#DATE#");
const QString CRLF = QStringLiteral("\r\n");

// Markers are needed only until their pop-ups are removed, a moment after the write; a few more are kept.
constexpr qsizetype MarquesGardees = 32;
// A file changed this recently may change again within the same timestamp tick.
constexpr qint64 MargeHorodatageNs = 50'000'000;
constexpr qint64 PauseApresErreurMs = 5000;

qint64 maintenantNs()
{
    timespec t {};
    clock_gettime(CLOCK_REALTIME, &t);
    return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

qint64 ns(const timespec& t)
{
    return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

// The title and header template of the service's pop-ups in each language.
struct Forme
{
    QString titre;
    QString modele;
};

const QList<Forme>& formesService()
{
    static const QList<Forme> formes = [] {
        QList<Forme> f;
        for (const PopupLanguage langue : {PopupLanguage::English, PopupLanguage::French}) {
            const PopupWording w = popupWording(langue);
            f.append({qtext(w.title), qtext(w.header).arg(Expediteur, Destinataire, Date)});
        }
        return f;
    }();
    return formes;
}

// True when the header reads as the template with its fields filled in.
bool suitModele(const QString& modele, const QString& entete)
{
    const EnteteAnalysee h = gAnalyserEntete(modele, entete);
    QString relu = modele;
    relu.replace(Expediteur, h.expediteur).replace(Destinataire, h.destinataire).replace(Date, h.date);
    return relu == entete;
}

// The learnt template, unless the header follows one of the service's forms instead: a service that writes in
// another language than the one learnt is still read right.
QString modelePour(const QString& entete)
{
    const QString& appris = gParametres().enteteFenetreMessenger;
    if (suitModele(appris, entete)) {
        return appris;
    }
    for (const Forme& f : formesService()) {
        if (suitModele(f.modele, entete)) {
            return f.modele;
        }
    }
    return appris;
}

bool titreConnu(const QString& titre, const QString& appris)
{
    return titre == appris || std::ranges::any_of(formesService(), [&](const Forme& f) { return f.titre == titre; });
}

// "[nn/nn]" before a part's text, the numbers as wide as the sender needs: "[001/114]"... "[114/114]".
const QRegularExpression EnteteParties(QStringLiteral("^\\[(\\d{2,5})/(\\d{2,5})\\]"));

} // namespace

EnteteAnalysee gAnalyserEntete(const QString& modele, const QString& entete)
{
    QString copie = modele;
    // Up to the first blank; the marker is then replaced by what was read, so that later positions line up.
    auto jusquAuBlanc = [&](QLatin1String marque) {
        const qsizetype p = copie.indexOf(marque);
        if (p < 0) {
            return QString();
        }
        qsizetype fin = entete.indexOf(QLatin1Char(' '), p);
        if (fin < 0) {
            fin = entete.size();
        }
        QString valeur = p < entete.size() ? entete.mid(p, fin - p) : QString();
        copie.replace(marque, valeur, Qt::CaseInsensitive);
        return valeur;
    };
    EnteteAnalysee r;
    r.expediteur = jusquAuBlanc(Expediteur);
    r.destinataire = jusquAuBlanc(Destinataire);
    const qsizetype p = copie.indexOf(Date);
    r.date = p < 0 ? QString() : entete.mid(p);
    return r;
}

Capture::Capture(const std::string& dossierSpool)
    : m_spool(dossierSpool)
    , m_index(qtext(dossierSpool))
{
}

Capture::Empreinte Capture::empreinte(const QString& chemin)
{
    struct stat st
    {
    };
    if (::stat(QFile::encodeName(chemin).constData(), &st) != 0) {
        return {};
    }
    return {true, st.st_ino, st.st_size, ns(st.st_mtim), ns(st.st_ctim)};
}

bool Capture::sure(const Empreinte& e, qint64 luA)
{
    return !e.existe || (e.mtimeNs < luA - MargeHorodatageNs && e.ctimeNs < luA - MargeHorodatageNs);
}

ResultatCapture Capture::mCapturerMessage()
{
    ResultatCapture r;
    r.rappels = declencherRappels();
    const Parametres& p = gParametres();
    if (!p.capturerMessage || QDateTime::currentMSecsSinceEpoch() < m_pauseJusqua) {
        return r;
    }
    suivreSpool(p.titreFenetreMessenger);
    if (const QList<Popup> lot = popupsEnAttente(p.titreFenetreMessenger); !lot.isEmpty()) {
        QList<MessageCapture> stockes = traiter(lot);
        if (stockes.size() == 1) {
            r.message = stockes.takeFirst();
        } else {
            r.lot = std::move(stockes);
        }
    }
    r.nbNonReconnus = m_nonReconnus.size();
    r.titreNonReconnu = m_nonReconnus.isEmpty() ? QString() : m_nonReconnus.first();
    return r;
}

QList<RappelDeclenche> Capture::declencherRappels()
{
    const QString chemin = gFichierParametres();
    if (chemin.isEmpty()) {
        return {};
    }
    const qint64 avant = maintenantNs();
    const Empreinte e = empreinte(chemin);
    if (chemin != m_cheminRappels || !m_rappelsSurs || e != m_empreinteRappels) {
        m_rappels.clear();
        for (const QString& ligne : IniFile(chemin).readSection(QLatin1String(SectionRappel))) {
            const QString cle = iniLineKey(ligne);
            if (!cle.isEmpty()) {
                m_rappels.append({cle, ligne.mid(ligne.indexOf(QLatin1Char('=')) + 1)});
            }
        }
        m_cheminRappels = chemin;
        m_empreinteRappels = e;
        m_rappelsSurs = sure(e, avant);
    }

    QList<RappelDeclenche> dus;
    const QString maintenant = gMaintenant().toString(QLatin1String(FormatInstantRappel));
    for (qsizetype i = 0; i < m_rappels.size();) {
        const auto& [cle, valeur] = m_rappels[i];
        const QStringList champs = valeur.split(QLatin1Char('|'));
        if (!gRappelDu(champs, maintenant)) {
            ++i;
            continue;
        }
        dus.append({cle, champs, gMomentRappel(gInstantPrevu(champs)), gDecoderTexte(champs.value(3))});
        gSupprimerParametre(QLatin1String(SectionRappel), cle);
        m_rappels.removeAt(i);
    }
    return dus;
}

void Capture::suivreSpool(const QString& titre)
{
    if (titre != m_titreVu) {
        // What waited under an unknown title may be known now.
        m_titreVu = titre;
        for (const QString& nom : m_nonReconnus.keys()) {
            m_aLire.insert(nom);
        }
        m_nonReconnus.clear();
    }
    const ChangementsSpool c = m_index.actualiser();
    if (c.complet) {
        const QSet<QString> presents(c.arrives.cbegin(), c.arrives.cend());
        m_aLire.clear();
        m_nonReconnus.removeIf([&](const auto& it) { return !presents.contains(it.key()); });
    }
    for (const QString& nom : c.arrives) {
        // A file written again is looked at again; one already looked at and unchanged stays where it is.
        if (!c.complet) {
            m_nonReconnus.remove(nom);
        }
        if (!m_nonReconnus.contains(nom) && !m_ignores.contains(nom)) {
            m_aLire.insert(nom);
        }
    }
    for (const QString& nom : c.partis) {
        m_aLire.erase(nom);
        m_nonReconnus.remove(nom);
    }
}

std::optional<Popup> Capture::lire(const QString& nom) const
{
    return m_spool.read(stdText(nom));
}

QList<Popup> Capture::popupsEnAttente(const QString& titre)
{
    QList<Popup> lot;
    const qsizetype max = qsizetype(m_aLire.size()) > m_seuilLot ? TailleLotMax : 1;
    QElapsedTimer duree;
    duree.start();
    while (!m_aLire.empty() && lot.size() < max && (lot.isEmpty() || duree.elapsed() < DureeLectureMaxMs)) {
        const QString nom = m_aLire.extract(m_aLire.begin()).value();
        // Gone, or not a whole pop-up yet: an event brings back what is written again.
        auto p = lire(nom);
        if (!p) {
            continue;
        }
        if (!titreConnu(qtext(p->title), titre)) {
            m_nonReconnus.insert(nom, qtext(p->title));
            continue;
        }
        lot.append(*p);
    }
    return lot;
}

void Capture::retirer(const Popup& popup)
{
    const QString id = qtext(popup.id);
    if (m_spool.remove(popup) || !QFile::exists(qtext(m_spool.folder()) + QLatin1Char('/') + id)) {
        m_ignores.remove(id);
    } else {
        m_ignores.insert(id);
    }
}

QList<MessageCapture> Capture::traiter(const QList<Popup>& lot)
{
    // Worked out on copies, kept only once the write is done.
    QHash<QString, Parties> parties = m_parties;
    QList<Popup> aRetirer;
    QList<MessageCapture> messages;
    QList<NouvelleEntreeHistorique> entrees;
    QStringList ids; // of the pop-ups each stored message came from
    QList<qsizetype> idsParMessage;
    try {
        IniFile(gFichierDonnees()).update([&](IniDocument& doc) {
            const QLatin1String marques(SectionPopupCapture);
            QStringList anciennes;
            for (const QString& ligne : doc.sectionLines(marques)) {
                if (const QString k = iniLineKey(ligne); !k.isEmpty()) {
                    anciennes.append(k);
                }
            }
            const QSet<QString> marquees(anciennes.cbegin(), anciennes.cend());
            for (const Popup& popup : lot) {
                // Stored before a crash that came before its removal.
                if (marquees.contains(qtext(popup.id))) {
                    aRetirer.append(popup);
                    continue;
                }
                // Header line, empty line, body.
                const QString texte = qtext(popup.text);
                const qsizetype saut = texte.indexOf(CRLF);
                const QString entete = saut < 0 ? texte : texte.left(saut);
                QString corps = saut < 0 ? QString() : texte.mid(saut + 4);
                const bool crypte = gEstCrypte(corps);
                if (crypte) {
                    corps = gCrypterMessage(corps.mid(qsizetype(qstrlen(PrefixeCryptage))));
                }
                // "[nn/nn]", a line break, then the part's text.
                bool complet = true;
                bool partie = false;
                if (const QRegularExpressionMatch m = EnteteParties.match(corps); m.hasMatch()) {
                    partie = true;
                    complet = m.captured(1).toInt() == m.captured(2).toInt();
                    corps = corps.mid(m.capturedLength() + 2);
                }
                const EnteteAnalysee h = gAnalyserEntete(modelePour(entete), entete);
                const Utilisateur u = gRechercherUtilisateur(h.expediteur, false);
                const QString qui = h.expediteur.toUpper();
                if (u.ignorer) {
                    aRetirer.append(parties.take(qui).tenues);
                    aRetirer.append(popup);
                    continue;
                }
                if (!complet) {
                    // Kept in the spool until the message is stored: a crash then loses nothing but the buffer,
                    // rebuilt from the same parts at the next start.
                    Parties& attente = parties[qui];
                    attente.texte += corps;
                    attente.tenues.append(popup);
                    continue;
                }
                // A whole message from a sender with parts pending is a message of its own; they wait for their
                // last part.
                const Parties attente = partie ? parties.take(qui) : Parties {};
                const QString message = attente.texte + corps;
                const QString stocke
                    = gEncoderTexte(crypte ? QLatin1String(PrefixeCryptage) + gCrypterMessage(message) : message);
                for (const Popup& tenue : attente.tenues) {
                    ids.append(qtext(tenue.id));
                    aRetirer.append(tenue);
                }
                ids.append(qtext(popup.id));
                aRetirer.append(popup);
                idsParMessage.append(ids.size());
                // The time it arrived, however long it waited.
                entrees.append({popup.arrived ? qDateTime(*popup.arrived).toLocalTime() : gMaintenant(),
                                h.expediteur + QLatin1Char('|') + stocke});
                messages.append(
                    {h.expediteur, u.description, h.destinataire, h.date, message, crypte, qtext(popup.peer), {}});
            }
            if (messages.isEmpty()) {
                return;
            }
            const QStringList cles = gAjouterHistorique(doc, false, entrees, gParametres().nbMessageMaxHistorique);
            QStringList lignes;
            for (qsizetype m = 0, i = 0; m < messages.size(); ++m) {
                messages[m].cleHistorique = cles[m];
                for (; i < idsParMessage[m]; ++i) {
                    lignes.append(ids[i] + QLatin1Char('=') + cles[m]);
                }
            }
            // Markers are needed only until their pop-ups are removed, a moment after this write; a write never
            // drops the ones it adds.
            const qsizetype trop = qMin(anciennes.size(), anciennes.size() + lignes.size() - MarquesGardees);
            if (trop > 0) {
                doc.removeKeys(marques, anciennes.first(trop));
            }
            doc.appendLines(marques, lignes);
        });
    } catch (const std::exception& e) {
        gRapportErreur(QStringLiteral("frmPilvanor.mCapturerMessage"), e);
        m_pauseJusqua = QDateTime::currentMSecsSinceEpoch() + PauseApresErreurMs;
        // All of them stay, to be looked at again after the pause.
        for (const Popup& popup : lot) {
            m_aLire.insert(qtext(popup.id));
        }
        return {};
    }

    m_parties = std::move(parties);
    for (const Parties& attente : std::as_const(m_parties)) {
        for (const Popup& tenue : attente.tenues) {
            m_ignores.insert(qtext(tenue.id));
        }
    }
    for (const Popup& popup : std::as_const(aRetirer)) {
        retirer(popup);
    }
    return messages;
}

} // namespace pv
