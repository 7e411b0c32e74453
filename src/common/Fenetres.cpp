#include "common/Fenetres.h"

#include "engine/Settings.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

namespace pv {

void gCentrerFenetre(QWidget* fenetre)
{
    const QScreen* screen = fenetre->screen() ? fenetre->screen() : QGuiApplication::primaryScreen();
    if (!screen) {
        return;
    }
    const QRect area = screen->availableGeometry();
    fenetre->move(area.x() + (area.width() - fenetre->width()) / 2, area.y() + (area.height() - fenetre->height()) / 2);
}

bool gRestaurerPositionFenetre(QWidget* fenetre, const QString& cle)
{
    if (gParametres().garderPositionTailleFenetre) {
        if (const auto rect = gLirePositionFenetre(cle)) {
            fenetre->resize(rect->size().expandedTo(fenetre->minimumSize()));
            fenetre->move(rect->topLeft());
            return true;
        }
    }
    gCentrerFenetre(fenetre);
    return false;
}

void gEnregistrerPositionFenetre(QWidget* fenetre, const QString& cle)
{
    if (fenetre->isMinimized()) {
        return;
    }
    // pos() is the frame's corner and move() takes the same, so a kept position comes back where it was.
    gEnregistrerPositionFenetre(cle, QRect(fenetre->pos(), fenetre->size()));
}

void gAppliquerPolice(QWidget* controle)
{
    gAppliquerPolice(controle, gParametres().police);
}

void gAppliquerPolice(QWidget* controle, const PoliceMessage& p)
{
    QFont font = controle->font();
    if (!p.nom.isEmpty()) {
        font.setFamily(p.nom);
    }
    if (p.taille > 0) {
        font.setPointSize(p.taille);
    }
    font.setBold(p.gras);
    font.setItalic(p.italique);
    font.setUnderline(p.souligne);
    controle->setFont(font);
    QPalette palette = controle->palette();
    palette.setColor(QPalette::Text, gCouleurPolice(p.couleur));
    controle->setPalette(palette);
}

QColor gCouleurPolice(qint32 couleur)
{
    return QColor(couleur & 0xFF, (couleur >> 8) & 0xFF, (couleur >> 16) & 0xFF);
}

qint32 gValeurCouleur(const QColor& couleur)
{
    return couleur.red() | (couleur.green() << 8) | (couleur.blue() << 16);
}

} // namespace pv
