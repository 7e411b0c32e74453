#pragma once

#include <QColor>
#include <QString>

class QWidget;

namespace pv {

struct PoliceMessage;

// Moves a window to the middle of its screen.
void gCentrerFenetre(QWidget* fenetre);
// Restores a window's kept position when the user wants positions kept; otherwise, or when nothing usable is
// kept, centres it. Returns true when a kept position was applied.
bool gRestaurerPositionFenetre(QWidget* fenetre, const QString& cle);
// Keeps the position unless the window is minimised.
void gEnregistrerPositionFenetre(QWidget* fenetre, const QString& cle);
// The message font and colour of the settings, on any control that shows message text.
void gAppliquerPolice(QWidget* controle);
void gAppliquerPolice(QWidget* controle, const PoliceMessage& police);
// A colour of the settings (red in the low byte, blue in the high byte) and back.
QColor gCouleurPolice(qint32 couleur);
qint32 gValeurCouleur(const QColor& couleur);

} // namespace pv
