#pragma once

#include <QString>
#include <QStringList>

class QWidget;

namespace pv {

// Puts the labels of the form's section of the language file in place: "TITRE" is the window title, every other
// key names a control by objectName, or a member of a control array as "name(index)" (members share the
// objectName and carry the dynamic property "index"). Tab widgets and tab bars take their tab texts, tree and
// table views their column headers, tool bars the tool tips of their actions, each from a ","-separated list;
// a push button takes "caption,tool tip,"; menus, actions, group boxes, labels and other buttons take the whole
// value. A missing file or section is shown and gives false; a key that cannot be applied is reported once and
// gives false, with the labels before it left in place.
bool gAfficherLibelle(const QString& file, QWidget* form);

// What stands between the form and its section of the language file, one readable line per problem: keys that
// name no control or cannot be applied, and captioned controls with no key. Empty when they agree. Actions shown
// only in tool bars get their tool tips from the tool bar's key; a control whose text is set by the program
// itself is left out by giving it the dynamic property "sansLibelle" = true.
QStringList gVerifierLibelles(const QString& file, QWidget* form);

} // namespace pv
