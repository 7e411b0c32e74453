#pragma once

#include <QDeadlineTimer>
#include <QObject>
#include <QString>

class QTimer;

namespace pv {

// The message service keeps running after the desktop program quits, as a system service would. At start-up
// the program starts it when no service serves this user's pop-up spool yet, and while it runs it starts it again
// whenever it finds the spool unserved: senders would be told the station is not there.
class LanceurService : public QObject
{
    Q_OBJECT

public:
    explicit LanceurService(QObject* parent = nullptr, int intervalleVerificationMs = 2000);

    // True when a service holds the spool's lock.
    static bool serviceActif(const QString& spool);
    static QString programmeService();

    // Starts the service unless one runs or PILVANOR_MESSENGER is "off", then watches it. A failure comes as a
    // signal, once for each new reason, and the next try waits longer each time.
    void demarrer();

Q_SIGNALS:
    void receptionImpossible(const QString& raison);

private:
    void verifier();
    void lancer();
    void echec(const QString& raison);

    QTimer* m_surveillance;
    QString m_spool;
    bool m_lancement = false; // a start has not answered yet
    bool m_vuActif = false;
    int m_echecs = 0; // in a row
    QDeadlineTimer m_prochainEssai;
    QString m_raisonDite;
};

} // namespace pv
