#include "settings/AvisTouchesAccesRapide.h"

#include "common/Controles.h"
#include "common/Language.h"
#include "engine/RaccourciPortail.h"

#include <QCoreApplication>
#include <QLabel>

namespace pv {

QLabel* gCreerAvisTouchesAccesRapide(QWidget* parent, const QString& fichierLangue)
{
    if (!gSessionWayland() || RaccourciPortail().disponible()) {
        return nullptr;
    }
    auto* avis = gCreerControle<QLabel>(parent, "lblAvisTouchesAccesRapide");
    avis->setProperty("sansLibelle", true);
    avis->setWordWrap(true);
    avis->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    // The command is there to be copied.
    avis->setTextInteractionFlags(Qt::TextSelectableByMouse);
    avis->setText(gMessageTexte(fichierLangue,
                                QStringLiteral("AvisTouchesAccesRapideWayland"),
                                {gCommandeAfficher(QCoreApplication::applicationFilePath())}));
    // The dialog takes its height from its minimum size, which knows nothing of wrapped lines.
    const int largeur = avis->fontMetrics().averageCharWidth() * 50;
    avis->setMinimumSize(largeur, avis->heightForWidth(largeur));
    return avis;
}

} // namespace pv
