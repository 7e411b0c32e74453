#include "TestFiles.h"

#include "common/Autostart.h"
#include "common/IniFile.h"
#include "common/MessengerText.h"
#include "engine/Settings.h"
#include "messenger/Names.h"
#include "messenger/Spool.h"
#include "messenger/Transport.h"
#include "settings/ConfigurationCapture.h"
#include "settings/Preferences.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>

using namespace pv;

namespace {

class PreferencesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qputenv("HOME", m_home.path().toUtf8());
        for (const char* v : {"XDG_CONFIG_HOME", "XDG_STATE_HOME"}) {
            qunsetenv(v);
        }
        gDefinirFichierParametres(m_home.filePath(".config/Pilvanor/Pilvanor.conf"));
        gParametres() = Parametres {};
        gParametres().expediteur = "PC1";
    }

    std::optional<QString> save(Preferences& p) { return gEnregistrerPreferences(p, "/opt/pv/pilvanor", m_spool); }
    QString stored(const char* section, const char* key) const
    {
        return IniFile(gFichierParametres()).value(section, key).value_or("(none)");
    }

    QTemporaryDir m_home;
    QString m_spool = m_home.filePath("spool");
};

} // namespace

TEST_F(PreferencesTest, SaveFallsBackOnEmptyOrInvalidFields)
{
    using P = Preferences&;
    const char* const G = "General";
    struct Case
    {
        const char *name, *section, *key;
        QString expected;
        std::function<void(P)> edit;
    };
    const Case cases[] = {
        {"history empty", G, "NbMessageMaxHistorique", "50", [](P p) { p.nbMessageMaxHistorique = ""; }},
        {"history 0", G, "NbMessageMaxHistorique", "50", [](P p) { p.nbMessageMaxHistorique = "0"; }},
        {"history 7", G, "NbMessageMaxHistorique", "7", [](P p) { p.nbMessageMaxHistorique = "7"; }},
        {"delay empty", G, "DelaiAttente", "500", [](P p) { p.delaiAttente = ""; }},
        {"delay 250", G, "DelaiAttente", "250", [](P p) { p.delaiAttente = "250"; }},
        {"sender empty", G, "Expediteur", QString::fromStdString(localStationName()), [](P p) { p.expediteur = ""; }},
        {"balloon: tray", G, "MinimiserSysTray", "1", [](P p) { p.affichageMessage = 2, p.minimiserSysTray = false; }},
        {"one window", G, "MinimiserSysTray", "0", [](P p) { p.affichageMessage = 1, p.minimiserSysTray = false; }},
        {"two lines", "Signature", "Texte", "Bob¶Desk 4", [](P p) { p.signature = "Bob\nDesk 4"; }},
        {"two lines, CR LF", "Signature", "Texte", "Bob¶Desk 4", [](P p) { p.signature = "Bob\r\nDesk 4"; }},
        {"reply",
         G,
         "CaractereDevantReponseExpediteur",
         " | ",
         [](P p) { p.caractereDevantReponseExpediteur = " | "; }},
    };
    for (const Case& c : cases) {
        QFile::remove(gFichierParametres());
        Preferences p = gPreferencesActuelles();
        c.edit(p);
        EXPECT_EQ(save(p), std::nullopt) << c.name;
        EXPECT_EQ(stored(c.section, c.key), c.expected) << c.name;
    }
}

TEST_F(PreferencesTest, SaveWritesEveryKeyInItsOrderAndReloads)
{
    Preferences p = gPreferencesActuelles();
    p.langue = "FRA";
    p.policeMessage = "Arial,12,0,1,0,255";
    p.demarrerAvecSysteme = true;
    p.affichageMessage = 2;
    save(p);
    QStringList keys;
    for (const QString& line : IniFile(gFichierParametres()).readSection("General")) {
        keys.append(line.section('=', 0, 0));
    }
    EXPECT_EQ(keys.join(' ').toStdString(),
              "Langue TouchesAccesRapide PoliceMessage DemarrerMinimise MinimiserSysTray MinimiserBoutonX "
              "AfficherStationAvecNomIP GarderPositionTailleFenetre JouerFichierSon FichierSon CapturerMessage "
              "AffichageMessage MinimiserApresEnvoi EffacerMessageApresEnvoi PingStationAvantEnvoi DelaiAttente "
              "Expediteur CaractereDevantReponseExpediteur NbMessageMaxHistorique");
    EXPECT_EQ(IniFile(gFichierParametres()).readSection("Signature").join(' '), "AjouterAutomatiquement=0 Texte=");
    // The font is current before any reload; the rest after it.
    EXPECT_EQ(gParametres().police.nom, "Arial");
    EXPECT_EQ(gParametres().police.couleur, 255);
    EXPECT_TRUE(gAutostartActif());
    EXPECT_TRUE(QFile(gCheminAutostart()).open(QIODevice::ReadOnly));
    gChargerParametres();
    EXPECT_EQ(gParametres().langue, "FRA");
    EXPECT_EQ(gParametres().affichageMessage, AffichageMessage::InfoBulle);
    EXPECT_TRUE(gParametres().demarrerAvecSysteme);
    p.demarrerAvecSysteme = false;
    save(p);
    EXPECT_FALSE(QFile::exists(gCheminAutostart()));
}

TEST_F(PreferencesTest, NewSenderNameBecomesAnAliasOfTheService)
{
    const ServiceNames names(stdText(m_spool));
    Preferences p = gPreferencesActuelles();
    save(p); // unchanged: no alias
    EXPECT_FALSE(QFile::exists(qtext(names.filePath())));
    p.expediteur = "JEANPIERRE";
    EXPECT_EQ(save(p), std::nullopt);
    gChargerParametres();
    p.expediteur = "";
    save(p); // emptied: the host name is stored, no alias made
    EXPECT_EQ(names.aliases(), std::vector<std::string> {"JEANPIERRE"});
    gChargerParametres();
    p.expediteur = "SIXTEEN-LETTERS!";
    EXPECT_NE(save(p), std::nullopt) << "too long for a NetBIOS name";
    EXPECT_EQ(stored("General", "Expediteur"), "SIXTEEN-LETTERS!") << "still the sender's name";
}

TEST_F(PreferencesTest, LanguageFilesAreListedWithTheirNames)
{
    QDir dir(m_home.path());
    const std::pair<const char*, const char*> files[] = {{"pv.FRA", "[Message]\nLangue=Français\n"},
                                                         {"pv.ENG", "[Message]\nLangue=English\n"},
                                                         {"pv.XYZ", "[Message]\nOther=1\n"},
                                                         {"pv.exe", "[Message]\nLangue=Program\n"},
                                                         {"pvx.DEU", "[Message]\nLangue=Deutsch\n"}};
    for (const auto& [name, text] : files) {
        ASSERT_TRUE(test::writeFile(dir.filePath(name), text));
    }
    QStringList got;
    for (const LangueDisponible& l : gListerLangues(dir.path())) {
        got.append(l.fichier + '|' + l.code + '|' + l.nom);
    }
    EXPECT_EQ(got.join(' '), "pv.ENG|ENG|English pv.FRA|FRA|Français pv.XYZ|XYZ|XYZ");
}

// English and French headers are learnt from the real service in tst_frmConfigurationCapture.
TEST(ConfigurationCapture, HeaderBecomesATemplate)
{
    const std::pair<const char*, std::optional<QString>> cases[] = {
        {"Message from PC1 to PC2 on 15/11/2026\r\n", "Message from #EXPEDITEUR# to #DESTINATAIRE# on #DATE#"},
        {"Message from PC1 to PC2 on\r\n\r\nx", std::nullopt},            // six words
        {"Message from PC1 to PC2 on 15/11/2026 10:12:00", std::nullopt}, // no line break
        {"Message from PC1 to PC2 on 15/11/2026 10:12:00\n\nx", std::nullopt},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(gModeleEntete(QString::fromUtf8(text)), expected) << text;
    }
}

// The set-up against the real service, and a pop-up without a header, are driven in tst_frmConfigurationCapture.
TEST_F(PreferencesTest, LearningTakesTheNewestPopupAndKeepsTheOthers)
{
    PopupSpool spool(stdText(m_spool));
    EXPECT_FALSE(gApprendreFenetreMessenger(spool)) << "empty spool";
    Popup older, test;
    older.title = "Messenger Service ";
    older.text = "Message from A to B on 1/1/2026 00:00:00\r\n\r\nolder";
    test.title = "Service Affichage des messages ";
    test.text = "Message de ME \u00e0 ME le 21/11/2026 10:00:00\r\n\r\nPilvanor";
    ASSERT_TRUE(spool.write(older) && spool.write(test));
    EXPECT_TRUE(gApprendreFenetreMessenger(spool));
    EXPECT_EQ(stored("General", "TitreFenetreMessenger"), "Service Affichage des messages ");
    ASSERT_EQ(spool.count(), 1u) << "the test pop-up is removed, the older one kept";
    EXPECT_EQ(spool.newest()->text, older.text);
}
