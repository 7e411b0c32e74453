#pragma once

class QLabel;
class QString;
class QWidget;

namespace pv {

// Where the hot key cannot work by itself (a Wayland session whose desktop offers no global-shortcuts portal),
// a label that says so and gives the command to bind in the desktop's own shortcut settings. Null elsewhere.
QLabel* gCreerAvisTouchesAccesRapide(QWidget* parent, const QString& fichierLangue);

} // namespace pv
