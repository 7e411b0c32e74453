#include "engine/Envoi.h"

#include "common/DataFile.h"
#include "common/Error.h"
#include "common/ErrorReport.h"
#include "common/Language.h"
#include "common/NetworkProbes.h"
#include "common/Scrambling.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"
#include "messenger/Transport.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace pv {

namespace {

constexpr int TaillePartie = 880;
constexpr int PingsSimultanesMax = 64;
const QString SautLigne = QStringLiteral("\r\n");
const QString BaliseAdresse = QStringLiteral("%UserIPAddress%");

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
    QString t = texte;
    t.replace(SautLigne, QStringLiteral("\n")).replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return t.replace(QLatin1Char('\n'), SautLigne);
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
        parties.append(QStringLiteral("[%1/%2]").arg(i, 2, 10, QLatin1Char('0')).arg(n, 2, 10, QLatin1Char('0'))
                       + SautLigne + message.mid(TaillePartie * (i - 1), TaillePartie));
    }
    return parties;
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
        brut = d.texte.toUpper().split(QLatin1Char(','));
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

// Ahead of the send loop, at most PingsSimultanesMax at once; the loop takes each result in list order.
class PingsAnticipes
{
public:
    PingsAnticipes(const FonctionPing& ping, const QStringList& stations, const std::vector<bool>& aPinger, int delai)
        : m_resultats(stations.size())
    {
        for (qsizetype i = 0; i < stations.size(); ++i) {
            if (aPinger[size_t(i)]) {
                m_file.push_back(i);
                m_resultats[size_t(i)].prevu = true;
            }
        }
        const size_t nbFils = std::min<size_t>(m_file.size(), PingsSimultanesMax);
        for (size_t f = 0; f < nbFils; ++f) {
            try {
                lancer(ping, stations, delai);
            } catch (const std::system_error&) {
                break; // the threads there are share the work; with none, the loop pings for itself
            }
        }
        if (m_fils.empty()) {
            for (Resultat& r : m_resultats) {
                r.prevu = false;
            }
        }
    }

    ~PingsAnticipes()
    {
        m_arret = true;
        for (std::thread& f : m_fils) {
            f.join();
        }
    }

    // nullopt when this station was not pinged ahead.
    std::optional<bool> attendre(qsizetype i, QString* adresse)
    {
        std::unique_lock verrou(m_verrou);
        if (!m_resultats[size_t(i)].prevu) {
            return std::nullopt;
        }
        m_pret.wait(verrou, [&] { return m_resultats[size_t(i)].fini; });
        *adresse = m_resultats[size_t(i)].adresse;
        return m_resultats[size_t(i)].repond;
    }

private:
    void lancer(const FonctionPing& ping, const QStringList& stations, int delai)
    {
        m_fils.emplace_back([this, ping, stations, delai] {
            for (size_t k = m_prochain++; k < m_file.size() && !m_arret; k = m_prochain++) {
                const qsizetype i = m_file[k];
                QString adresse;
                bool repond = false;
                try {
                    repond = ping(stations[i], &adresse, delai);
                } catch (...) {
                    repond = false;
                }
                const std::lock_guard verrou(m_verrou);
                m_resultats[size_t(i)] = {true, true, repond, adresse};
                m_pret.notify_all();
            }
        });
    }

    struct Resultat
    {
        bool prevu = false;
        bool fini = false;
        bool repond = false;
        QString adresse;
    };

    std::vector<qsizetype> m_file;
    std::vector<Resultat> m_resultats;
    std::atomic<size_t> m_prochain {0};
    std::atomic<bool> m_arret {false};
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
    std::atomic<bool> pingsConcurrents {true};
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
        // Holds the composed message, then what was stored for the last station that got it: the
        // "%UserIPAddress%" test below is made on it, so a scrambled record hides the placeholder from later
        // stations. Kept on purpose.
        QString travail = composer(tape, p);
        const QStringList parties = decouper(travail);
        const QString stocke = demande.crypter ? gTexteCrypte(gEncoderTexte(tape)) : gEncoderTexte(tape);
        const QStringList stations = listerStations(demande.destinataire, s);
        groupe = stations.size() > 1;

        std::optional<PingsAnticipes> anticipes;
        if (groupe && pingsConcurrents) {
            // A station may need the ping for its address while either text holds the placeholder; a result the
            // loop does not ask for is dropped.
            const bool pourAdresse = travail.contains(BaliseAdresse, Qt::CaseInsensitive)
                                     || stocke.contains(BaliseAdresse, Qt::CaseInsensitive);
            std::vector<bool> aPinger;
            for (const QString& station : stations) {
                aPinger.push_back(!station.contains(QLatin1Char('*')) && (p.pingStationAvantEnvoi || pourAdresse));
            }
            anticipes.emplace(ping, stations, aPinger, p.delaiAttente);
        }

        if (groupe) {
            const QString ligne
                = texte("DebutEnvoiMessageGroupe") + QStringLiteral(" (") + dateHeure(gMaintenant()) + QLatin1Char(')');
            emettre([this, ligne] { Q_EMIT q->debutGroupe(ligne); });
        }

        bool succes = !stations.isEmpty();
        QDateTime dernierEnregistrement;
        for (qsizetype i = 0; i < stations.size() && !arret; ++i) {
            QString station = stations[i];
            QString adresse;
            bool joignable = true;
            if (station.contains(QLatin1Char('*'))) {
                if (station == QLatin1String("*")) {
                    station = gObtenirNomDomainePrincipal() + QLatin1Char('*');
                }
            } else if (p.pingStationAvantEnvoi || travail.contains(BaliseAdresse, Qt::CaseInsensitive)) {
                std::optional<bool> repond = anticipes ? anticipes->attendre(i, &adresse) : std::nullopt;
                if (!repond) {
                    repond = ping(station, &adresse, p.delaiAttente);
                }
                // Without the setting the ping only learns the address.
                joignable = *repond || !p.pingStationAvantEnvoi;
            }

            ResultatStation r;
            r.station = station;
            bool connu = false;
            const Utilisateur u = gRechercherUtilisateurDans(s.utilisateurs, station, &connu);
            r.affichage = p.afficherStationAvecNomIP && connu
                              ? u.description + QStringLiteral(" (") + station + QLatin1Char(')')
                              : station;
            if (!joignable) {
                r.code = -1;
            } else {
                for (const QString& partie : parties) {
                    const QString developpe = gRemplacerVariables(station, adresse, partie, s.utilisateurs);
                    r.code = transport(station, p.expediteur, demande.crypter ? gTexteCrypte(developpe) : developpe);
                    if (r.code != 0) {
                        break;
                    }
                }
            }
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
                r.texte = joignable ? texteEchec(r.code, station) : texte("StationInexistante", {station});
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
            return netMessageBufferSend(SendOptions {}, station, expediteur, texte);
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

void EnvoiMessage::setPingsConcurrents(bool actif)
{
    d->pingsConcurrents = actif;
}

} // namespace pv
