#pragma once

#include "common/CurseurAttente.h"

#include <QDialog>

#include <atomic>
#include <optional>
#include <thread>

class QLabel;
class QLineEdit;
class QPushButton;

namespace pv {

// Learns the title and header of the message service's pop-ups from a test message sent to this station. Modal;
// the opener stops the capture timer meanwhile, so that the capture does not take the test pop-up first.
class frmConfigurationCapture : public QDialog
{
    Q_OBJECT

public:
    explicit frmConfigurationCapture(QWidget* parent = nullptr);
    ~frmConfigurationCapture() override;

    // The learning step on the pop-up spool, with its outcome shown; true when both settings were saved.
    bool mObtenirInfoFenetreMessenger();
    // Whether a test send is under way.
    bool envoiEnCours() const { return m_envoi.joinable(); }

    // Where the message service leaves its pop-ups (tests use their own).
    QString dossierSpool;

    QLabel* lblExplication;
    QLabel* lblStation;
    QLineEdit* txtStation;
    QPushButton* cmdDebuter;
    QPushButton* cmdAnnuler;

Q_SIGNALS:
    // The send step and, after it, the learning step are over (whatever came of them).
    void termine(bool succes);

protected:
    void reject() override;

private:
    void cmdDebuter_Click();
    void envoiTermine(const QString& station, int code);
    void mettreAJourDebuter();

    std::thread m_envoi;
    std::optional<CurseurAttente> m_attente; // while the test message is on its way
};

} // namespace pv
