#include "common/Fenetres.h"

#include "common/Parametres.h"

#include <QApplication>
#include <QScreen>
#include <QStyle>
#include <QWidget>

#include <algorithm>

namespace pv {

namespace {

// The screen that shows most of a rectangle, else the first (the primary screen).
QRect ecranDe(const QRect& rect, const QList<QRect>& ecrans)
{
    QRect zone = ecrans.first();
    qint64 meilleur = 0;
    for (const QRect& e : ecrans) {
        const QRect commun = e.intersected(rect);
        const qint64 aire = qint64(commun.width()) * commun.height();
        if (aire > meilleur) {
            meilleur = aire;
            zone = e;
        }
    }
    return zone;
}

// A window of a kind that opens several times (a window per message) does not cover the one opened before it.
void decaler(QWidget* fenetre, const QRect& zone)
{
    QList<QPoint> prises;
    for (const QWidget* autre : QApplication::topLevelWidgets()) {
        if (autre != fenetre && autre->isVisible() && !autre->isMinimized()
            && autre->metaObject() == fenetre->metaObject()) {
            prises.append(autre->pos());
        }
    }
    const int pas = qMax(16, fenetre->style()->pixelMetric(QStyle::PM_TitleBarHeight));
    // The window manager may have nudged the others by a few pixels.
    const auto prise = [&prises, pas](const QPoint& p) {
        return std::ranges::any_of(prises, [&p, pas](const QPoint& q) { return (q - p).manhattanLength() < pas / 2; });
    };
    QPoint p = fenetre->pos();
    for (int essai = 0; prise(p) && essai < 64; ++essai) {
        p += QPoint(pas, pas);
        if (p.x() + fenetre->width() > zone.right() || p.y() + fenetre->height() > zone.bottom()) {
            // Down the screen's edge: a new column from the top.
            p = zone.topLeft() + QPoint(pas * (essai % 8 + 1), 0);
        }
    }
    fenetre->move(p);
}

} // namespace

QRect gRectSurEcran(const QRect& rect, const QList<QRect>& ecrans, const QSize& cadre)
{
    if (ecrans.isEmpty()) {
        return rect;
    }
    const QRect zone = ecranDe(QRect(rect.topLeft(), rect.size() + cadre), ecrans);
    const QSize taille = rect.size().boundedTo(zone.size() - cadre);
    const QPoint coin(qBound(zone.left(), rect.left(), zone.right() + 1 - taille.width() - cadre.width()),
                      qBound(zone.top(), rect.top(), zone.bottom() + 1 - taille.height() - cadre.height()));
    return QRect(coin, taille);
}

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
    const QScreen* principal = QGuiApplication::primaryScreen();
    QList<QRect> ecrans;
    if (principal) {
        ecrans.append(principal->availableGeometry());
    }
    for (const QScreen* ecran : QGuiApplication::screens()) {
        if (ecran != principal) {
            ecrans.append(ecran->availableGeometry());
        }
    }
    bool garde = false;
    if (gParametres().garderPositionTailleFenetre) {
        if (const auto rect = gLirePositionFenetre(cle)) {
            // Kept on a monitor that is gone, or larger than what is left: brought back where it can be seen.
            // Before it first shows, the window manager's frame is not known yet: a title bar and borders.
            const int barre = fenetre->style()->pixelMetric(QStyle::PM_TitleBarHeight);
            const QSize cadre
                = fenetre->isVisible() ? fenetre->frameGeometry().size() - fenetre->size() : QSize(8, barre + 8);
            const QRect r
                = gRectSurEcran(QRect(rect->topLeft(), rect->size().expandedTo(fenetre->minimumSize())), ecrans, cadre);
            fenetre->resize(r.size());
            fenetre->move(r.topLeft());
            garde = true;
        }
    }
    if (!garde) {
        gCentrerFenetre(fenetre);
    }
    if (!ecrans.isEmpty()) {
        decaler(fenetre, ecranDe(QRect(fenetre->pos(), fenetre->size()), ecrans));
    }
    return garde;
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
