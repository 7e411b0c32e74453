#pragma once

#include "common/Paths.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <optional>

namespace pv {

// Message-box styles, with the values of the Windows MessageBox flags that the language files and callers use:
// one button set, plus one icon, plus one default button.
namespace MsgStyle {
enum : int {
    ReturnText = -1, // gMessage hands the text back and shows nothing

    Ok = 0,
    OkCancel = 1,
    AbortRetryIgnore = 2,
    YesNoCancel = 3,
    YesNo = 4,
    RetryCancel = 5,

    Critical = 16,
    Question = 32,
    Exclamation = 48,
    Information = 64,

    DefaultButton1 = 0,
    DefaultButton2 = 256,
    DefaultButton3 = 512,

    ButtonsMask = 0xF,
    IconMask = 0xF0,
    DefaultButtonMask = 0xF00,
};
} // namespace MsgStyle

// The button a message box was closed with.
namespace MsgResult {
enum : int {
    NoFile = -1, // gMessage found no language file: no question was asked
    Ok = 1,
    Cancel = 2,
    Abort = 3,
    Retry = 4,
    Ignore = 5,
    Yes = 6,
    No = 7,
};
} // namespace MsgResult

// Every message box of the program goes through this seam, so that the logic needs no widgets and a test can
// answer the boxes. Nothing installed (a command-line program) writes the text to stderr and answers Cancel, or
// No, where the style offers it: nobody is there to agree to anything.
using MessageBoxPresenter = std::function<int(const QString& text, int style, const QString& title)>;
void setMessageBoxPresenter(MessageBoxPresenter presenter);
int showMessageBox(const QString& text, int style, const QString& title = QLatin1String(TitreApplication));

// Whether a language file is there to read: a plain file, not a folder; an empty path names none.
bool gFichierLangueExiste(const QString& file);

// The message of `key` in section "Message" of the language file, with "$C$" filled from `fields` in order,
// "$SL$" turned into a line break and "$CN$" into a NUL character. A key missing from the file is its own text.
// With style ReturnText the text is returned (a QString); otherwise it is shown in a box and the button pressed
// is returned (an int). A missing file is reported in French and gives "" or NoFile. The file is read on every
// call.
QVariant gMessage(const QString& file, const QString& key, int style, const QStringList& fields = {});
QString gMessageTexte(const QString& file, const QString& key, const QStringList& fields = {});
int gMessageBox(const QString& file, const QString& key, int style, const QStringList& fields = {});
// The text of a key in the language file the settings name.
QString gTexteMessage(const QString& key, const QStringList& fields = {});

// Qt's own texts (standard buttons, file and font dialogs) in the language of a language file "pv.XXX", whose
// suffix is an ISO 639 code ("FRA" gives qtbase_fr from Qt's translations folder). Replaces the ones loaded before;
// a language Qt has no translation for leaves its texts in English. False when nothing was loaded.
bool gChargerTraductionsQt(const QString& file);

// One line of a window's section: the text before the first "=" and the text between the first and the second
// "=" (label texts cannot hold "="). A line without "=" is its own key with an empty value.
struct Libelle
{
    QString key;
    QString value;
};

// The lines of the window's section in file order; nullopt when the section is missing or empty.
std::optional<QList<Libelle>> gLireLibelles(const QString& file, const QString& formName);

} // namespace pv
