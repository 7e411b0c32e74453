#include "common/EditeurTexte.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTextStream>
#include <QUrl>

namespace pv {

namespace {

const QString TextePlat = QStringLiteral("text/plain");

QStringList dossiers(const char* variable, const QString& parDefaut)
{
    QStringList liste;
    for (const QString& d : qEnvironmentVariable(variable).split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        if (QDir::isAbsolutePath(d)) {
            liste.append(d);
        }
    }
    return liste.isEmpty() ? parDefaut.split(QLatin1Char(':')) : liste;
}

QString dossierPersonnel(const char* variable, const char* sousDossier)
{
    const QString d = qEnvironmentVariable(variable);
    return QDir::isAbsolutePath(d) ? d : QDir::homePath() + QLatin1Char('/') + QLatin1String(sousDossier);
}

// The user's folder first, then the system's.
QStringList dossiersApplications()
{
    QStringList liste {dossierPersonnel("XDG_DATA_HOME", ".local/share")};
    liste += dossiers("XDG_DATA_DIRS", QStringLiteral("/usr/local/share:/usr/share"));
    for (QString& d : liste) {
        d += QStringLiteral("/applications");
    }
    return liste;
}

// One value of one group of a desktop-entry style file; its keys are case-sensitive, unlike the settings'.
QString valeur(const QString& chemin, const QString& groupe, const QString& cle)
{
    QFile f(chemin);
    if (!f.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return {};
    }
    QTextStream flux(&f);
    bool dedans = false;
    QString ligne;
    while (flux.readLineInto(&ligne)) {
        ligne = ligne.trimmed();
        if (ligne.startsWith(QLatin1Char('['))) {
            dedans = ligne == QLatin1Char('[') + groupe + QLatin1Char(']');
        } else if (dedans && ligne.section(QLatin1Char('='), 0, 0).trimmed() == cle) {
            return ligne.section(QLatin1Char('='), 1).trimmed();
        }
    }
    return {};
}

// "vendor-app.desktop" may also live as vendor/app.desktop.
QString cheminBureau(const QString& id)
{
    for (const QString& dossier : dossiersApplications()) {
        QString relatif = id;
        for (;;) {
            QString chemin = dossier + QLatin1Char('/') + relatif;
            if (QFileInfo(chemin).isFile()) {
                return chemin;
            }
            const qsizetype tiret = relatif.indexOf(QLatin1Char('-'));
            if (tiret < 0) {
                break;
            }
            relatif[tiret] = QLatin1Char('/');
        }
    }
    return {};
}

// The command of an installed desktop file, empty when it is hidden, its program is missing or it has no Exec.
QStringList commandeBureau(const QString& id, const QString& fichier)
{
    const QString chemin = cheminBureau(id);
    const QString groupe = QStringLiteral("Desktop Entry");
    if (chemin.isEmpty() || valeur(chemin, groupe, QStringLiteral("Hidden")) == QLatin1String("true")) {
        return {};
    }
    if (const QString essai = valeur(chemin, groupe, QStringLiteral("TryExec"));
        !essai.isEmpty() && QStandardPaths::findExecutable(essai).isEmpty() && !QFileInfo(essai).isExecutable()) {
        return {};
    }
    QStringList commande = gCommandeExec(
        valeur(chemin, groupe, QStringLiteral("Exec")), fichier, valeur(chemin, groupe, QStringLiteral("Name")));
    if (commande.isEmpty()
        || (QStandardPaths::findExecutable(commande.first()).isEmpty()
            && !QFileInfo(commande.first()).isExecutable())) {
        return {};
    }
    if (valeur(chemin, groupe, QStringLiteral("Terminal")) == QLatin1String("true")) {
        commande = QStringList {QStringLiteral("x-terminal-emulator"), QStringLiteral("-e")} + commande;
    }
    return commande;
}

QStringList premierInstalle(const QString& liste, const QString& fichier)
{
    for (const QString& id : liste.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        if (QStringList c = commandeBureau(id.trimmed(), fichier); !c.isEmpty()) {
            return c;
        }
    }
    return {};
}

} // namespace

QStringList gCommandeExec(const QString& exec, const QString& fichier, const QString& nom)
{
    // The value's own escapes first, then the quoting of the command line.
    QString texte;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        if (exec[i] != QLatin1Char('\\') || i + 1 == exec.size()) {
            texte += exec[i];
            continue;
        }
        switch (exec[++i].unicode()) {
        case 's':
            texte += QLatin1Char(' ');
            break;
        case 't':
            texte += QLatin1Char('\t');
            break;
        case 'n':
            texte += QLatin1Char('\n');
            break;
        case 'r':
            texte += QLatin1Char('\r');
            break;
        case '\\':
            texte += QLatin1Char('\\');
            break;
        default: // the command line's own escape, undone below
            texte += QLatin1Char('\\');
            texte += exec[i];
        }
    }
    QStringList arguments;
    bool fichierDonne = false;
    QString courant;
    bool enCours = false;
    for (qsizetype i = 0; i < texte.size(); ++i) {
        const QChar c = texte[i];
        if (c == QLatin1Char('"')) {
            enCours = true;
            for (++i;; ++i) {
                if (i >= texte.size()) {
                    return {};
                }
                if (texte[i] == QLatin1Char('"')) {
                    break;
                }
                if (texte[i] == QLatin1Char('\\') && i + 1 < texte.size()) {
                    ++i;
                }
                courant += texte[i];
            }
        } else if (c == QLatin1Char(' ') || c == QLatin1Char('\t')) {
            if (enCours) {
                arguments.append(courant);
            }
            courant.clear();
            enCours = false;
        } else if (c == QLatin1Char('%') && i + 1 < texte.size()) {
            const QChar code = texte[++i];
            enCours = true;
            if (code == QLatin1Char('%')) {
                courant += code;
            } else if (code == QLatin1Char('f') || code == QLatin1Char('F')) {
                courant += fichier;
                fichierDonne = true;
            } else if (code == QLatin1Char('u') || code == QLatin1Char('U')) {
                courant += QString::fromUtf8(QUrl::fromLocalFile(fichier).toEncoded());
                fichierDonne = true;
            } else if (code == QLatin1Char('c')) {
                courant += nom;
            } else if (courant.isEmpty()) {
                enCours = false; // a field code standing alone and dropped leaves no empty argument
            }
        } else {
            courant += c;
            enCours = true;
        }
    }
    if (enCours) {
        arguments.append(courant);
    }
    if (arguments.isEmpty()) {
        return {};
    }
    if (!fichierDonne) {
        arguments.append(fichier);
    }
    return arguments;
}

QStringList gCommandeEditeurTexte(const QString& fichier)
{
    QStringList listes;
    QStringList bureaux;
    for (const QString& b : qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        bureaux.append(b.toLower());
    }
    QStringList dossiersListes {dossierPersonnel("XDG_CONFIG_HOME", ".config")};
    dossiersListes += dossiers("XDG_CONFIG_DIRS", QStringLiteral("/etc/xdg"));
    dossiersListes += dossiersApplications();
    for (const QString& dossier : dossiersListes) {
        for (const QString& b : bureaux) {
            listes.append(dossier + QLatin1Char('/') + b + QStringLiteral("-mimeapps.list"));
        }
        listes.append(dossier + QStringLiteral("/mimeapps.list"));
    }
    // The chosen default first, then what was added by hand, then what the installed programs claim.
    for (const char* groupe : {"Default Applications", "Added Associations"}) {
        for (const QString& liste : listes) {
            if (QStringList c = premierInstalle(valeur(liste, QLatin1String(groupe), TextePlat), fichier);
                !c.isEmpty()) {
                return c;
            }
        }
    }
    for (const QString& dossier : dossiersApplications()) {
        const QString cache = dossier + QStringLiteral("/mimeinfo.cache");
        if (QStringList c = premierInstalle(valeur(cache, QStringLiteral("MIME Cache"), TextePlat), fichier);
            !c.isEmpty()) {
            return c;
        }
    }
    return {};
}

} // namespace pv
