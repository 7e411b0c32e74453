#pragma once

#include "settings/Preferences.h"

#include <QDialog>
#include <QPointer>

#include <functional>
#include <optional>

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;
class QTimer;

namespace pv {

class GlobalHotKey;

// The preferences: every setting the user may change, on three tabs. OK saves them all (mEnregistrerPreference)
// and accepts the dialog; the opener then applies them. Cancel closes without saving.
class frmPreference : public QDialog
{
    Q_OBJECT

public:
    // The main window's capture timer, stopped while the capture set-up runs, and its global hot key, let go
    // while the hot-key box has the focus (or the box could never read it); either may be null.
    explicit frmPreference(QTimer* tmrCaptureMessage = nullptr,
                           GlobalHotKey* raccourci = nullptr,
                           QWidget* parent = nullptr);
    ~frmPreference() override;

    // Saves every preference. Run-time errors are reported in one box.
    void mEnregistrerPreference();
    // What the controls hold now.
    Preferences preferences() const;

    // The shared dialogs and the sound player by default; tests answer them directly.
    std::function<QString(const QString& dossierDepart)> choisirFichierSon; // "" when cancelled
    std::function<void(const QString& fichier)> jouerSon;
    // The chosen font and colour as a "PoliceMessage" text, nullopt when cancelled
    std::function<std::optional<QString>(const QString& policeActuelle)> choisirPolice;
    // The capture set-up window, run modally; tests give their own.
    std::function<void()> configurerCapture;

    QTabWidget* tabPreference;
    // General
    QLabel* lblLangue;
    QComboBox* cboLangue;
    QCheckBox* chkDemarrerAvecWindows;
    QCheckBox* chkDemarrerMinimise;
    QCheckBox* chkMinimiserSysTray;
    QCheckBox* chkMinimiserBoutonX;
    QCheckBox* chkAfficherUtilisateurAvecStation;
    QCheckBox* chkGarderPositionTailleFenetre;
    QLabel* lblTouchesAccesRapide;
    QLineEdit* txtTouchesAccesRapide;
    QLabel* lblPolice;
    QLineEdit* txtApercuPolice;
    QPushButton* cmdAfficherDialoguePolice;
    // Messages
    QGroupBox* fraCapture;
    QCheckBox* chkCapturerMessage;
    QLabel* lblAffichageMessage;
    QComboBox* cboAffichageMessage;
    QPushButton* cmdConfigurerCapture;
    QGroupBox* fraSon;
    QCheckBox* chkJouerFichierSon;
    QLineEdit* txtFichierSon;
    QPushButton* cmdOuvrirFichierSon;
    QPushButton* cmdJouerSon;
    QGroupBox* fraEnvoi;
    QCheckBox* chkMinimiserApresEnvoi;
    QCheckBox* chkEffacerMessageApresEnvoi;
    QCheckBox* chkPingStationAvantEnvoi;
    QLabel* lblDelaiAttente;
    QLineEdit* txtDelaiAttente;
    QLabel* lblNbMessageMaxHistorique;
    QLineEdit* txtNbMessageMaxHistorique;
    QLabel* lblCaractereDevantReponseExpediteur;
    QLineEdit* txtCaractereDevantReponseExpediteur;
    // Signature
    QLabel* lblExpediteur;
    QLineEdit* txtExpediteur;
    QCheckBox* chkAjouterSignatureAutomatiquement;
    QPlainTextEdit* txtSignature;

    QPushButton* cmdOK;
    QPushButton* cmdAnnuler;

protected:
    bool eventFilter(QObject* objet, QEvent* event) override;

private:
    QWidget* pageGeneral();
    QWidget* pageMessages();
    QWidget* pageSignature();
    void remplir(const Preferences& p);
    void appliquerDependances();
    void toucheAppuyee(int codeTouche, Qt::KeyboardModifiers modificateurs);
    void afficherPolice(const QString& police);
    void cmdOuvrirFichierSon_Click();
    void cmdAfficherDialoguePolice_Click();
    void cmdConfigurerCapture_Click();

    QTimer* m_tmrCaptureMessage;
    QPointer<GlobalHotKey> m_raccourci;
    HotKey m_touches; // the hot-key box's combination
    QString m_police; // the chosen message font
};

} // namespace pv
