#pragma once

#include <QString>
#include <QStringList>

namespace pv {

// The desktop's default program for plain text, found the freedesktop.org way (mimeapps.list,
// then the desktop files' own claims in mimeinfo.cache), as a program and its arguments that open `fichier`.
// Empty when no installed program is set up for text/plain.
QStringList gCommandeEditeurTexte(const QString& fichier);

// A desktop file's Exec value split into the program and its arguments for `fichier`: quoting and escapes undone,
// %f/%F given the path, %u/%U its file URL, %c the name, other field codes dropped, the path added at the end
// when no field code takes it. Empty when the value is empty or badly quoted.
QStringList gCommandeExec(const QString& exec, const QString& fichier, const QString& nom = QString());

} // namespace pv
