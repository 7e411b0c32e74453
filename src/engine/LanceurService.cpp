#include "engine/LanceurService.h"

#include "messenger/Spool.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace pv {

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
    const QString spool = PopupSpool::defaultFolder();
    if (spool.isEmpty() || serviceActif(spool)) {
        return;
    }
    const QString programme = programmeService();
    if (programme.isEmpty()) {
        Q_EMIT receptionImpossible(QStringLiteral("pilvanor-messenger is not installed"));
        return;
    }
    // The service detaches once its sockets are bound, so its exit status says whether it could.
    auto* process = new QProcess(this);
    process->setProcessChannelMode(QProcess::SeparateChannels);
    process->setStandardOutputFile(QProcess::nullDevice());
    connect(process, &QProcess::finished, this, [this, process](int code, QProcess::ExitStatus status) {
        if (status != QProcess::NormalExit || code != 0) {
            QString raison = QString::fromLocal8Bit(process->readAllStandardError()).trimmed();
            if (raison.isEmpty()) {
                raison = QStringLiteral("pilvanor-messenger ended with status %1").arg(code);
            }
            Q_EMIT receptionImpossible(raison.section(QLatin1Char('\n'), 0, 0));
        }
        process->deleteLater();
    });
    connect(process, &QProcess::errorOccurred, this, [this, process](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            Q_EMIT receptionImpossible(process->errorString());
            process->deleteLater();
        }
    });
    process->start(programme, {QStringLiteral("--spool"), spool});
}

} // namespace pv
