#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <utility>

namespace pv {

// What the user chose in the main window's recipient list when Send was pressed.
struct DestinataireChoisi
{
    enum class Liste { Utilisateurs, Groupes };
    Liste liste = Liste::Utilisateurs;
    int index = -1; // the selected entry of cboDestinataire; -1 when the typed text matches no entry
    QString texte;  // the list's text (typed stations, or the selected entry's text)
};

// Everything a send needs, read from the main window at the moment Send is pressed.
struct DemandeEnvoi
{
    QString texte; // txtMessage, line breaks as CR LF
    DestinataireChoisi destinataire;
    bool crypter = false; // chkEncrypterMessage
};

// The outcome for one station, reported in list order.
struct ResultatStation
{
    QString station;   // as sent to
    QString affichage; // as shown in the group window (description and station when the setting asks for it)
    int code = 0;      // the transport's result; -1 when a ping found nobody
    QString texte;     // "MessageEnvoyeAvecSucces" (one station: and " (date time)"), or the failure text and why
    bool echec = false;
};

// What the transport answered: its result code and, on a failure, why in its own words.
struct IssueTransport
{
    // Implicit: a transport that knows no more than a code gives just that.
    IssueTransport(int code = 0, QString raison = {})
        : code(code)
        , raison(std::move(raison))
    {
    }
    int code;
    QString raison;
};

// The transport and the ping, as the send sees them; tests and benchmarks give their own.
using FonctionTransport
    = std::function<IssueTransport(const QString& station, const QString& expediteur, const QString& texte)>;
using FonctionPing = std::function<bool(const QString& station, QString* adresse, int delaiMs)>;

// mEnvoyerMessage, run off the window thread so that the window keeps painting; its reports arrive as signals, in
// the order the stations were listed.
class EnvoiMessage : public QObject
{
    Q_OBJECT

public:
    // The real transport (the message service protocol) and the real ping.
    explicit EnvoiMessage(QObject* parent = nullptr);
    EnvoiMessage(FonctionTransport transport, FonctionPing ping, QObject* parent = nullptr);
    ~EnvoiMessage() override;

    // Starts a send and returns at once; false when a send is already running.
    bool mEnvoyerMessage(const DemandeEnvoi& demande);
    bool enCours() const;
    // Runs a send on the calling thread, for tests and benchmarks; the signals are emitted all the same.
    bool envoyerMaintenant(const DemandeEnvoi& demande);
    // The stations of a send to several are pinged and sent to concurrently ahead of the loop that reports them in
    // list order (on by default).
    void setStationsConcurrentes(bool actif);

Q_SIGNALS:
    void debutGroupe(const QString& ligne); // several stations: the heading line of the group window
    void stationTerminee(const pv::ResultatStation& resultat);
    void finGroupe(const QString& ligne);
    void termine(bool succes, bool groupe); // succes: every station got every part
    void historiqueEnvoyeModifie();

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace pv
