#include "common/Impression.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPrinter>
#include <QRegularExpression>
#include <QTextLayout>

#include <algorithm>

namespace pv {

namespace {

// The printable width less one inch, in whole widths of one "_"; never negative.
int longueurRegle(int largeurImprimable, int unPouce, int largeurTrait)
{
    if (largeurTrait <= 0) {
        return 0;
    }
    return std::max(0, (largeurImprimable - unPouce) / largeurTrait);
}

} // namespace

QFont gPoliceImpression()
{
    QFont police(QStringLiteral("Courier New"), 11);
    police.setStyleHint(QFont::TypeWriter);
    return police;
}

int gLongueurRegle(QPrinter& imprimante, const QFont& police)
{
    return longueurRegle(imprimante.width(),
                         imprimante.resolution(),
                         QFontMetrics(police, &imprimante).horizontalAdvance(QLatin1Char('_')));
}

bool gImprimerTexte(QPrinter& imprimante, const QString& texte, const QFont& police)
{
    QPainter painter;
    if (!painter.begin(&imprimante)) {
        return false;
    }
    painter.setFont(police);
    // Without full-page mode the painter's origin is the printable area's corner.
    const qreal largeur = imprimante.width();
    const qreal hauteur = imprimante.height();
    static const QRegularExpression finLigne(QStringLiteral("\r\n|\n\r|[\r\n\u2029\u2028]"));
    qreal y = 0;
    for (const QString& ligne : texte.split(finLigne)) {
        QTextLayout mise(ligne, police, &imprimante);
        mise.beginLayout();
        for (QTextLine l = mise.createLine(); l.isValid(); l = mise.createLine()) {
            l.setLineWidth(largeur);
        }
        mise.endLayout();
        for (int i = 0; i < mise.lineCount(); ++i) {
            const QTextLine l = mise.lineAt(i);
            if (y > 0 && y + l.height() > hauteur) {
                imprimante.newPage();
                y = 0;
            }
            l.draw(&painter, QPointF(0, y - l.y()));
            y += l.height();
        }
    }
    return painter.end();
}

} // namespace pv
