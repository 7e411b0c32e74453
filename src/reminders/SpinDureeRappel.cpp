#include "reminders/SpinDureeRappel.h"

#include "common/Controles.h"
#include "reminders/Rappels.h"

#include <QLineEdit>

namespace pv {

namespace {

// Four digits keep the duration within a 16-bit number.
constexpr int ChiffresMax = 4;

} // namespace

SpinDureeRappel::SpinDureeRappel(QWidget* parent)
    : QAbstractSpinBox(parent)
{
    gNommer(lineEdit(), "txtDureeRepetitionRappel");
    lineEdit()->setMaxLength(ChiffresMax);
    setTexte(QStringLiteral("1"));
    connect(lineEdit(), &QLineEdit::textChanged, this, [this](const QString& texte) {
        const QString corrige = gDureeRepetitionSaisie(texte);
        if (corrige != texte) {
            lineEdit()->setText(corrige);
            lineEdit()->selectAll();
        }
    });
}

QString SpinDureeRappel::texte() const
{
    return lineEdit()->text();
}

void SpinDureeRappel::setTexte(const QString& texte)
{
    lineEdit()->setText(texte);
}

void SpinDureeRappel::stepBy(int steps)
{
    QString texte = lineEdit()->text();
    for (int i = 0; i < qAbs(steps); ++i) {
        texte = gDureeRepetitionFleche(texte, steps > 0 ? 1 : -1);
    }
    lineEdit()->setText(texte);
    lineEdit()->selectAll();
}

QSize SpinDureeRappel::sizeHint() const
{
    // The base class knows no values to measure.
    QSize s = QAbstractSpinBox::sizeHint();
    s.setWidth(s.width() + fontMetrics().horizontalAdvance(QString(ChiffresMax, QLatin1Char('9'))));
    return s;
}

QAbstractSpinBox::StepEnabled SpinDureeRappel::stepEnabled() const
{
    return StepUpEnabled | StepDownEnabled;
}

QValidator::State SpinDureeRappel::validate(QString& input, int&) const
{
    if (input.size() > ChiffresMax) {
        return QValidator::Invalid;
    }
    for (const QChar c : std::as_const(input)) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9')) {
            return QValidator::Invalid;
        }
    }
    return QValidator::Acceptable;
}

} // namespace pv
