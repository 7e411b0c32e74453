#include "engine/LanceurService.h"
#include "common/MessengerText.h"

#include "messenger/Spool.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace pv {

namespace {

// pilvanor-messenger's status when another service already holds the spool: nothing is missing then.
constexpr int StatutSpoolOccupe = 3;
constexpr qint64 AttenteMaxMs = qint64(5) * 60 * 1000;

} // namespace

LanceurService::LanceurService(QObject* parent, int intervalleVerificationMs)
    : QObject(parent)
    , m_surveillance(new QTimer(this))
{
    m_surveillance->setInterval(intervalleVerificationMs);
    connect(m_surveillance, &QTimer::timeout, this, &LanceurService::verifier);
}

bool LanceurService::serviceActif(const QString& spool)
{
    const int fd = ::open(QFile::encodeName(spool + QStringLiteral("/.lock")).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    // The service holds an exclusive lock for its whole life: if ours is granted, nobody serves the spool.
    const bool libre = ::flock(fd, LOCK_SH | LOCK_NB) == 0;
    ::close(fd);
    return !libre;
}

QString LanceurService::programmeService()
{
    const QString voisin = QCoreApplication::applicationDirPath() + QStringLiteral("/pilvanor-messenger");
    return QFileInfo(voisin).isExecutable() ? voisin
                                            : QStandardPaths::findExecutable(QStringLiteral("pilvanor-messenger"));
}

void LanceurService::demarrer()
{
    if (qEnvironmentVariable("PILVANOR_MESSENGER") == QLatin1String("off")) {
        return;
    }
    m_spool = qtext(PopupSpool::defaultFolder());
    if (m_spool.isEmpty()) {
        return;
    }
    m_surveillance->start();
    verifier();
}

void LanceurService::verifier()
{
    if (m_lancement) {
        return;
    }
    if (serviceActif(m_spool)) {
        m_vuActif = true;
        m_echecs = 0;
        m_raisonDite.clear();
        return;
    }
    if (std::exchange(m_vuActif, false)) {
        std::fprintf(stderr, "pilvanor: the message service has ended; starting it again\n");
    }
    if (m_echecs > 0 && !m_prochainEssai.hasExpired()) {
        return;
    }
    lancer();
}

void LanceurService::lancer()
{
    const QString programme = programmeService();
    if (programme.isEmpty()) {
        echec(QStringLiteral("pilvanor-messenger is not installed"));
        return;
    }
    m_lancement = true;
    // The service detaches once its sockets are bound, so its exit status says whether it could.
    auto* process = new QProcess(this);
    process->setProcessChannelMode(QProcess::SeparateChannels);
    process->setStandardOutputFile(QProcess::nullDevice());
    connect(process, &QProcess::finished, this, [this, process](int code, QProcess::ExitStatus status) {
        m_lancement = false;
        if (status != QProcess::NormalExit || (code != 0 && code != StatutSpoolOccupe)) {
            QString raison = QString::fromLocal8Bit(process->readAllStandardError()).trimmed();
            if (raison.isEmpty()) {
                raison = QStringLiteral("pilvanor-messenger ended with status %1").arg(code);
            }
            echec(raison.section(QLatin1Char('\n'), 0, 0));
        }
        process->deleteLater();
    });
    connect(process, &QProcess::errorOccurred, this, [this, process](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            m_lancement = false;
            echec(process->errorString());
            process->deleteLater();
        }
    });
    process->start(programme, {QStringLiteral("--spool"), m_spool});
}

void LanceurService::echec(const QString& raison)
{
    // A port that stays taken must not cost a process every few seconds.
    ++m_echecs;
    m_prochainEssai.setRemainingTime(qMin(AttenteMaxMs, qint64(m_surveillance->interval()) << qMin(m_echecs, 20)));
    if (raison != m_raisonDite) {
        m_raisonDite = raison;
        Q_EMIT receptionImpossible(raison);
    }
}

} // namespace pv
