#pragma once

#include "engine/IndexSpool.h"
#include "messenger/Spool.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>
#include <set>
#include <sys/types.h>

namespace pv {

// Bookkeeping section of the data file: popup id = history key, for the last pop-ups stored.
inline constexpr auto SectionPopupCapture = "CapturedPopup";

// A reminder that came due at this tick; it is already deleted from section "Rappel".
struct RappelDeclenche
{
    QString cle;
    QStringList champs; // the record split on "|"
    QString moment;     // planned time as "yyyy/mm/dd hh:mm"
    QString texte;      // with CR LF line breaks
};

// A message stored in the incoming history at this tick.
struct MessageCapture
{
    QString expediteur;
    QString description; // the sender's, from the user list
    QString destinataire;
    QString date;  // the header's date text, as it came
    QString texte; // readable: unscrambled, CR LF line breaks
    bool crypte = false;
    QString adresse; // the sender's address
    QString cleHistorique;
};

struct ResultatCapture
{
    QList<RappelDeclenche> rappels;
    // The message stored at this tick, when one was.
    std::optional<MessageCapture> message;
    // The messages stored at this tick when there were several (a backlog), in arrival order; message is then
    // empty.
    QList<MessageCapture> lot;
    // Pop-ups waiting under a title that no known form matches, so never captured: how many, and one title.
    qsizetype nbNonReconnus = 0;
    QString titreNonReconnu;
};

// The three fields that the header template gives.
struct EnteteAnalysee
{
    QString expediteur;
    QString destinataire;
    QString date;
};
EnteteAnalysee gAnalyserEntete(const QString& modele, const QString& entete);

// mCapturerMessage over the pop-up spool. A pop-up leaves the spool only once what it led to is durable: the
// history records and a marker naming each pop-up go in one atomic write of the data file, and a pop-up found
// marked is only removed. Parts of a long message stay in the spool until the last part is stored; they are
// joined per sender, so that the messages of others are stored as themselves meanwhile. Besides the learnt title
// and template, the service's own forms in each language are recognised, whatever its locale. The spool is
// followed by IndexSpool, so that a tick reads only the pop-ups it has not looked at yet, however many wait.
class Capture
{
public:
    explicit Capture(const std::string& dossierSpool);

    // One timer tick: due reminders, then every pop-up waiting, oldest first, up to a bound, all stored in one
    // write. Store errors are reported and the pop-ups stay.
    ResultatCapture mCapturerMessage();

    // Senders whose last part has not come yet.
    qsizetype nbExpediteursEnAttente() const { return m_parties.size(); }

    // A tick takes no more pop-ups than this, and stops reading after this time once it has one: the window
    // thread must stay free to answer while a backlog drains, batch after batch.
    static constexpr qsizetype TailleLotMax = 250;
    static constexpr qint64 DureeLectureMaxMs = 5;
    // Live messages come one a tick, each in its own window; only more than this waiting at once (a backlog, or a
    // burst faster than the ticks) is taken as a batch.
    static constexpr qsizetype SeuilLot = 10;
    void setSeuilLot(qsizetype seuil) { m_seuilLot = seuil; }

private:
    // What a stat says of a file, to skip reading what did not change.
    struct Empreinte
    {
        bool existe = false;
        ino_t inode = 0;
        off_t taille = 0;
        qint64 mtimeNs = 0;
        qint64 ctimeNs = 0;
        bool operator==(const Empreinte&) const = default;
    };
    static Empreinte empreinte(const QString& chemin);
    static bool sure(const Empreinte& e, qint64 luA);

    QList<RappelDeclenche> declencherRappels();
    void suivreSpool(const QString& titre);
    QList<Popup> popupsEnAttente(const QString& titre);
    std::optional<Popup> lire(const QString& nom) const;
    QList<MessageCapture> traiter(const QList<Popup>& popups);
    void retirer(const Popup& popup);

    // Pending parts of one sender.
    struct Parties
    {
        QString texte;
        QList<Popup> tenues; // still in the spool
    };

    PopupSpool m_spool;
    IndexSpool m_index;
    qsizetype m_seuilLot = SeuilLot;
    std::set<QString> m_aLire;            // waiting and not looked at yet; names sort in arrival order
    QMap<QString, QString> m_nonReconnus; // waiting under an unknown title: name, title
    QHash<QString, Parties> m_parties;    // by upper-case sender
    QSet<QString> m_ignores;              // held parts and failed removals: not to look at again in this session

    QString m_cheminRappels;
    Empreinte m_empreinteRappels;
    bool m_rappelsSurs = false;
    QList<QPair<QString, QString>> m_rappels; // key, value

    QString m_titreVu;
    qint64 m_pauseJusqua = 0; // after a store error, retry no earlier (ms since epoch)
};

} // namespace pv
