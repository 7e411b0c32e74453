#include "common/Autostart.h"
#include "common/IniFile.h"
#include "common/NetworkProbes.h"
#include "engine/Settings.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace pv;

namespace {

class SettingsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qputenv("HOME", m_home.path().toUtf8());
        qunsetenv("XDG_CONFIG_HOME");
        gDefinirFichierParametres(m_home.filePath(".config/Pilvanor/Pilvanor.conf"));
        gParametres() = Parametres {};
    }

    void store(const char* section, const char* key, const QString& value)
    {
        IniFile(gFichierParametres()).writeString(section, key, value);
    }

    QTemporaryDir m_home;
};

} // namespace

TEST_F(SettingsTest, FreshUserGetsTheDefaults)
{
    gChargerParametres();
    const Parametres& p = gParametres();
    EXPECT_EQ(p.langue, "ENG");
    EXPECT_TRUE(p.fichierLangue.endsWith("/pv.ENG"));
    EXPECT_EQ(p.touchesAccesRapide, "3,77");
    EXPECT_EQ(p.police.nom, "Verdana");
    EXPECT_EQ(p.police.taille, 10);
    EXPECT_TRUE(p.police.gras);
    EXPECT_EQ(p.police.couleur, 8388608);
    const std::pair<bool, bool> flags[] = {
        {p.demarrerMinimise, false},
        {p.minimiserSysTray, true},
        {p.minimiserBoutonX, false},
        {p.afficherStationAvecNomIP, false},
        {p.garderPositionTailleFenetre, true},
        {p.jouerFichierSon, false},
        {p.ajouterSignature, false},
        {p.capturerMessage, true},
        {p.minimiserApresEnvoi, true},
        {p.effacerMessageApresEnvoi, true},
        {p.pingStationAvantEnvoi, true},
        {p.ajouterMessagePredefini, false},
        {p.encrypterMessage, false},
        {p.demarrerAvecSysteme, false},
    };
    for (size_t i = 0; i < std::size(flags); ++i) {
        EXPECT_EQ(flags[i].first, flags[i].second) << "flag #" << i;
    }
    EXPECT_EQ(p.intervalleCaptureMessage, 100);
    EXPECT_EQ(p.affichageMessage, AffichageMessage::DifferenteFenetre);
    EXPECT_EQ(p.delaiAttente, 500);
    EXPECT_EQ(p.expediteur, gObtenirNomHote());
    EXPECT_EQ(p.caractereDevantReponseExpediteur, "> ");
    EXPECT_EQ(p.nbMessageMaxHistorique, 50);
    EXPECT_EQ(p.titreFenetreMessenger, "Messenger Service ");
    EXPECT_EQ(p.enteteFenetreMessenger, "Message from #EXPEDITEUR# to #DESTINATAIRE# on #DATE#");
    EXPECT_FALSE(QFile::exists(gFichierParametres())) << "loading writes nothing";
}

TEST_F(SettingsTest, ConversionRules)
{
    // Leading-number settings read what they can; strict ones keep their former value on bad text.
    store("General", "DelaiAttente", "750ms");
    store("General", "NbMessageMaxHistorique", "many");
    store("General", "AffichageMessage", "2 (balloon)");
    store("General", "IntervalleCaptureMessage", "1000");
    store("General", "MinimiserSysTray", "yes");
    store("General", "MinimiserBoutonX", "2");
    store("General", "DemarrerMinimise", " 1 ");
    store("General", "GarderPositionTailleFenetre", "-1");
    store("General", "Langue", "FRA");
    gChargerParametres();
    const Parametres& p = gParametres();
    EXPECT_EQ(p.delaiAttente, 750);
    EXPECT_EQ(p.nbMessageMaxHistorique, 0);
    EXPECT_EQ(p.affichageMessage, AffichageMessage::InfoBulle);
    EXPECT_EQ(p.intervalleCaptureMessage, 1000);
    EXPECT_TRUE(p.minimiserSysTray) << "not a number: the former value stays";
    EXPECT_FALSE(p.minimiserBoutonX) << "only 1 is on";
    EXPECT_TRUE(p.demarrerMinimise);
    EXPECT_FALSE(p.garderPositionTailleFenetre) << "-1 is off";
    EXPECT_TRUE(p.fichierLangue.endsWith("/pv.FRA"));

    const std::pair<const char*, int> leading[] = {{"12abc", 12}, {"abc", 0}, {"  -7", -7}, {"", 0}, {"+3", 3}};
    for (const auto& [text, value] : leading) {
        EXPECT_EQ(gValeurNombreInitial(text), value) << text;
    }
    const std::pair<const char*, std::optional<int>> strict[] = {{"1", 1},
                                                                 {" 42 ", 42},
                                                                 {"2.6", 3},
                                                                 {"1e2", 100},
                                                                 {"x", std::nullopt},
                                                                 {"", std::nullopt},
                                                                 {"12abc", std::nullopt}};
    for (const auto& [text, value] : strict) {
        EXPECT_EQ(gValeurStricte(text), value) << text;
    }
}

TEST_F(SettingsTest, MessageFontParsing)
{
    struct Case
    {
        const char* text;
        const char* nom;
        int taille;
        bool gras;
        bool italique;
        bool souligne;
        int couleur;
    };
    const Case cases[] = {
        {"Arial", "Arial", 10, true, false, false, 8388608}, // only the face changes
        {"Courier,12,0,1,1,255", "Courier", 12, false, true, true, 255},
        {"Mono,big,5", "Mono", 10, true, false, false, 8388608}, // a bad size keeps the former one
        {"", "", 10, true, false, false, 8388608},
    };
    for (const auto& c : cases) {
        PoliceMessage police;
        gAnalyserPoliceMessage(c.text, police);
        EXPECT_EQ(police.nom, c.nom) << c.text;
        EXPECT_EQ(police.taille, c.taille) << c.text;
        EXPECT_EQ(police.gras, c.gras) << c.text;
        EXPECT_EQ(police.italique, c.italique) << c.text;
        EXPECT_EQ(police.souligne, c.souligne) << c.text;
        EXPECT_EQ(police.couleur, c.couleur) << c.text;
    }
}

TEST_F(SettingsTest, SignatureKeepsItsLinesAndBlankEndings)
{
    store("Signature", "Texte", QString::fromUtf8("Jean Dupont¶Accueil"));
    store("Signature", "AjouterAutomatiquement", "1");
    store("General", "CaractereDevantReponseExpediteur", ">> ");
    gChargerParametres();
    EXPECT_EQ(gParametres().signature, "Jean Dupont\r\nAccueil");
    EXPECT_TRUE(gParametres().ajouterSignature);
    EXPECT_EQ(gParametres().caractereDevantReponseExpediteur, ">> ");
}

TEST_F(SettingsTest, WindowPositions)
{
    gEnregistrerPositionFenetre("PositionTailleFenetrePrincipale", QRect(10, 20, 300, 200));
    EXPECT_EQ(gObtenirParametre("General", "PositionTailleFenetrePrincipale"), "10,20,300,200");
    EXPECT_EQ(gLirePositionFenetre("PositionTailleFenetrePrincipale"), QRect(10, 20, 300, 200));
    for (const char* bad : {"10,20,300", "a,b,c,d", "1,2,0,5", ""}) {
        store("General", "PositionTailleFenetreMessage", bad);
        EXPECT_FALSE(gLirePositionFenetre("PositionTailleFenetreMessage").has_value()) << bad;
    }
}

TEST_F(SettingsTest, AutostartEntry)
{
    EXPECT_FALSE(gAutostartActif());
    gActiverAutostart("/opt/my apps/pilvanor");
    EXPECT_TRUE(gAutostartActif());
    gChargerParametres();
    EXPECT_TRUE(gParametres().demarrerAvecSysteme);
    QFile f(gCheminAutostart());
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_TRUE(f.readAll().contains("Exec=\"/opt/my apps/pilvanor\"\n"));
    f.close();
    gDesactiverAutostart();
    EXPECT_FALSE(gAutostartActif());
    EXPECT_NO_THROW(gDesactiverAutostart()) << "switching off twice is fine";
    // An empty entry counts as off.
    QFile empty(gCheminAutostart());
    ASSERT_TRUE(empty.open(QIODevice::WriteOnly));
    empty.close();
    EXPECT_FALSE(gAutostartActif());

    const std::pair<const char*, const char*> quoting[] = {
        {"/usr/bin/pilvanor", "\"/usr/bin/pilvanor\""},
        {"/a\"b", "\"/a\\\\\"b\""},
        {"/100%", "\"/100%%\""},
        {"/$HOME", "\"/\\\\$HOME\""},
    };
    for (const auto& [path, exec] : quoting) {
        EXPECT_EQ(gQuoterCommandeDesktop(path), exec) << path;
    }
}
