#include "common/Paths.h"

#include <QDir>
#include <QFileInfo>

namespace pv {

namespace {

QString xdgFolder(const char* variable, const char* underHome)
{
    const QString set = qEnvironmentVariable(variable);
    if (!set.isEmpty() && QDir::isAbsolutePath(set)) {
        return QDir::cleanPath(set);
    }
    const QString home = qEnvironmentVariable("HOME");
    if (home.isEmpty()) {
        return {};
    }
    return QDir::cleanPath(home + QLatin1Char('/') + QLatin1String(underHome));
}

} // namespace

QString gObtenirDossierSpecial(DossierSpecial dossier)
{
    switch (dossier) {
    case DossierSpecial::Donnees:
        return xdgFolder("XDG_DATA_HOME", ".local/share");
    case DossierSpecial::Configuration:
        return xdgFolder("XDG_CONFIG_HOME", ".config");
    case DossierSpecial::Etat:
        return xdgFolder("XDG_STATE_HOME", ".local/state");
    case DossierSpecial::Execution: {
        const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
        return (!runtime.isEmpty() && QFileInfo(runtime).isDir()) ? runtime : QDir::tempPath();
    }
    }
    return {};
}

QString gDossierDonnees()
{
    const QString base = gObtenirDossierSpecial(DossierSpecial::Donnees);
    return base.isEmpty() ? QString() : base + QLatin1Char('/') + QLatin1String(TitreApplication);
}

QString gCheminFichierDonneesParDefaut()
{
    const QString folder = gDossierDonnees();
    return folder.isEmpty() ? QString() : folder + QStringLiteral("/Pilvanor.pv");
}

QString gCheminFichierParametres()
{
    const QString base = gObtenirDossierSpecial(DossierSpecial::Configuration);
    return base.isEmpty() ? QString() : base + QStringLiteral("/Pilvanor/Pilvanor.conf");
}

namespace {
QString g_dossierProgramme;
}

void gDefinirDossierProgramme(const QString& dossier)
{
    g_dossierProgramme = dossier;
}

QString gDossierProgramme()
{
    if (!g_dossierProgramme.isEmpty()) {
        return g_dossierProgramme;
    }
    return gDossierProgrammePour(
        QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath()).absolutePath());
}

QString gDossierProgrammePour(const QString& dossierExecutable)
{
    if (!dossierExecutable.isEmpty()) {
        for (const QString& dossier :
             {dossierExecutable, QDir::cleanPath(dossierExecutable + QStringLiteral("/../share/pilvanor"))}) {
            if (QFileInfo::exists(dossier + QStringLiteral("/pv.ENG"))) {
                return dossier;
            }
        }
    }
    return QStringLiteral(PV_DATADIR);
}

} // namespace pv
