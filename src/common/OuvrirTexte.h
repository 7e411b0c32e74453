#pragma once

#include <QString>
#include <QUrl>

#include <functional>

class QPlainTextEdit;
class QWidget;

namespace pv {

// Opens a selected text: a web address in the browser, a file or folder with the desktop's program for it.
// Never through a shell: the text comes from other people's messages.
void gOuvrirTexteSelectionne(QWidget* proprietaire, const QString& texte);
// The same for what is selected in a text box; nothing when nothing is.
void gOuvrirTexteSelectionne(QPlainTextEdit* texte);

// Opens the help's first page (help/index.html in the program's folder) in the browser; says so when the help is
// missing or no browser is set.
void gOuvrirAide();

// What opens a URL (QDesktopServices::openUrl by default); false when nothing could open it. Tests replace it
// so that nothing is ever opened; an empty function restores the default.
using OuvreurUrl = std::function<bool(const QUrl& url)>;
void setOuvreurUrl(OuvreurUrl ouvreur);
// Opens an address with the desktop's program for it, through that seam.
bool gOuvrirUrl(const QUrl& url);

} // namespace pv
