#include "settings/frmAProposDe.h"

#include "common/Controles.h"
#include "common/LabelApplier.h"
#include "common/NetworkProbes.h"
#include "common/OuvrirTexte.h"
#include "common/Paths.h"
#include "engine/Settings.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>

namespace pv {

namespace {

// A label whose text the program sets: the language file leaves it alone.
QLabel* valeur(QWidget* parent, const char* nom, const QString& texte)
{
    QLabel* l = gCreerControle<QLabel>(parent, nom, texte);
    l->setProperty("sansLibelle", true);
    l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return l;
}

// A label that opens an address when clicked, drawn as a link.
QLabel* lien(QWidget* parent, const char* nom, const QString& texte)
{
    QLabel* l = gCreerControle<QLabel>(parent, nom, texte);
    l->setProperty("sansLibelle", true);
    l->setCursor(Qt::PointingHandCursor);
    QFont font = l->font();
    font.setUnderline(true);
    l->setFont(font);
    QPalette palette = l->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::Link));
    l->setPalette(palette);
    return l;
}

} // namespace

QUrl frmAProposDe::adresseCourriel()
{
    return QUrl(QStringLiteral("mailto:contact@pilvanor.org?subject=") + QLatin1String(TitreApplication));
}

QUrl frmAProposDe::adresseSiteWeb()
{
    return QUrl(QStringLiteral("https://pilvanor.org/"));
}

frmAProposDe::frmAProposDe(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("frmAProposDe"));
    setWindowTitle(QStringLiteral("A propos de Pilvanor"));
    setWindowIcon(QIcon(QStringLiteral(":/icons/pilvanor.png")));

    auto* icone = new QLabel(this);
    icone->setPixmap(QIcon(QStringLiteral(":/icons/pilvanor.png")).pixmap(48, 48));
    icone->setAlignment(Qt::AlignTop);
    lblProduit
        = valeur(this, "lblProduit", QLatin1String(TitreApplication) + QLatin1Char(' ') + QLatin1String(PV_VERSION));
    QFont grand = lblProduit->font();
    grand.setPointSizeF(grand.pointSizeF() * 1.5);
    grand.setBold(true);
    lblProduit->setFont(grand);
    lblDescription = gCreerControle<QLabel>(this, "lblDescription", QStringLiteral("Messagerie de réseau local"));
    lblTitreStation = gCreerControle<QLabel>(this, "lblTitreStation", QStringLiteral("Station :"));
    lblStation = valeur(this, "lblStation", gObtenirNomHote());
    lblTitreAdresseIP = gCreerControle<QLabel>(this, "lblTitreAdresseIP", QStringLiteral("Adresse IP :"));
    lblAdresseIP = valeur(this, "lblAdresseIP", gObtenirAdresseIP());
    lblTitreCourriel = gCreerControle<QLabel>(this, "lblTitreCourriel", QStringLiteral("Courriel :"));
    lblCourriel = lien(this, "lblCourriel", adresseCourriel().path());
    lblTitreSiteWeb = gCreerControle<QLabel>(this, "lblTitreSiteWeb", QStringLiteral("Site web :"));
    lblSiteWeb = lien(this, "lblSiteWeb", adresseSiteWeb().toString());
    cmdOK = gCreerControle<QPushButton>(this, "cmdOK", QStringLiteral("OK"));
    cmdOK->setDefault(true);
    connect(cmdOK, &QPushButton::clicked, this, &QDialog::accept);
    lblCourriel->installEventFilter(this);
    lblSiteWeb->installEventFilter(this);

    auto* details = new QGridLayout;
    details->setColumnStretch(1, 1);
    details->setHorizontalSpacing(12);
    const std::pair<QLabel*, QLabel*> lignes[] = {{lblTitreStation, lblStation},
                                                  {lblTitreAdresseIP, lblAdresseIP},
                                                  {lblTitreCourriel, lblCourriel},
                                                  {lblTitreSiteWeb, lblSiteWeb}};
    int ligne = 0;
    for (const auto& [titre, texte] : lignes) {
        details->addWidget(titre, ligne, 0);
        details->addWidget(texte, ligne++, 1);
    }
    auto* texte = new QVBoxLayout;
    texte->addWidget(lblProduit);
    texte->addWidget(lblDescription);
    texte->addSpacing(10);
    texte->addLayout(details);
    auto* haut = new QHBoxLayout;
    haut->addWidget(icone);
    haut->addSpacing(10);
    haut->addLayout(texte, 1);
    auto* boutons = new QHBoxLayout;
    boutons->addStretch();
    boutons->addWidget(cmdOK);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(haut);
    layout->addSpacing(10);
    layout->addLayout(boutons);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    gAfficherLibelle(gParametres().fichierLangue, this);
}

bool frmAProposDe::eventFilter(QObject* objet, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonRelease && static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        if (objet == lblCourriel) {
            gOuvrirUrl(adresseCourriel());
            return true;
        }
        if (objet == lblSiteWeb) {
            gOuvrirUrl(adresseSiteWeb());
            return true;
        }
    }
    return QDialog::eventFilter(objet, event);
}

} // namespace pv
