#include "common/OuvrirTexte.h"

#include "common/EditeurTexte.h"
#include "common/Language.h"
#include "common/Parametres.h"
#include "common/Paths.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QPlainTextEdit>
#include <QProcess>
#include <QRegularExpression>

namespace pv {

namespace {

OuvreurUrl& ouvreur()
{
    static OuvreurUrl o;
    return o;
}

bool ouvrir(const QUrl& url)
{
    return ouvreur() ? ouvreur()(url) : QDesktopServices::openUrl(url);
}

// The address a text names, or an invalid URL when it is not one.
QUrl adresseWeb(const QString& texte)
{
    static const QRegularExpression schema(QStringLiteral("^(https?://|ftp://|mailto:)"),
                                           QRegularExpression::CaseInsensitiveOption);
    if (schema.match(texte).hasMatch()) {
        return QUrl(texte, QUrl::StrictMode);
    }
    if (texte.startsWith(QLatin1String("www."), Qt::CaseInsensitive)) {
        return QUrl(QStringLiteral("http://") + texte, QUrl::StrictMode);
    }
    return {};
}

QString chemin(const QString& texte)
{
    QString home = QDir::homePath();
    if (texte == QLatin1String("~")) {
        return home;
    }
    if (texte.startsWith(QLatin1String("~/"))) {
        return home + texte.mid(1);
    }
    return QDir(home).absoluteFilePath(texte);
}

} // namespace

void setOuvreurUrl(OuvreurUrl o)
{
    ouvreur() = std::move(o);
}

bool gOuvrirUrl(const QUrl& url)
{
    return ouvrir(url);
}

void gOuvrirTexteSelectionne(QWidget* /*proprietaire*/, const QString& selection)
{
    const QString texte = selection.trimmed();
    if (texte.isEmpty()) {
        return;
    }
    if (const QUrl url = adresseWeb(texte); url.isValid()) {
        ouvrir(url);
        return;
    }
    const QString fichier = chemin(texte);
    const QString& langue = gParametres().fichierLangue;
    if (!QFileInfo::exists(fichier)) {
        gMessageBox(langue, QStringLiteral("TexteSelectionneIntrouvable"), MsgStyle::Exclamation, {fichier});
        return;
    }
    if (ouvrir(QUrl::fromLocalFile(fichier))) {
        return;
    }
    if (gMessageBox(langue, QStringLiteral("TexteSelectionneAucuneAssociation"), MsgStyle::Question)
        != MsgResult::Yes) {
        return;
    }
    // One program and its arguments: no shell ever reads the path.
    QStringList commande = gCommandeEditeurTexte(fichier);
    if (commande.isEmpty()) {
        QString editeur = qEnvironmentVariable("VISUAL");
        if (editeur.isEmpty()) {
            editeur = qEnvironmentVariable("EDITOR");
        }
        if (!editeur.isEmpty()) {
            commande = QStringList {editeur, fichier};
        }
    }
    if (commande.isEmpty() || !QProcess::startDetached(commande.takeFirst(), commande)) {
        gMessageBox(langue, QStringLiteral("AucunEditeurTexte"), MsgStyle::Exclamation, {fichier});
    }
}

void gOuvrirTexteSelectionne(QPlainTextEdit* texte)
{
    const QString selection = texte->textCursor().selectedText();
    if (!selection.isEmpty()) {
        gOuvrirTexteSelectionne(texte->window(), selection);
    }
}

void gOuvrirAide()
{
    const QString index = gDossierProgramme() + QStringLiteral("/help/index.html");
    const QString& langue = gParametres().fichierLangue;
    if (!QFileInfo::exists(index)) {
        gMessageBox(langue, QStringLiteral("TexteSelectionneIntrouvable"), MsgStyle::Exclamation, {index});
    } else if (!ouvrir(QUrl::fromLocalFile(index))) {
        gMessageBox(langue, QStringLiteral("AideAucunNavigateur"), MsgStyle::Exclamation, {index});
    }
}

} // namespace pv
