#pragma once

#include <QAbstractSpinBox>

class QLineEdit;

namespace pv {

// The repeat duration of a fired reminder: a box of up to four digits with up-down arrows. The arrows stop at 1
// and 99, a larger number typed by hand is kept, and an empty or zero text becomes "1".
class SpinDureeRappel : public QAbstractSpinBox
{
    Q_OBJECT

public:
    explicit SpinDureeRappel(QWidget* parent = nullptr);

    // The duration box itself; its objectName is txtDureeRepetitionRappel.
    QLineEdit* txtDureeRepetitionRappel() const { return lineEdit(); }
    QString texte() const;
    void setTexte(const QString& texte);

    void stepBy(int steps) override;
    QSize sizeHint() const override;

protected:
    StepEnabled stepEnabled() const override;
    QValidator::State validate(QString& input, int& pos) const override;
};

} // namespace pv
