#pragma once

#include <QDialog>
#include <QUrl>

class QLabel;
class QPushButton;

namespace pv {

// The About box: the product and its version, this station's name and address, and two links to the maker.
class frmAProposDe : public QDialog
{
    Q_OBJECT

public:
    explicit frmAProposDe(QWidget* parent = nullptr);

    static QUrl adresseCourriel();
    static QUrl adresseSiteWeb();

    QLabel* lblProduit;
    QLabel* lblDescription;
    QLabel* lblTitreStation;
    QLabel* lblStation;
    QLabel* lblTitreAdresseIP;
    QLabel* lblAdresseIP;
    QLabel* lblTitreCourriel;
    QLabel* lblCourriel;
    QLabel* lblTitreSiteWeb;
    QLabel* lblSiteWeb;
    QPushButton* cmdOK;

protected:
    bool eventFilter(QObject* objet, QEvent* event) override;
};

} // namespace pv
