#include "settings/AvisTouchesAccesRapide.h"

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
    auto* avis = new QLabel(parent);
    avis->setObjectName(QStringLiteral("lblAvisTouchesAccesRapide"));
    avis->setProperty("sansLibelle", true);
    avis->setWordWrap(true);
    // The command is there to be copied.
    avis->setTextInteractionFlags(Qt::TextSelectableByMouse);
    avis->setText(gMessageTexte(fichierLangue,
                                QStringLiteral("AvisTouchesAccesRapideWayland"),
                                {gCommandeAfficher(QCoreApplication::applicationFilePath())}));
    return avis;
}

} // namespace pv
