#include "engine/ChoixDestinataire.h"

#include "common/DataFile.h"
#include "common/Language.h"
#include "common/TexteSaisi.h"
#include "engine/Settings.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>

namespace pv {

ChoixDestinataire::ChoixDestinataire(const std::array<QRadioButton*, 2>& options,
                                     QComboBox* liste,
                                     QLabel* groupeRapide,
                                     QObject* parent)
    : QObject(parent)
    , m_options(options)
    , m_liste(liste)
    , m_groupeRapide(groupeRapide)
{
    for (QRadioButton* option : m_options) {
        connect(option, &QRadioButton::toggled, this, [this](bool on) {
            if (on) {
                remplir();
            }
        });
    }
    connect(m_liste, &QComboBox::editTextChanged, this, &ChoixDestinataire::afficherGroupeRapide);
    m_liste->installEventFilter(this);
}

void ChoixDestinataire::remplir()
{
    m_liste->clear();
    if (m_options[1]->isChecked()) {
        for (const Groupe& g : gGroupes()) {
            m_liste->addItem(g.nom);
        }
    } else {
        for (const Utilisateur& u : gUtilisateurs()) {
            m_liste->addItem(u.station + QStringLiteral(" (") + u.description + QLatin1Char(')'));
        }
    }
    m_liste->setCurrentIndex(-1);
}

void ChoixDestinataire::actualiser()
{
    const QString tape = m_liste->currentText();
    remplir();
    m_liste->setEditText(tape);
}

void ChoixDestinataire::choisirStation(const QString& station)
{
    m_options[0]->setChecked(true);
    remplir();
    for (int i = 0; i < m_liste->count(); ++i) {
        if (gObtenirStation(m_liste->itemText(i)).trimmed().toUpper() == station) {
            m_liste->setCurrentIndex(i);
            return;
        }
    }
    // Not kept as a user: the message still goes to that station, never to whoever the list shows first.
    m_liste->setEditText(station);
}

DestinataireChoisi ChoixDestinataire::destinataire() const
{
    DestinataireChoisi d;
    d.liste = m_options[1]->isChecked() ? DestinataireChoisi::Liste::Groupes : DestinataireChoisi::Liste::Utilisateurs;
    // Typed in another case, an entry is still that entry, under its own name.
    const QString tape = m_liste->currentText().trimmed();
    d.index = m_liste->findText(tape, Qt::MatchFixedString);
    d.texte = d.index >= 0 ? m_liste->itemText(d.index) : tape;
    return d;
}

bool ChoixDestinataire::eventFilter(QObject* objet, QEvent* event)
{
    if (objet != m_liste || (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease)) {
        return QObject::eventFilter(objet, event);
    }
    const auto* touche = static_cast<QKeyEvent*>(event);
    const Qt::KeyboardModifiers modificateurs = touche->modifiers() & ~Qt::KeypadModifier;
    if (event->type() == QEvent::KeyRelease) {
        if (touche->key() >= Qt::Key_A && touche->key() <= Qt::Key_Z) {
            completer();
        }
        return QObject::eventFilter(objet, event);
    }
    if ((touche->key() == Qt::Key_Return || touche->key() == Qt::Key_Enter) && modificateurs == Qt::NoModifier) {
        Q_EMIT entree();
        return true;
    }
    const QString texte = touche->text();
    if (!texte.isEmpty() && texte != texte.toUpper()
        && !(modificateurs & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))) {
        // Station names are upper case; only typed characters change, not the entries chosen.
        m_liste->lineEdit()->insert(texte.toUpper());
        return true;
    }
    return QObject::eventFilter(objet, event);
}

void ChoixDestinataire::completer()
{
    QLineEdit* saisie = m_liste->lineEdit();
    const QString tape = saisie->text();
    if (tape.isEmpty() || saisie->hasSelectedText() || saisie->cursorPosition() != tape.size()) {
        return;
    }
    for (int i = 0; i < m_liste->count(); ++i) {
        const QString entree = m_liste->itemText(i);
        if (entree.startsWith(tape, Qt::CaseInsensitive)) {
            saisie->setUpdatesEnabled(false);
            saisie->setText(entree);
            saisie->setSelection(int(tape.size()), int(entree.size() - tape.size()));
            saisie->setUpdatesEnabled(true);
            return;
        }
    }
}

void ChoixDestinataire::afficherGroupeRapide()
{
    const QString texte = m_liste->currentText();
    const QStringList stations
        = m_liste->findText(texte, Qt::MatchFixedString) < 0 ? gStationsTapees(texte) : QStringList();
    if (stations.size() > 1) {
        m_groupeRapide->setText(gTexteMessage(QStringLiteral("GroupeRapide")) + QStringLiteral(": ")
                                + stations.join(QStringLiteral(", ")));
        m_groupeRapide->show();
    } else {
        m_groupeRapide->hide();
    }
}

} // namespace pv
