#include "engine/SingleInstance.h"

#include "common/Paths.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace pv {

namespace {
const QByteArray Answer = "ok\n";
} // namespace

SingleInstance::SingleInstance(const QString& key, QObject* parent)
    : QObject(parent)
{
    const QString hash
        = QString::fromLatin1(QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256).toHex().left(16));
    const QString base = gObtenirDossierSpecial(DossierSpecial::Execution) + QStringLiteral("/pilvanor-")
                         + QString::number(::getuid()) + QLatin1Char('-') + hash;
    m_socketPath = base + QStringLiteral(".sock");
    m_lockPath = base + QStringLiteral(".lock");
}

SingleInstance::~SingleInstance()
{
    if (m_server) {
        m_server->close();
    }
    if (m_lockFd >= 0) {
        ::close(m_lockFd);
    }
}

bool SingleInstance::acquire()
{
    m_lockFd = ::open(QFile::encodeName(m_lockPath).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_lockFd < 0) {
        // Without a lock file nothing tells instances apart; run rather than refuse to start.
        return true;
    }
    if (::flock(m_lockFd, LOCK_EX | LOCK_NB) != 0) {
        ::close(m_lockFd);
        m_lockFd = -1;
        return false;
    }
    // The lock is ours, so a socket file left here belongs to a dead instance.
    QLocalServer::removeServer(m_socketPath);
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::onNewConnection);
    m_server->listen(m_socketPath);
    return true;
}

void SingleInstance::onNewConnection()
{
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine()) {
                // A line longer than any request will never end: a stranger, not a start of ours.
                if (socket->bytesAvailable() > 4096) {
                    socket->abort();
                }
                return;
            }
            const std::optional<Demande> demande = gDecoderDemande(socket->readLine(4097));
            if (!demande) {
                socket->abort();
                return;
            }
            socket->write(Answer);
            socket->flush();
            Q_EMIT demandeRecue(*demande);
        });
    }
}

bool SingleInstance::notifyFirst(const Demande& demande, int timeoutMs)
{
    // The first instance may still be starting and not listen yet: try until the deadline.
    QDeadlineTimer deadline(timeoutMs);
    // What is left, in the int the socket waits take, and at least 1 ms.
    const auto restant = [&deadline] { return int(qMax<qint64>(1, deadline.remainingTime())); };
    while (!deadline.hasExpired()) {
        QLocalSocket socket;
        socket.connectToServer(m_socketPath);
        if (socket.waitForConnected(restant())) {
            socket.write(gEncoderDemande(demande));
            if (socket.waitForBytesWritten(restant()) && socket.waitForReadyRead(restant())) {
                return socket.readLine() == Answer;
            }
            return false;
        }
        QThread::msleep(50);
    }
    return false;
}

} // namespace pv
