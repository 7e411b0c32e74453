#include "common/CadreEdition.h"

#include "common/Language.h"

#include <QAbstractItemModel>
#include <QAbstractItemView>
#include <QItemSelectionModel>
#include <QWidget>

namespace pv {

CadreEdition::CadreEdition(QAbstractItemView* liste, QWidget* cadre, QList<QWidget*> boutonsListe, QObject* parent)
    : QObject(parent)
    , m_liste(liste)
    , m_cadre(cadre)
{
    for (QWidget* b : boutonsListe) {
        m_boutons.append(b);
    }
    connect(liste, &QAbstractItemView::doubleClicked, this, [this] {
        if (!m_ouvert && m_liste && m_liste->model() && m_liste->model()->rowCount() > 0) {
            Q_EMIT modifierDemande();
        }
    });
    appliquerEtat();
}

void CadreEdition::ouvrir(bool ajout, QWidget* premier)
{
    m_ouvert = true;
    m_ajout = ajout;
    appliquerEtat();
    if (premier) {
        premier->setFocus();
    }
}

void CadreEdition::fermer()
{
    m_ouvert = false;
    m_ajout = false;
    appliquerEtat();
    if (m_liste) {
        m_liste->setFocus();
    }
}

void CadreEdition::appliquerEtat()
{
    if (m_cadre) {
        m_cadre->setVisible(m_ouvert);
    }
    if (m_liste) {
        m_liste->setEnabled(!m_ouvert);
    }
    for (const auto& b : m_boutons) {
        if (b) {
            b->setEnabled(!m_ouvert);
        }
    }
}

void CadreEdition::refuser(QWidget* controle, const QString& fichierLangue, const char* cleMessage)
{
    refuser(controle, fichierLangue, cleMessage, {});
}

void CadreEdition::refuser(QWidget* controle,
                           const QString& fichierLangue,
                           const char* cleMessage,
                           const QStringList& champs)
{
    gMessageBox(fichierLangue, QLatin1String(cleMessage), MsgStyle::Exclamation, champs);
    if (controle) {
        controle->setFocus();
    }
}

bool CadreEdition::confirmerSuppression(const QString& fichierLangue, const char* cleMessage)
{
    return gMessageBox(fichierLangue, QLatin1String(cleMessage), MsgStyle::YesNo | MsgStyle::Question)
           == MsgResult::Yes;
}

int CadreEdition::ligneApresSuppression(int ligne, int nombre)
{
    if (nombre <= 0) {
        return -1;
    }
    return qBound(0, ligne, nombre - 1);
}

int CadreEdition::ligneSelectionnee() const
{
    if (!m_liste || !m_liste->selectionModel()) {
        return -1;
    }
    const QModelIndex i = m_liste->currentIndex();
    return i.isValid() && m_liste->selectionModel()->isRowSelected(i.row(), i.parent()) ? i.row() : -1;
}

void CadreEdition::selectionnerLigne(int ligne)
{
    if (!m_liste || !m_liste->model()) {
        return;
    }
    QAbstractItemModel* modele = m_liste->model();
    if (ligne < 0 || ligne >= modele->rowCount()) {
        m_liste->clearSelection();
        return;
    }
    const QModelIndex i = modele->index(ligne, 0);
    m_liste->selectionModel()->setCurrentIndex(i, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    m_liste->scrollTo(i);
}

void CadreEdition::selectionnerApresSuppression(int ligneSupprimee)
{
    const int nombre = m_liste && m_liste->model() ? m_liste->model()->rowCount() : 0;
    selectionnerLigne(ligneApresSuppression(ligneSupprimee, nombre));
    if (m_liste) {
        m_liste->setFocus();
    }
}

} // namespace pv
