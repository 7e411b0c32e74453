#pragma once

#include <QColor>
#include <QFont>
#include <QString>

#include <functional>
#include <optional>

class QPrinter;
class QWidget;

namespace pv {

// The open-file dialog, titled and filtered by two keys of the language file's messages; the filter is in the
// "description|pattern|description|pattern" form. The chosen path, or empty when cancelled.
QString gOuvrirFichier(QWidget* parent,
                       const QString& cleFiltre,
                       const QString& cleTitre,
                       const QString& dossierDepart = QString());
// The same for a sound file ("FiltreFichierSon", "TitreFenetreOuvrirFichierSon").
QString gOuvrirFichier(QWidget* parent, const QString& dossierDepart = QString());

// A "description|pattern|…" filter as QFileDialog's "description (patterns);;…". Patterns separated by ";" are
// separated by blanks, and "*.*" is every file.
QString gFiltreQt(const QString& filtre);

// The font dialog, then the colour dialog, both starting from a "PoliceMessage" text; the chosen font in that
// same six-field form, or nullopt when the font dialog was cancelled. A cancelled colour keeps the former one.
std::optional<QString> gChoisirPolice(QWidget* parent, const QString& police);

// The print dialog on the printer. The selection is offered, and chosen to begin with, only when there is one;
// afterwards the printer's printRange() tells whether the user kept it. False when cancelled.
bool gDialogueImpression(QWidget* parent, QPrinter& imprimante, bool avecSelection);

// What answers each dialog instead of the user. Tests set them so that nothing blocks; an empty function brings
// the real dialog back.
using ReponseFichier = std::function<QString(const QString& titre, const QString& filtreQt)>;
using ReponsePolice = std::function<std::optional<QFont>(const QFont& initiale)>;
using ReponseCouleur = std::function<std::optional<QColor>(const QColor& initiale)>;
using ReponseImpression = std::function<bool(QPrinter& imprimante, bool avecSelection)>;
void setReponseFichier(ReponseFichier reponse);
void setReponsePolice(ReponsePolice reponse);
void setReponseCouleur(ReponseCouleur reponse);
void setReponseImpression(ReponseImpression reponse);

} // namespace pv
