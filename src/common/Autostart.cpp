#include "common/Autostart.h"

#include "common/Error.h"
#include "common/Paths.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace pv {

QString gCheminAutostart()
{
    const QString base = gObtenirDossierSpecial(DossierSpecial::Configuration);
    return base.isEmpty() ? QString() : base + QStringLiteral("/autostart/pilvanor.desktop");
}

bool gAutostartActif()
{
    const QFileInfo info(gCheminAutostart());
    return info.isFile() && info.size() > 0;
}

QString gQuoterCommandeDesktop(const QString& programme)
{
    QString quoted;
    for (const QChar c : programme) {
        if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') || c == QLatin1Char('\\')) {
            quoted += QLatin1Char('\\');
        }
        quoted += c;
    }
    // "%" introduces field codes, so a literal one is doubled; the escaping of "\" doubles again in the file.
    quoted.replace(QLatin1Char('%'), QStringLiteral("%%"));
    quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

void gActiverAutostart(const QString& programme)
{
    const QString path = gCheminAutostart();
    if (path.isEmpty() || !QDir().mkpath(QFileInfo(path).absolutePath())) {
        throw Error(QStringLiteral("Cannot create the autostart folder for %1").arg(path));
    }
    QSaveFile f(path);
    if (!f.open(QIODevice::WriteOnly)) {
        throw Error(QStringLiteral("Cannot write %1: %2").arg(path, f.errorString()));
    }
    const QString entry = QStringLiteral("[Desktop Entry]\n"
                                         "Type=Application\n"
                                         "Name=Pilvanor\n"
                                         "Comment=LAN messenger\n"
                                         "Exec=%1\n"
                                         "Icon=org.pilvanor.Pilvanor\n"
                                         "Terminal=false\n"
                                         "X-GNOME-Autostart-enabled=true\n")
                              .arg(gQuoterCommandeDesktop(programme));
    f.write(entry.toUtf8());
    if (!f.commit()) {
        throw Error(QStringLiteral("Cannot write %1: %2").arg(path, f.errorString()));
    }
}

void gDesactiverAutostart()
{
    const QString path = gCheminAutostart();
    if (QFileInfo::exists(path) && !QFile::remove(path)) {
        throw Error(QStringLiteral("Cannot remove %1").arg(path));
    }
}

} // namespace pv
