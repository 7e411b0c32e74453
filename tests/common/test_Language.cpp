#include "common/Error.h"
#include "common/ErrorReport.h"
#include "common/IniFile.h"
#include "common/Language.h"
#include "common/TextCodec.h"

#include <QFile>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <ostream>
#include <stdexcept>

using namespace pv;

namespace {

struct Shown
{
    QString text;
    int style;
    QString title;
};

// Writes language files into a temporary folder and answers every message box, keeping what was shown.
class LanguageTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        setMessageBoxPresenter([this](const QString& text, int style, const QString& title) {
            m_shown.append({text, style, title});
            return m_answer;
        });
    }
    void TearDown() override { setMessageBoxPresenter({}); }

    QString writeFile(const QByteArray& content, const QString& name = QStringLiteral("pv.TST"))
    {
        const QString path = m_dir.filePath(name);
        QFile f(path);
        EXPECT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(content);
        return path;
    }

    QString withMessage(const QString& key, const QString& text)
    {
        return writeFile(("[Message]\n" + key + "=" + text + "\n").toUtf8());
    }

    QTemporaryDir m_dir;
    QList<Shown> m_shown;
    int m_answer = MsgResult::Ok;
};

struct SubstitutionCase
{
    const char* name;
    QString stored;
    QStringList fields;
    QString expected;
};

const SubstitutionCase substitutionCases[] = {
    {"two fields", "Station $C$ ($C$) inexistante.", {"PC12", "Accueil"}, "Station PC12 (Accueil) inexistante."},
    {"code beyond the fields stays", "Station $C$ ($C$) inexistante.", {"PC12"}, "Station PC12 ($C$) inexistante."},
    {"field beyond the codes ignored", "Hello $C$.", {"a", "b"}, "Hello a."},
    {"no fields", "Hello $C$.", {}, "Hello $C$."},
    {"field holding the code from its second character", "[$C$]", {"x$C$", "y"}, "[xy]"},
    {"field opening with the code is skipped", "[$C$]", {"$C$z", "y"}, "[$C$z]"},
    {"empty field swallows the next adjoining code", "$C$$C$!", {"", "b"}, "$C$!"},
    {"field code is exact", "a $c$ b", {"x"}, "a $c$ b"},
    {"line break upper case", "One$SL$Two", {}, "One\r\nTwo"},
    {"line break lower case", "One$sl$Two$Sl$Three", {}, "One\r\nTwo\r\nThree"},
    {"line break inside a field", "Note: $C$", {"x$SL$y"}, "Note: x\r\ny"},
    {"null character any case", "Shown$cn$Hidden$CN$", {}, QStringLiteral("Shown") + QChar(0) + "Hidden" + QChar(0)},
    {"sound code kept", "Ligne$SS$", {}, "Ligne$SS$"},
    {"accents survive", "Message envoyé à $C$", {"Zoé"}, "Message envoyé à Zoé"},
};

void PrintTo(const SubstitutionCase& c, std::ostream* os)
{
    *os << c.name;
}

class Substitution : public LanguageTest, public ::testing::WithParamInterface<SubstitutionCase>
{
};

TEST_P(Substitution, FillsTheStoredText)
{
    const auto& c = GetParam();
    const QString file = withMessage(QStringLiteral("Cle"), c.stored);
    EXPECT_EQ(gMessageTexte(file, QStringLiteral("Cle"), c.fields), c.expected);
    EXPECT_TRUE(m_shown.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Language, Substitution, ::testing::ValuesIn(substitutionCases), [](const auto& info) {
    std::string name = info.param.name;
    for (char& ch : name) {
        if (!std::isalnum(static_cast<unsigned char>(ch))) {
            ch = '_';
        }
    }
    return name;
});

TEST_F(LanguageTest, KeyIsItsOwnTextWhenTheFileLacksIt)
{
    const QString file = writeFile("[Message]\nVide=\nAutre=Something\n");
    const struct
    {
        QString key;
        QStringList fields;
        QString expected;
    } cases[] = {
        {"The specified parameter is invalid.", {}, "The specified parameter is invalid."},
        {"Vide", {}, "Vide"},
        {"Unknown $C$", {"key"}, "Unknown key"},
        {"autre", {}, "Something"}, // keys compare ignoring case
    };
    for (const auto& c : cases) {
        EXPECT_EQ(gMessageTexte(file, c.key, c.fields), c.expected) << c.key.toStdString();
    }
    EXPECT_TRUE(m_shown.isEmpty());
}

TEST_F(LanguageTest, ReadsTheFileAgainOnEveryCall)
{
    const QString file = withMessage(QStringLiteral("Cle"), QStringLiteral("first"));
    EXPECT_EQ(gMessageTexte(file, QStringLiteral("Cle")), QStringLiteral("first"));
    withMessage(QStringLiteral("Cle"), QStringLiteral("second"));
    EXPECT_EQ(gMessageTexte(file, QStringLiteral("Cle")), QStringLiteral("second"));
}

TEST_F(LanguageTest, ReadsAFileWrittenOnWindows)
{
    const QString file = writeFile("[Message]\r\nCle=Message envoy\xE9 avec succ\xE8s\r\n");
    EXPECT_EQ(gMessageTexte(file, QStringLiteral("Cle")), QStringLiteral("Message envoyé avec succès"));
}

TEST_F(LanguageTest, ShowsWithTheStyleAndReturnsTheAnswer)
{
    const QString file = withMessage(QStringLiteral("Question"), QStringLiteral("Delete $C$?"));
    const struct
    {
        int style;
        int shownStyle;
    } cases[] = {
        {MsgStyle::Question, MsgStyle::Question | MsgStyle::YesNo},
        {MsgStyle::Question | MsgStyle::YesNo, MsgStyle::Question | MsgStyle::YesNo},
        {MsgStyle::Question | MsgStyle::OkCancel, MsgStyle::Question | MsgStyle::OkCancel},
        {MsgStyle::Question | MsgStyle::DefaultButton2, MsgStyle::Question | MsgStyle::DefaultButton2},
        {MsgStyle::Exclamation, MsgStyle::Exclamation},
        {MsgStyle::Ok, MsgStyle::Ok},
    };
    m_answer = MsgResult::No;
    for (const auto& c : cases) {
        m_shown.clear();
        EXPECT_EQ(gMessage(file, QStringLiteral("Question"), c.style, {QStringLiteral("PC1")}),
                  QVariant(int(MsgResult::No)));
        ASSERT_EQ(m_shown.size(), 1) << c.style;
        EXPECT_EQ(m_shown[0].style, c.shownStyle);
        EXPECT_EQ(m_shown[0].text, QStringLiteral("Delete PC1?"));
        EXPECT_EQ(m_shown[0].title, QStringLiteral("Pilvanor"));
    }
}

TEST_F(LanguageTest, MissingFileIsReportedInFrench)
{
    const QString file = m_dir.filePath(QStringLiteral("pv.XXX"));
    const struct
    {
        QString path;
        int style;
        QVariant expected;
    } cases[] = {
        {file, MsgStyle::ReturnText, QVariant(QString())},
        {file, MsgStyle::Question, QVariant(int(MsgResult::NoFile))},
        {file, MsgStyle::Exclamation, QVariant(int(MsgResult::NoFile))},
        {m_dir.path(), MsgStyle::ReturnText, QVariant(QString())}, // a folder is no file
        {QString(), MsgStyle::Information, QVariant(int(MsgResult::NoFile))},
    };
    m_answer = MsgResult::Yes; // a question must not come back as Yes
    for (const auto& c : cases) {
        m_shown.clear();
        const QVariant result = gMessage(c.path, QStringLiteral("SupprimerMessage"), c.style);
        EXPECT_EQ(result.typeId(), c.expected.typeId()) << c.style;
        EXPECT_EQ(result, c.expected) << c.style;
        ASSERT_EQ(m_shown.size(), 1);
        EXPECT_EQ(m_shown[0].text, QStringLiteral("Le fichier des messages (") + c.path + ") est inexistant.");
        EXPECT_EQ(m_shown[0].style, int(MsgStyle::Exclamation));
    }
}

TEST(LanguageDefaultPresenter, TakesTheAnswerThatChangesNothing)
{
    setMessageBoxPresenter({});
    const struct
    {
        int style;
        int result;
    } cases[] = {
        {MsgStyle::Ok, MsgResult::Ok},
        {MsgStyle::OkCancel | MsgStyle::DefaultButton2, MsgResult::Cancel},
        {MsgStyle::AbortRetryIgnore, MsgResult::Abort},
        {MsgStyle::YesNoCancel, MsgResult::Cancel},
        {MsgStyle::Question | MsgStyle::YesNo, MsgResult::No},
        {MsgStyle::RetryCancel | MsgStyle::Exclamation, MsgResult::Cancel},
    };
    for (const auto& c : cases) {
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(showMessageBox(QStringLiteral("Line one\r\nLine two") + QChar(0) + "hidden", c.style), c.result);
        const std::string err = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(err, "Pilvanor: Line one\nLine two\n");
    }
}

TEST(LanguageSections, SplitsEachLineAtItsFirstTwoEquals)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("pv.TST"));
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("[frmEssai]\n"
            "; a comment\n"
            "TITRE=Essai\n"
            "  lblNom = Nom\n"
            "cmdOK=OK,Close the window,\n"
            "lblEgal=a=b=c\n"
            "optChoix(1)=Groupes\n"
            "lblVide=\n"
            "sansEgal\n"
            "[frmVide]\n"
            "; nothing but a comment\n");
    f.close();

    const auto libelles = gLireLibelles(path, QStringLiteral("FRMESSAI"));
    ASSERT_TRUE(libelles.has_value());
    const QList<std::pair<QString, QString>> expected = {
        {"TITRE", "Essai"},
        {"lblNom", "Nom"}, // blanks around a label are layout
        {"cmdOK", "OK,Close the window,"},
        {"lblEgal", "a"},
        {"optChoix(1)", "Groupes"},
        {"lblVide", ""},
        {"sansEgal", ""},
    };
    ASSERT_EQ(libelles->size(), expected.size());
    for (qsizetype i = 0; i < expected.size(); ++i) {
        EXPECT_EQ((*libelles)[i].key, expected[i].first) << i;
        EXPECT_EQ((*libelles)[i].value, expected[i].second) << i;
    }
    EXPECT_FALSE(gLireLibelles(path, QStringLiteral("frmVide")).has_value());
    EXPECT_FALSE(gLireLibelles(path, QStringLiteral("frmAbsente")).has_value());
    EXPECT_FALSE(gLireLibelles(dir.filePath(QStringLiteral("absent")), QStringLiteral("frmEssai")).has_value());
}

TEST_F(LanguageTest, ErrorReportHasThreeLines)
{
    EXPECT_EQ(gTexteRapportErreur(QStringLiteral("frmPilvanor.mEnvoyerMessage"), 5, QStringLiteral("Access denied")),
              QStringLiteral("Module\t: frmPilvanor.mEnvoyerMessage\r\nErreur\t: 5\r\nDesc.\t: Access denied"));

    const struct
    {
        std::function<void()> report;
        QString text;
    } cases[] = {
        {[] { gRapportErreur(QStringLiteral("modPilvanor.gVerifierNbMessageHistorique"), 53, QStringLiteral("x")); },
         "Module\t: modPilvanor.gVerifierNbMessageHistorique\r\nErreur\t: 53\r\nDesc.\t: x"},
        {[] {
             gRapportErreur(QStringLiteral("frmPilvanor.mEnvoyerMessage"), Error(QStringLiteral("Clé absente"), 9002));
         },
         "Module\t: frmPilvanor.mEnvoyerMessage\r\nErreur\t: 9002\r\nDesc.\t: Clé absente"},
        {[] { gRapportErreur(QStringLiteral("frmPilvanor.mEnvoyerMessage"), std::runtime_error("bad thing")); },
         "Module\t: frmPilvanor.mEnvoyerMessage\r\nErreur\t: 0\r\nDesc.\t: bad thing"},
    };
    for (const auto& c : cases) {
        m_shown.clear();
        c.report();
        ASSERT_EQ(m_shown.size(), 1);
        EXPECT_EQ(m_shown[0].text, c.text);
        EXPECT_EQ(m_shown[0].style & MsgStyle::ButtonsMask, int(MsgStyle::Ok));
        EXPECT_EQ(m_shown[0].title, QStringLiteral("Pilvanor"));
    }
}

// The shipped language files.

const QStringList requiredMessageKeys = {
    "A general failure occurred in the network hardware.",
    "AfficherMessageDifferenteFenetre",
    "AfficherMessageInfoBulle",
    "AfficherMessageUneSeuleFenetre",
    "BoutonAjouter",
    "BoutonAnnuler",
    "BoutonOK",
    "BoutonReenvoyer",
    "CadreDestinataire",
    "ConfigurationCaptureProbleme",
    "ConfigurationCaptureTerminee",
    "DateHeureRappelInvalide",
    "DebutEnvoiMessageGroupe",
    "DescriptionExistante",
    "DomaineInexistant",
    "EnteteMessageDe",
    "EntetePlusieursNouveauMessage",
    "EnteteUnNouveauMessage",
    "FiltreFichierSon",
    "FiltreFichierTexte",
    "FinEnvoiMessageGroupe",
    "FinRechercheTexte",
    "GroupeExistant",
    "GroupeRapide",
    "HistoriqueMessageEnvoyeVide",
    "HistoriqueMessageRecuVide",
    "JourDimanche",
    "JourJeudi",
    "JourLundi",
    "JourMardi",
    "JourMercredi",
    "JourSamedi",
    "JourVendredi",
    "MessageEnvoyeAvecSucces",
    "MessageObligatoire",
    "NomGroupeObligatoire",
    "PlanificationA",
    "PlanificationAujourdhui",
    "PlanificationLe",
    "PlanificationTousLesJours",
    "PlanificationToutesLesSemaines",
    "PlanificationUneSeuleFois",
    "RepetitionRappelHeure",
    "RepetitionRappelMinute",
    "SelectionJourObligatoire",
    "StationDescObligatoire",
    "StationExistante",
    "StationIPObligatoire",
    "StationInexistante",
    "SupprimerGroupe",
    "SupprimerHistoriqueMessageEnvoye",
    "SupprimerHistoriqueMessageRecu",
    "SupprimerMessage",
    "SupprimerRappel",
    "SupprimerUtilisateur",
    "SysTrayAucunNouveauMessage",
    "SysTrayPlusieursNouveauMessage",
    "SysTrayUnNouveauMessage",
    "TexteSelectionneAucuneAssociation",
    "TexteSelectionneIntrouvable",
    "The specified parameter is invalid.",
    "The user does not have access to the requested information.",
    "This network request is not supported.",
    "TitreFenetreHistoriqueMessageEnvoye",
    "TitreFenetreHistoriqueMessageRecu",
    "TitreFenetreImporterUtilisateur",
    "TitreFenetreOuvrirFichierSon",
    "TitreFenetreRappel",
    "UtilisateurGroupeObligatoire",
    "WindowsNTObligatoire",
    "SupprimerMessagePredefini",
    "Langue",
    "ErreurDossierDonnees",
    "ErreurEcritureFichier",
    "ReceptionImpossible",
};

// Messages whose callers pass field values: the text must take them.
const QList<std::pair<QString, int>> fieldCounts = {
    {"DomaineInexistant", 1},
    {"StationInexistante", 1},
    {"TexteSelectionneIntrouvable", 1},
    {"ErreurDossierDonnees", 2},
    {"ErreurEcritureFichier", 2},
    {"ReceptionImpossible", 1},
};

QString shippedFile(const char* name)
{
    return QStringLiteral(PV_SOURCE_DIR "/lang/") + QString::fromLatin1(name);
}

QStringList keysOf(const QStringList& lines)
{
    QStringList keys;
    for (const QString& line : lines) {
        keys.append(iniLineKey(line));
    }
    return keys;
}

class ShippedLanguage : public ::testing::TestWithParam<const char*>
{
};

TEST_P(ShippedLanguage, IsUtf8AndHoldsEveryMessage)
{
    const QString path = shippedFile(GetParam());
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly)) << path.toStdString();
    EXPECT_TRUE(isValidUtf8(f.readAll()));

    const IniDocument doc = IniFile(path).load();
    for (const QString& key : requiredMessageKeys) {
        const auto text = doc.value(QStringLiteral("Message"), key);
        EXPECT_TRUE(text && !text->trimmed().isEmpty()) << key.toStdString();
    }
    for (const auto& [key, count] : fieldCounts) {
        EXPECT_EQ(doc.value(QStringLiteral("Message"), key).value_or(QString()).count(QStringLiteral("$C$")), count)
            << key.toStdString();
    }
    for (const QString& section : {QStringLiteral("Message"), QStringLiteral("frmPilvanor")}) {
        const QStringList lines = doc.sectionLines(section);
        QSet<QString> seen;
        for (const QString& line : lines) {
            const QString key = iniLineKey(line);
            EXPECT_FALSE(key.isEmpty()) << line.toStdString();
            EXPECT_FALSE(seen.contains(key.toCaseFolded())) << "twice: " << key.toStdString();
            seen.insert(key.toCaseFolded());
        }
    }
    // Label values are cut at a second "=".
    for (const QString& line : doc.sectionLines(QStringLiteral("frmPilvanor"))) {
        EXPECT_EQ(line.count(QLatin1Char('=')), 1) << line.toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(Language, ShippedLanguage, ::testing::Values("pv.ENG", "pv.FRA"), [](const auto& info) {
    return std::string(info.param).substr(3);
});

TEST(ShippedLanguages, HaveTheSameKeys)
{
    const IniDocument eng = IniFile(shippedFile("pv.ENG")).load();
    const IniDocument fra = IniFile(shippedFile("pv.FRA")).load();
    for (const QString& section : {QStringLiteral("Message"), QStringLiteral("frmPilvanor")}) {
        QStringList engKeys = keysOf(eng.sectionLines(section));
        QStringList fraKeys = keysOf(fra.sectionLines(section));
        EXPECT_FALSE(engKeys.isEmpty()) << section.toStdString();
        engKeys.sort(Qt::CaseInsensitive);
        fraKeys.sort(Qt::CaseInsensitive);
        EXPECT_EQ(engKeys, fraKeys) << section.toStdString();
        // A translation keeps the fields of its message.
        for (const QString& key : engKeys) {
            EXPECT_EQ(eng.value(section, key).value_or(QString()).count(QStringLiteral("$C$")),
                      fra.value(section, key).value_or(QString()).count(QStringLiteral("$C$")))
                << key.toStdString();
        }
    }
    EXPECT_EQ(eng.value(QStringLiteral("Message"), QStringLiteral("Langue")), QStringLiteral("English"));
    EXPECT_EQ(fra.value(QStringLiteral("Message"), QStringLiteral("Langue")), QStringLiteral("Français"));
}

} // namespace
