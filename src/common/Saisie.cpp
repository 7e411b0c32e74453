#include "common/Saisie.h"
#include "common/TexteSaisi.h"

#include <QEvent>
#include <QFocusEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPointer>
#include <QTimer>

namespace pv {

namespace {

class SelectionAuFocus : public QObject
{
public:
    using QObject::QObject;

protected:
    bool eventFilter(QObject* objet, QEvent* event) override
    {
        if (event->type() == QEvent::FocusIn) {
            const Qt::FocusReason raison = static_cast<QFocusEvent*>(event)->reason();
            if (raison == Qt::TabFocusReason || raison == Qt::BacktabFocusReason || raison == Qt::ShortcutFocusReason
                || raison == Qt::OtherFocusReason) {
                // After the focus change has run its course, or the widget would drop the selection again.
                QTimer::singleShot(0, objet, [zone = QPointer<QObject>(objet)] {
                    if (auto* ligne = qobject_cast<QLineEdit*>(zone)) {
                        ligne->selectAll();
                    } else if (auto* texte = qobject_cast<QPlainTextEdit*>(zone)) {
                        texte->selectAll();
                    }
                });
            }
        }
        return false;
    }
};

} // namespace

void gSelectionnerAuFocus(QWidget* zone)
{
    zone->installEventFilter(new SelectionAuFocus(zone));
}

void gZoneStation(QLineEdit* zone)
{
    QObject::connect(zone, &QLineEdit::textEdited, zone, [zone](const QString& texte) {
        const QString filtre = gFiltrerNomStation(texte);
        if (filtre == texte) {
            return;
        }
        // The caret stays after the same typed characters, less the blanks before it.
        const int avant = int(gFiltrerNomStation(texte.left(zone->cursorPosition())).size());
        zone->setText(filtre);
        zone->setCursorPosition(avant);
    });
}

} // namespace pv
