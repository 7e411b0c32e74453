#include "engine/Envoi.h"
#include "common/MessengerText.h"

#include "common/DataFile.h"
#include "common/Error.h"
#include "common/ErrorReport.h"
#include "common/Language.h"
#include "common/NetworkProbes.h"
#include "common/Scrambling.h"
#include "common/TexteSaisi.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"
#include "messenger/Transport.h"
#include "messenger/codec/ResultCodes.h"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace pv {

namespace {

constexpr int TaillePartie = 880;
constexpr size_t StationsSimultaneesMax = 64;
const QString SautLigne = QStringLiteral("\r\n");
const QString BaliseAdresse = QStringLiteral("%UserIPAddress%");
const QString MarqueCryptage = QStringLiteral("[PVEncrypt]");

// What the send reads from the program-wide state, copied when it starts so that the window may change it.
struct Instantane
{
    Parametres parametres;
    QList<Utilisateur> utilisateurs;
    QList<Groupe> groupes;
    bool langueExiste = false;
};

QString dateHeure(const QDateTime& moment)
{
    return moment.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

// The contract says CR LF; a lone CR or LF would break the history's one-line records.
QString sautsCrLf(const QString& texte)
{
    return gEnCRLF(gEnLF(texte).replace(QLatin1Char('\r'), QLatin1Char('\n')));
}

// The signature goes above the first quoted line of a reply, else below the text.
QString composer(const QString& texte, const Parametres& p)
{
    if (!p.ajouterSignature) {
        return texte;
    }
    const qsizetype reponse = texte.indexOf(p.caractereDevantReponseExpediteur);
    if (reponse >= 0) {
        return texte.left(reponse) + p.signature + SautLigne + SautLigne + texte.mid(reponse);
    }
    return texte + SautLigne + SautLigne + p.signature;
}

// "[01/02]" and a line break; the numbers widen past 99.
QString enTete(qsizetype i, qsizetype n)
{
    return QStringLiteral("[%1/%2]").arg(i, 2, 10, QLatin1Char('0')).arg(n, 2, 10, QLatin1Char('0')) + SautLigne;
}

// 880 characters and more go as numbered parts; exactly 880 is one part with the header "[01/01]".
QStringList decouper(const QString& message)
{
    const qsizetype longueur = message.size();
    if (longueur < TaillePartie) {
        return {message};
    }
    const qsizetype n = longueur / TaillePartie + (longueur % TaillePartie != 0 ? 1 : 0);
    QStringList parties;
    for (qsizetype i = 1; i <= n; ++i) {
        parties.append(enTete(i, n) + message.mid(TaillePartie * (i - 1), TaillePartie));
    }
    return parties;
}

// Pieces of at most `taille` characters that split neither a CR LF nor a surrogate pair.
QStringList morceaux(const QString& message, qsizetype taille)
{
    QStringList out;
    for (qsizetype debut = 0; debut < message.size();) {
        qsizetype longueur = std::min(taille, message.size() - debut);
        const qsizetype fin = debut + longueur;
        if (longueur > 1 && fin < message.size()
            && ((message[fin - 1] == u'\r' && message[fin] == u'\n') || message[fin - 1].isHighSurrogate())) {
            --longueur;
        }
        out.append(message.mid(debut, longueur));
        debut += longueur;
    }
    return out;
}

// A domain broadcast goes as one datagram per part, so each part, its header included, must fit `place`
// characters (a character takes at most one byte of the OEM code page, CR LF two). The numbering is that of
// decouper: the receiver joins both alike.
QStringList decouperDiffusion(const QString& message, qsizetype place)
{
    if (message.size() <= place && message.size() < TaillePartie) {
        return {message};
    }
    for (qsizetype chiffres = 2;; ++chiffres) {
        const qsizetype taille = place - (2 * chiffres + 5); // the widest header: "[nn/nn]" CR LF
        if (taille < 2) {
            return {message}; // no room at all: the transport refuses it with a reason
        }
        const QStringList pieces = morceaux(message, taille);
        if (QString::number(pieces.size()).size() <= chiffres) {
            QStringList parties;
            for (qsizetype i = 0; i < pieces.size(); ++i) {
                parties.append(enTete(i + 1, pieces.size()) + pieces[i]);
            }
            return parties;
        }
    }
}

QStringList listerStations(const DestinataireChoisi& d, const Instantane& s)
{
    QStringList brut;
    if (d.index >= 0 && d.liste == DestinataireChoisi::Liste::Utilisateurs) {
        brut.append(gRechercherUtilisateurDans(s.utilisateurs, gObtenirStation(d.texte)).station);
    } else if (d.index >= 0) {
        for (const Groupe& g : s.groupes) {
            if (g.nom == d.texte) {
                brut = g.membres.split(QLatin1Char(','));
                break;
            }
        }
    } else {
        return gStationsTapees(d.texte);
    }
    QStringList stations;
    for (const QString& b : brut) {
        const QString station = b.trimmed();
        if (!station.isEmpty()) {
            stations.append(station);
        }
    }
    return stations;
}

// What the send did for one station, ahead of the loop that reports it.
struct IssueStation
{
    QString station; // "*" already made the primary domain's
    QString adresse; // from the ping
    bool joignable = true;
    int code = 0;
    QString raison; // the transport's account of a failure
};

// The stations of a group are pinged and sent to concurrently, at most StationsSimultaneesMax at once and begun in
// list order; the send loop takes each result in that order. Once `arret` is set no station is begun.
class TravauxAnticipes
{
public:
    using Travail = std::function<IssueStation(qsizetype)>;

    TravauxAnticipes(qsizetype nombre, Travail travail, const std::atomic<bool>& arret)
        : m_travail(std::move(travail))
        , m_arret(arret)
        , m_resultats(size_t(nombre))
    {
        const size_t nbFils = std::min<size_t>(size_t(nombre), StationsSimultaneesMax);
        for (size_t f = 0; f < nbFils; ++f) {
            try {
                m_fils.emplace_back([this] { servir(); });
            } catch (const std::system_error&) {
                break; // the threads there are share the work; with none, the loop does it itself
            }
        }
    }

    ~TravauxAnticipes()
    {
        {
            const std::lock_guard verrou(m_verrou);
            m_fin = true;
        }
        for (std::thread& f : m_fils) {
            f.join();
        }
    }

    bool actifs() const { return !m_fils.empty(); }

    // nullopt when the send was stopped before station i was begun.
    std::optional<IssueStation> attendre(qsizetype i)
    {
        std::unique_lock verrou(m_verrou);
        Resultat& r = m_resultats[size_t(i)];
        m_pret.wait(verrou, [&] { return r.fini || (!r.commence && m_arretes == m_fils.size()); });
        if (r.erreur) {
            std::rethrow_exception(r.erreur);
        }
        return r.fini ? std::optional(r.issue) : std::nullopt;
    }

private:
    void servir()
    {
        for (;;) {
            size_t i = 0;
            {
                const std::lock_guard verrou(m_verrou);
                if (m_fin || m_arret || m_prochain >= m_resultats.size()) {
                    ++m_arretes;
                    m_pret.notify_all();
                    return;
                }
                i = m_prochain++;
                m_resultats[i].commence = true;
            }
            IssueStation issue;
            std::exception_ptr erreur;
            try {
                issue = m_travail(qsizetype(i));
            } catch (...) {
                erreur = std::current_exception(); // the loop reports it, as it would its own
            }
            const std::lock_guard verrou(m_verrou);
            m_resultats[i].issue = std::move(issue);
            m_resultats[i].erreur = erreur;
            m_resultats[i].fini = true;
            m_pret.notify_all();
        }
    }

    struct Resultat
    {
        bool commence = false;
        bool fini = false;
        IssueStation issue;
        std::exception_ptr erreur;
    };

    Travail m_travail;
    const std::atomic<bool>& m_arret;
    std::vector<Resultat> m_resultats;
    size_t m_prochain = 0;
    size_t m_arretes = 0;
    bool m_fin = false;
    std::mutex m_verrou;
    std::condition_variable m_pret;
    std::vector<std::thread> m_fils;
};

} // namespace

struct EnvoiMessage::Impl
{
    EnvoiMessage* q = nullptr;
    FonctionTransport transport;
    FonctionPing ping;
    std::atomic<bool> concurrents {true};
    std::atomic<bool> enCours {false};
    std::atomic<bool> arret {false};
    std::thread fil;

    static Instantane prendreInstantane();
    bool executer(const DemandeEnvoi& demande, const Instantane& s, bool synchrone);
};

Instantane EnvoiMessage::Impl::prendreInstantane()
{
    Instantane s {gParametres(), gUtilisateurs(), gGroupes(), gFichierLangueExiste(gParametres().fichierLangue)};
    if (!s.langueExiste) {
        // Said once here, on the caller's thread, rather than for every text of the send.
        gMessageTexte(s.parametres.fichierLangue, QStringLiteral("MessageEnvoyeAvecSucces"));
    }
    return s;
}

bool EnvoiMessage::Impl::executer(const DemandeEnvoi& demande, const Instantane& s, bool synchrone)
{
    // Every signal leaves from the object's thread, in the order the send produced it.
    const auto emettre = [this, synchrone](std::function<void()> f) {
        if (synchrone) {
            f();
        } else {
            QMetaObject::invokeMethod(q, std::move(f), Qt::QueuedConnection);
        }
    };
    const Parametres& p = s.parametres;
    const auto texte = [&](const char* cle, const QStringList& champs = {}) {
        return s.langueExiste ? gMessageTexte(p.fichierLangue, QLatin1String(cle), champs) : QString();
    };
    const auto texteEchec = [&](int code, const QString& station) -> QString {
        switch (code) {
        case 5:
            return QStringLiteral("Access to computer denied.");
        case 50:
            return QStringLiteral("Network request not supported.");
        case 53:
            return texte("DomaineInexistant", {station.left(station.indexOf(QLatin1Char('*')))});
        case 87:
            return QStringLiteral("Invalid parameter(s) specified.");
        case 123:
            return QStringLiteral("Illegal character or malformed name.");
        case 2136:
            return QStringLiteral("General network error occurred.");
        case 2250:
            return QStringLiteral("Network connection not found.");
        case 2273:
            return texte("StationInexistante", {station});
        default:
            return QStringLiteral("Unknown error executing command.");
        }
    };

    bool groupe = false;
    try {
        const QString tape = sautsCrLf(demande.texte);
        const QString message = composer(tape, p);
        // Holds the composed message, then what was stored for the last station that got it: the
        // "%UserIPAddress%" test below is made on it, so a scrambled record hides the placeholder from later
        // stations. Kept on purpose.
        QString travail = message;
        const QStringList parties = decouper(message);
        const QString stocke = demande.crypter ? gTexteCrypte(gEncoderTexte(tape)) : gEncoderTexte(tape);
        const QStringList stations = listerStations(demande.destinataire, s);
        groupe = stations.size() > 1;

        const bool expediteurValide = isValidSenderName(stdText(p.expediteur));
        // One station's ping and send; pourAdresse: the station is pinged for its address even with the ping off.
        const auto traiter = [&](qsizetype i, bool pourAdresse) {
            IssueStation issue;
            issue.station = stations[i];
            QString& station = issue.station;
            const bool diffusion = station.contains(QLatin1Char('*'));
            if (diffusion) {
                if (station == QLatin1String("*")) {
                    station = gObtenirNomDomainePrincipal() + QLatin1Char('*');
                }
            } else if (p.pingStationAvantEnvoi || pourAdresse) {
                // Without the setting the ping only learns the address.
                issue.joignable = ping(station, &issue.adresse, p.delaiAttente) || !p.pingStationAvantEnvoi;
            }
            if (!issue.joignable || !expediteurValide) {
                issue.code = expediteurValide ? -1 : codec::netapi::InvalidParameter;
                return issue;
            }
            QStringList textes;
            if (diffusion) {
                const qsizetype place = qsizetype(domainTextRoom(stdText(station), stdText(p.expediteur)))
                                        - (demande.crypter ? MarqueCryptage.size() : 0);
                textes = decouperDiffusion(
                    sautsCrLf(gRemplacerVariables(station, issue.adresse, message, s.utilisateurs)), place);
            } else {
                for (const QString& partie : parties) {
                    textes.append(gRemplacerVariables(station, issue.adresse, partie, s.utilisateurs));
                }
            }
            for (const QString& t : textes) {
                IssueTransport envoye = transport(station, p.expediteur, demande.crypter ? gTexteCrypte(t) : t);
                issue.code = envoye.code;
                if (issue.code != 0) {
                    issue.raison = std::move(envoye.raison);
                    break;
                }
            }
            return issue;
        };

        // Ahead of the loop when no station's need of an address hangs on an earlier station's success (see
        // travail): then either text holds the placeholder, or neither.
        std::optional<TravauxAnticipes> anticipes;
        if (groupe && this->concurrents
            && message.contains(BaliseAdresse, Qt::CaseInsensitive)
                   == stocke.contains(BaliseAdresse, Qt::CaseInsensitive)) {
            const bool pourAdresse = message.contains(BaliseAdresse, Qt::CaseInsensitive);
            anticipes.emplace(
                stations.size(), [&traiter, pourAdresse](qsizetype i) { return traiter(i, pourAdresse); }, arret);
            if (!anticipes->actifs()) {
                anticipes.reset();
            }
        }

        if (groupe) {
            const QString ligne
                = texte("DebutEnvoiMessageGroupe") + QStringLiteral(" (") + dateHeure(gMaintenant()) + QLatin1Char(')');
            emettre([this, ligne] { Q_EMIT q->debutGroupe(ligne); });
        }

        bool succes = !stations.isEmpty();
        QDateTime dernierEnregistrement;
        for (qsizetype i = 0; i < stations.size(); ++i) {
            std::optional<IssueStation> issue;
            if (anticipes) {
                issue = anticipes->attendre(i); // what was begun before a stop is still recorded
            } else if (!arret) {
                issue = traiter(i, travail.contains(BaliseAdresse, Qt::CaseInsensitive));
            }
            if (!issue) {
                break;
            }
            const QString& station = issue->station;

            ResultatStation r;
            r.station = station;
            r.code = issue->code;
            bool connu = false;
            const Utilisateur u = gRechercherUtilisateurDans(s.utilisateurs, station, &connu);
            r.affichage = p.afficherStationAvecNomIP && connu
                              ? u.description + QStringLiteral(" (") + station + QLatin1Char(')')
                              : station;
            if (r.code == 0) {
                // One key per record even when the clock has not moved on since the last one.
                QDateTime moment = gMaintenant();
                if (dernierEnregistrement.isValid() && moment <= dernierEnregistrement) {
                    moment = dernierEnregistrement.addMSecs(1);
                }
                dernierEnregistrement = moment;
                gEnregistrerHistorique(true, station, stocke, p.nbMessageMaxHistorique, moment);
                travail = stocke;
                emettre([this] { Q_EMIT q->historiqueEnvoyeModifie(); });
                r.texte = texte("MessageEnvoyeAvecSucces");
                if (!groupe) {
                    r.texte += QStringLiteral(" (") + dateHeure(gMaintenant()) + QLatin1Char(')');
                }
            } else {
                r.texte = !issue->joignable   ? texte("StationInexistante", {station})
                          : !expediteurValide ? texte("ExpediteurInvalide", {p.expediteur})
                                              : texteEchec(r.code, station);
                // One code stands for many causes (a refused connection and an unknown name are both 2273):
                // the transport's account says which.
                if (!issue->raison.isEmpty() && s.langueExiste) {
                    r.texte += QLatin1Char(' ') + texte("RaisonEchecEnvoi", {issue->raison});
                }
                r.echec = true;
                succes = false;
            }
            emettre([this, r] { Q_EMIT q->stationTerminee(r); });
        }

        if (groupe) {
            const QString ligne
                = texte("FinEnvoiMessageGroupe") + QStringLiteral(" (") + dateHeure(gMaintenant()) + QLatin1Char(')');
            emettre([this, ligne] { Q_EMIT q->finGroupe(ligne); });
        }
        emettre([this, succes, groupe] {
            enCours = false;
            Q_EMIT q->termine(succes, groupe);
        });
        return succes;
    } catch (const std::exception& e) {
        const auto* erreur = dynamic_cast<const Error*>(&e);
        const int numero = erreur ? erreur->number() : 0;
        const QString description = erreur ? erreur->text() : QString::fromLocal8Bit(e.what());
        emettre([this, numero, description, groupe] {
            gRapportErreur(QStringLiteral("frmPilvanor.mEnvoyerMessage"), numero, description);
            enCours = false;
            Q_EMIT q->termine(false, groupe);
        });
        return false;
    }
}

EnvoiMessage::EnvoiMessage(QObject* parent)
    : EnvoiMessage(
        [](const QString& station, const QString& expediteur, const QString& texte) {
            const Status envoye
                = netMessageBufferSend(SendOptions {}, stdText(station), stdText(expediteur), stdText(texte));
            return IssueTransport(envoye.code(), qtext(envoye.errorText()));
        },
        [](const QString& station, QString* adresse, int delaiMs) { return gPingStation(station, adresse, delaiMs); },
        parent)
{
}

EnvoiMessage::EnvoiMessage(FonctionTransport transport, FonctionPing ping, QObject* parent)
    : QObject(parent)
    , d(std::make_unique<Impl>())
{
    d->q = this;
    d->transport = std::move(transport);
    d->ping = std::move(ping);
}

EnvoiMessage::~EnvoiMessage()
{
    // The send stops after the station at hand; its remaining reports are dropped with this object.
    d->arret = true;
    if (d->fil.joinable()) {
        d->fil.join();
    }
}

bool EnvoiMessage::mEnvoyerMessage(const DemandeEnvoi& demande)
{
    if (d->enCours.exchange(true)) {
        return false;
    }
    if (d->fil.joinable()) {
        d->fil.join();
    }
    d->fil = std::thread([this, demande, s = Impl::prendreInstantane()] { d->executer(demande, s, false); });
    return true;
}

bool EnvoiMessage::enCours() const
{
    return d->enCours;
}

bool EnvoiMessage::envoyerMaintenant(const DemandeEnvoi& demande)
{
    if (d->enCours.exchange(true)) {
        return false;
    }
    // executer clears enCours just before termine, so that a slot of termine may start the next send.
    return d->executer(demande, Impl::prendreInstantane(), true);
}

void EnvoiMessage::setStationsConcurrentes(bool actif)
{
    d->concurrents = actif;
}

} // namespace pv
