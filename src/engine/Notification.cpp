#include "engine/Notification.h"

#include "common/Language.h"
#include "common/Paths.h"

namespace pv {

QString gTexteSysTray(const QString& fichierLangue, int nombre)
{
    QString texte = QLatin1String(TitreApplication) + QStringLiteral(" - ");
    if (nombre <= 0) {
        texte += gMessageTexte(fichierLangue, QStringLiteral("SysTrayAucunNouveauMessage"));
    } else {
        texte += QString::number(nombre) + QLatin1Char(' ')
                 + gMessageTexte(fichierLangue,
                                 nombre == 1 ? QStringLiteral("SysTrayUnNouveauMessage")
                                             : QStringLiteral("SysTrayPlusieursNouveauMessage"));
    }
    return texte.left(LongueurMaxInfoBulle);
}

QString gCleTitreNouveauMessage(int nombre)
{
    return nombre == 1 ? QStringLiteral("EnteteUnNouveauMessage") : QStringLiteral("EntetePlusieursNouveauMessage");
}

QString gLigneMessageDe(const QString& fichierLangue, const QString& description, const QString& expediteur)
{
    return gMessageTexte(fichierLangue, QStringLiteral("EnteteMessageDe")) + QLatin1Char(' ') + description
           + QStringLiteral(" (") + expediteur + QLatin1Char(')');
}

} // namespace pv
