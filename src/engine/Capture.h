#pragma once

#include "messenger/Spool.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>
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
    std::optional<MessageCapture> message;
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
// history record and a marker naming the pop-up go in one atomic write of the data file, and a pop-up found
// marked is only removed. Parts of a long message stay in the spool until the last part is stored; they are
// joined per sender, so that the messages of others are stored as themselves meanwhile. Besides the learnt title
// and template, the service's own forms in each language are recognised, whatever its locale.
class Capture
{
public:
    explicit Capture(std::string dossierSpool);

    // One timer tick: due reminders, then at most one pop-up. Store errors are reported and the pop-up stays.
    ResultatCapture mCapturerMessage();

    // Senders whose last part has not come yet.
    qsizetype nbExpediteursEnAttente() const { return m_parties.size(); }

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
    std::optional<Popup> prochainPopup(const QString& titre);
    std::optional<MessageCapture> traiter(const Popup& popup);
    void retirer(const Popup& popup);

    // Pending parts of one sender.
    struct Parties
    {
        QString texte;
        QList<Popup> tenues; // still in the spool
    };

    PopupSpool m_spool;
    QHash<QString, Parties> m_parties; // by upper-case sender
    QSet<QString> m_ignores;           // ids not to look at again in this session

    QString m_cheminRappels;
    Empreinte m_empreinteRappels;
    bool m_rappelsSurs = false;
    QList<QPair<QString, QString>> m_rappels; // key, value

    QString m_titreVu;
    Empreinte m_empreinteSpool;
    bool m_spoolSur = false; // the last scan found nothing and the folder has not changed since
    qsizetype m_nbNonReconnus = 0;
    QString m_titreNonReconnu;
    qint64 m_pauseJusqua = 0; // after a store error, retry no earlier (ms since epoch)
};

} // namespace pv
