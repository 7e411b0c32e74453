#pragma once

#include <QColor>
#include <QList>
#include <QRect>
#include <QSize>
#include <QString>

class QWidget;

namespace pv {

struct PoliceMessage;

// Moves a window to the middle of its screen.
void gCentrerFenetre(QWidget* fenetre);
// Restores a window's kept position when the user wants positions kept; otherwise, or when nothing usable is
// kept, centres it. A kept position off every screen is brought back on one, and a window does not open exactly
// over a visible window of its own kind (it cascades). Returns true when a kept position was applied.
bool gRestaurerPositionFenetre(QWidget* fenetre, const QString& cle);
// A window's corner and inner size moved, and shrunk if need be, so that the window with its frame (`cadre`: what
// the frame adds to the size) fits the screen that shows most of it (the first when none does); screens are
// their available areas, the primary first.
QRect gRectSurEcran(const QRect& rect, const QList<QRect>& ecrans, const QSize& cadre);
// Keeps the position unless the window is minimised.
void gEnregistrerPositionFenetre(QWidget* fenetre, const QString& cle);
// The message font and colour of the settings, on any control that shows message text.
void gAppliquerPolice(QWidget* controle);
void gAppliquerPolice(QWidget* controle, const PoliceMessage& police);
// A colour of the settings (red in the low byte, blue in the high byte) and back.
QColor gCouleurPolice(qint32 couleur);
qint32 gValeurCouleur(const QColor& couleur);

} // namespace pv
