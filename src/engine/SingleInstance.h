#pragma once

#include "engine/LigneCommande.h"

#include <QObject>
#include <QString>

class QLocalServer;

namespace pv {

// One running program per user and settings folder. The first instance holds a lock for its whole life and
// listens on a local socket; a later start finds the lock taken, asks the first to come forward and ends.
class SingleInstance : public QObject
{
    Q_OBJECT

public:
    // The key tells users apart: by default the settings folder, so a test with its own HOME is its own user.
    explicit SingleInstance(const QString& key, QObject* parent = nullptr);
    ~SingleInstance() override;

    // True when this process is the first; it then listens for later starts.
    bool acquire();
    // From a later start: hand the request to the first instance. False when it did not answer in time.
    bool notifyFirst(const Demande& demande = {}, int timeoutMs = 3000);

    QString socketPath() const { return m_socketPath; }

Q_SIGNALS:
    // A later start's request; a line that is no request closes its connection unanswered.
    void demandeRecue(const pv::Demande& demande);

private:
    void onNewConnection();

    QString m_socketPath;
    QString m_lockPath;
    int m_lockFd = -1;
    QLocalServer* m_server = nullptr;
};

} // namespace pv
