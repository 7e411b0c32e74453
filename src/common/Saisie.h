#pragma once

class QLineEdit;
class QWidget;

namespace pv {

// A text box that selects its whole text when the keyboard or the program brings the focus to it (a click places
// the caret as usual, and a closing pop-up menu gives the focus back without touching the selection).
void gSelectionnerAuFocus(QWidget* zone);
// A station box: blanks are refused and letters become upper case as they are typed or pasted.
void gZoneStation(QLineEdit* zone);

} // namespace pv
