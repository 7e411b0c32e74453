#include "common/Dialogues.h"

#include "common/Fenetres.h"
#include "common/Language.h"
#include "common/Parametres.h"

#include <QColorDialog>
#include <QFileDialog>
#include <QFontDialog>
#include <QFontInfo>
#include <QPrintDialog>
#include <QPrinter>
#include <QStringList>

namespace pv {

namespace {

struct Reponses
{
    ReponseFichier fichier;
    ReponsePolice police;
    ReponseCouleur couleur;
    ReponseImpression impression;
};

Reponses& reponses()
{
    static Reponses r;
    return r;
}

} // namespace

void setReponseFichier(ReponseFichier reponse)
{
    reponses().fichier = std::move(reponse);
}

void setReponsePolice(ReponsePolice reponse)
{
    reponses().police = std::move(reponse);
}

void setReponseCouleur(ReponseCouleur reponse)
{
    reponses().couleur = std::move(reponse);
}

void setReponseImpression(ReponseImpression reponse)
{
    reponses().impression = std::move(reponse);
}

QString gFiltreQt(const QString& filtre)
{
    const QStringList champs = filtre.split(QLatin1Char('|'));
    QStringList filtres;
    for (qsizetype i = 0; i < champs.size(); i += 2) {
        const QString description = champs[i].trimmed();
        QStringList motifs = champs.value(i + 1).split(QLatin1Char(';'), Qt::SkipEmptyParts);
        for (QString& m : motifs) {
            m = m.trimmed();
            if (m == QLatin1String("*.*")) {
                m = QStringLiteral("*");
            }
        }
        motifs.removeAll(QString());
        if (motifs.isEmpty()) {
            // A description without its pattern (a trailing "|") filters nothing: it is left out.
            continue;
        }
        const QString entre = QLatin1Char('(') + motifs.join(QLatin1Char(' ')) + QLatin1Char(')');
        // QFileDialog reads the patterns from the last parentheses, which the description often holds already.
        filtres.append(description.endsWith(entre) ? description : (description + QLatin1Char(' ') + entre).trimmed());
    }
    return filtres.join(QLatin1String(";;"));
}

QString gOuvrirFichier(QWidget* parent, const QString& cleFiltre, const QString& cleTitre, const QString& dossierDepart)
{
    const QString titre = gTexteMessage(cleTitre);
    const QString filtre = gFiltreQt(gTexteMessage(cleFiltre));
    if (reponses().fichier) {
        return reponses().fichier(titre, filtre);
    }
    return QFileDialog::getOpenFileName(parent, titre, dossierDepart, filtre);
}

QString gOuvrirFichier(QWidget* parent, const QString& dossierDepart)
{
    return gOuvrirFichier(
        parent, QStringLiteral("FiltreFichierSon"), QStringLiteral("TitreFenetreOuvrirFichierSon"), dossierDepart);
}

std::optional<QString> gChoisirPolice(QWidget* parent, const QString& police)
{
    PoliceMessage p;
    gAnalyserPoliceMessage(police, p);
    QFont initiale(p.nom, p.taille > 0 ? p.taille : 10);
    initiale.setBold(p.gras);
    initiale.setItalic(p.italique);
    initiale.setUnderline(p.souligne);
    // A face that is not installed would open the dialog on its first face, in its regular style: start from the
    // installed face that stands in for it, in the same size and style.
    initiale.setFamily(QFontInfo(initiale).family());

    std::optional<QFont> choisie;
    if (reponses().police) {
        choisie = reponses().police(initiale);
    } else {
        bool ok = false;
        const QFont f = QFontDialog::getFont(&ok, initiale, parent);
        if (ok) {
            choisie = f;
        }
    }
    if (!choisie) {
        return std::nullopt;
    }
    p.nom = choisie->family();
    if (choisie->pointSize() > 0) {
        p.taille = choisie->pointSize();
    }
    p.gras = choisie->bold();
    p.italique = choisie->italic();
    p.souligne = choisie->underline();

    const QColor couleurInitiale = gCouleurPolice(p.couleur);
    std::optional<QColor> couleur;
    if (reponses().couleur) {
        couleur = reponses().couleur(couleurInitiale);
    } else if (const QColor c = QColorDialog::getColor(couleurInitiale, parent); c.isValid()) {
        couleur = c;
    }
    if (couleur) {
        p.couleur = gValeurCouleur(*couleur);
    }
    return gTextePoliceMessage(p);
}

bool gDialogueImpression(QWidget* parent, QPrinter& imprimante, bool avecSelection)
{
    imprimante.setPrintRange(avecSelection ? QPrinter::Selection : QPrinter::AllPages);
    if (reponses().impression) {
        return reponses().impression(imprimante, avecSelection);
    }
    QPrintDialog dialogue(&imprimante, parent);
    dialogue.setOption(QAbstractPrintDialog::PrintSelection, avecSelection);
    dialogue.setOption(QAbstractPrintDialog::PrintPageRange, false);
    return dialogue.exec() == QDialog::Accepted;
}

} // namespace pv
