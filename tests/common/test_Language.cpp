#include "TestFiles.h"

#include "common/Error.h"
#include "common/ErrorReport.h"
#include "common/IniFile.h"
#include "common/Language.h"
#include "common/TextCodec.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <stdexcept>
#include <tuple>

using namespace pv;

namespace {

// Answers every message box with m_answer and keeps each as "style|title|text".
class LanguageTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        setMessageBoxPresenter([this](const QString& text, int style, const QString& title) {
            m_shown.append(QString::number(style) + "|" + title + "|" + text);
            return m_answer;
        });
    }
    void TearDown() override { setMessageBoxPresenter({}); }

    QString writeFile(const QByteArray& content)
    {
        const QString path = m_dir.filePath(QStringLiteral("pv.TST"));
        EXPECT_TRUE(test::writeFile(path, content));
        return path;
    }

    QTemporaryDir m_dir;
    QStringList m_shown;
    int m_answer = MsgResult::Ok;
};

TEST_F(LanguageTest, FillsTheStoredTextOrTheKey)
{
    const QString file = writeFile("[Message]\nDeux=Station $C$ ($C$) inexistante.\nUn=[$C$]\nCasse=a $c$ $C$\n"
                                   "Lignes=One$SL$Two$sl$Three\nNote=Note: $C$\nNul=A$cn$B$CN$\nSon=Ligne$SS$\n"
                                   "Vide=\nBlancs=   padded   \n");
    const std::tuple<QString, QStringList, QString> cases[] = {
        {"Deux", {"PC12"}, "Station PC12 ($C$) inexistante."},
        {"Un", {"a", "b"}, "[a]"},
        {"Un", {"x$C$", "y"}, "[xy]"},   // the search resumes one character after the code filled
        {"Un", {"$C$z", "y"}, "[$C$z]"}, // ... not on the code itself
        {"Casse", {"x"}, "a $c$ x"},     // the field code is case sensitive
        {"Lignes", {}, "One\r\nTwo\r\nThree"},
        {"Note", {"x$SL$y"}, "Note: x\r\ny"},
        {"Nul", {}, QStringLiteral("A") + QChar(0) + "B" + QChar(0)},
        {"Son", {}, "Ligne$SS$"},
        {"blancs", {}, "padded"},
        {"Vide", {}, "Vide"},
        {"The specified parameter is invalid.", {}, "The specified parameter is invalid."},
        {"Unknown $C$", {"key"}, "Unknown key"},
    };
    for (const auto& [key, fields, expected] : cases) {
        EXPECT_EQ(gMessage(file, key, MsgStyle::ReturnText, fields), QVariant(expected)) << key.toStdString();
    }
    EXPECT_TRUE(m_shown.isEmpty());
    writeFile("[Message]\nUn=again\n"); // the file is read on every call
    EXPECT_EQ(gMessageTexte(file, QStringLiteral("Un")), QStringLiteral("again"));
}

TEST_F(LanguageTest, ShowsWithTheStyleAndReturnsTheAnswer)
{
    const QString file = writeFile("[Message]\nQuestion=Delete $C$?\n");
    m_answer = MsgResult::No;
    // A bare question gets Yes and No; any other style is shown as given.
    for (const int style : {int(MsgStyle::Question), MsgStyle::Question | MsgStyle::OkCancel, int(MsgStyle::Ok)}) {
        EXPECT_EQ(gMessage(file, QStringLiteral("Question"), style, {QStringLiteral("PC1")}), QVariant(m_answer));
    }
    EXPECT_EQ(m_shown, QStringList({"36|Pilvanor|Delete PC1?", "33|Pilvanor|Delete PC1?", "0|Pilvanor|Delete PC1?"}));
}

TEST_F(LanguageTest, MissingFileIsReportedInFrench)
{
    const std::tuple<QString, int, QVariant> cases[] = {
        {m_dir.filePath(QStringLiteral("pv.XXX")), MsgStyle::ReturnText, QVariant(QString())},
        {m_dir.path(), MsgStyle::Question, QVariant(int(MsgResult::NoFile))}, // a folder is no file
        {QString(), MsgStyle::Information, QVariant(int(MsgResult::NoFile))},
    };
    m_answer = MsgResult::Yes; // the box about the file must not answer the question
    for (const auto& [path, style, expected] : cases) {
        m_shown.clear();
        EXPECT_EQ(gMessage(path, QStringLiteral("SupprimerMessage"), style), expected) << style;
        EXPECT_EQ(m_shown, QStringList("48|Pilvanor|Le fichier des messages (" + path + ") est inexistant."));
    }
}

TEST(LanguageDefaultPresenter, TakesTheAnswerThatChangesNothing)
{
    setMessageBoxPresenter({});
    const std::pair<int, int> cases[] = {
        {MsgStyle::Ok, MsgResult::Ok},
        {MsgStyle::OkCancel | MsgStyle::DefaultButton2, MsgResult::Cancel},
        {MsgStyle::AbortRetryIgnore, MsgResult::Abort},
        {MsgStyle::YesNoCancel, MsgResult::Cancel},
        {MsgStyle::Question | MsgStyle::YesNo, MsgResult::No},
        {MsgStyle::RetryCancel, MsgResult::Cancel},
    };
    for (const auto& [style, result] : cases) {
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(showMessageBox(QStringLiteral("One\r\nTwo") + QChar(0) + "hidden", style), result) << style;
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Pilvanor: One\nTwo\n");
    }
}

TEST_F(LanguageTest, ErrorReportHasThreeLines)
{
    gRapportErreur(QStringLiteral("frmPilvanor.mEnvoyer"), Error(QStringLiteral("Clé absente"), 9002));
    gRapportErreur(QStringLiteral("modPilvanor.gLire"), std::runtime_error("bad thing"));
    EXPECT_EQ(m_shown,
              QStringList({"48|Pilvanor|Module\t: frmPilvanor.mEnvoyer\r\nErreur\t: 9002\r\nDesc.\t: Clé absente",
                           "48|Pilvanor|Module\t: modPilvanor.gLire\r\nErreur\t: 0\r\nDesc.\t: bad thing"}));
}

// The shipped language files: the messages the program asks for, by the number of fields its callers pass.
const QStringList messageKeys[] = {
    QString("A general failure occurred in the network hardware.|The specified parameter is invalid.|"
            "The user does not have access to the requested information.|This network request is not supported.|"
            "AfficherMessageDifferenteFenetre|AfficherMessageInfoBulle|AfficherMessageUneSeuleFenetre|BoutonAjouter|"
            "BoutonAnnuler|BoutonOK|BoutonReenvoyer|CadreDestinataire|ConfigurationCaptureProbleme|"
            "ConfigurationCaptureTerminee|DateHeureRappelInvalide|DebutEnvoiMessageGroupe|DescriptionExistante|"
            "EnteteMessageDe|EntetePlusieursNouveauMessage|EnteteUnNouveauMessage|FiltreFichierSon|"
            "FiltreFichierTexte|FinEnvoiMessageGroupe|FinRechercheTexte|GroupeExistant|GroupeRapide|"
            "HistoriqueMessageEnvoyeVide|HistoriqueMessageRecuVide|JourDimanche|JourJeudi|JourLundi|JourMardi|"
            "JourMercredi|JourSamedi|JourVendredi|MessageEnvoyeAvecSucces|MessageObligatoire|NomGroupeObligatoire|"
            "PlanificationA|PlanificationAujourdhui|PlanificationLe|PlanificationTousLesJours|"
            "PlanificationToutesLesSemaines|PlanificationUneSeuleFois|RepetitionRappelHeure|RepetitionRappelMinute|"
            "SelectionJourObligatoire|StationDescObligatoire|StationExistante|StationIPObligatoire|SupprimerGroupe|"
            "SupprimerHistoriqueMessageEnvoye|SupprimerHistoriqueMessageRecu|SupprimerMessage|SupprimerRappel|"
            "SupprimerUtilisateur|SysTrayAucunNouveauMessage|SysTrayPlusieursNouveauMessage|SysTrayUnNouveauMessage|"
            "TexteSelectionneAucuneAssociation|TitreFenetreHistoriqueMessageEnvoye|TitreFenetreHistoriqueMessageRecu|"
            "TitreFenetreImporterUtilisateur|TitreFenetreOuvrirFichierSon|TitreFenetreRappel|"
            "UtilisateurGroupeObligatoire|WindowsNTObligatoire|SupprimerMessagePredefini|Langue")
        .split('|'),
    QString("DomaineInexistant|StationInexistante|TexteSelectionneIntrouvable|ReceptionImpossible|CaractereInterdit|"
            "ErreurImportation|LignesSansStationIgnorees|"
            "AideAucunNavigateur")
        .split('|'),
    QString("ErreurDossierDonnees|ErreurEcritureFichier").split('|'),
};

IniDocument shipped(const char* name)
{
    QFile f(QStringLiteral(PV_SOURCE_DIR "/lang/") + QString::fromLatin1(name));
    EXPECT_TRUE(f.open(QIODevice::ReadOnly) && isValidUtf8(f.readAll())) << name;
    return IniFile(f.fileName()).load();
}

// Case-folded and sorted, each only once.
QStringList keysOf(const IniDocument& doc, const QString& section)
{
    QStringList keys;
    for (const QString& line : doc.sectionLines(section)) {
        const QString key = iniLineKey(line).toCaseFolded();
        EXPECT_FALSE(keys.contains(key)) << "twice: " << key.toStdString();
        keys.append(key);
    }
    keys.sort();
    return keys;
}

TEST(ShippedLanguages, HoldEveryMessageWithTheSameKeys)
{
    const IniDocument eng = shipped("pv.ENG");
    const IniDocument fra = shipped("pv.FRA");
    for (const auto& [doc, language] : {std::pair(&eng, "English"), std::pair(&fra, "Français")}) {
        EXPECT_EQ(doc->value(QStringLiteral("Message"), QStringLiteral("Langue")), QString(language));
        for (int fields = 0; fields < 3; ++fields) {
            for (const QString& key : messageKeys[fields]) {
                const QString text = doc->value(QStringLiteral("Message"), key).value_or(QString());
                EXPECT_TRUE(!text.trimmed().isEmpty() && text.count("$C$") == fields) << key.toStdString();
            }
        }
    }
    for (const QString& section : {QStringLiteral("Message"), QStringLiteral("frmPilvanor")}) {
        EXPECT_EQ(keysOf(eng, section), keysOf(fra, section)) << section.toStdString();
    }
}

} // namespace
