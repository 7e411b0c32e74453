#include "common/Autostart.h"
#include "common/IniFile.h"
#include "engine/Settings.h"
#include "messenger/Transport.h"
#include "settings/Preferences.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sstream>

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

// A text each setting would not hold by default, of the kind its conversion reads back unchanged.
QString autreValeur(const Reglage& r)
{
    const QString cle = QLatin1String(r.cle);
    if (cle == "TouchesAccesRapide") {
        return "5,72";
    }
    if (cle == "Expediteur") {
        return "POSTE7";
    }
    switch (r.conversion) {
    case Conversion::Indicateur:
        return gDefautReglage(r) == "1" ? "0" : "1";
    case Conversion::NombreStrict:
    case Conversion::NombreInitial:
        return "737";
    case Conversion::Affichage:
        return "1";
    case Conversion::Police:
        return "Mono,12,0,1,1,255";
    case Conversion::TexteEncode:
        return "Jean¶Accueil";
    case Conversion::TexteNettoye:
        return "FRA";
    case Conversion::Texte:
        break;
    }
    return '<' + cle + '>';
}

} // namespace

TEST_F(SettingsTest, EverySettingLoadsItsDefaultAndRoundTripsAnotherValue)
{
    gChargerParametres();
    EXPECT_FALSE(QFile::exists(gFichierParametres())) << "loading writes nothing";
    // The NetBIOS form of the host name that pilvanor-send sends by default, upper case like every typed name.
    EXPECT_EQ(gParametres().expediteur.toStdString(), localStationName());
    EXPECT_EQ(gParametres().expediteur, gParametres().expediteur.toUpper());
    for (const Reglage& r : gReglages()) {
        EXPECT_EQ(gTexteReglage(gParametres(), r), gDefautReglage(r)) << r.cle;
    }
    // One setting changed at a time reaches its own value and no other.
    for (const Reglage& r : gReglages()) {
        QFile::remove(gFichierParametres());
        store(r.section, r.cle, autreValeur(r));
        gParametres() = Parametres {};
        gChargerParametres();
        for (const Reglage& autre : gReglages()) {
            EXPECT_EQ(gTexteReglage(gParametres(), autre), &autre == &r ? autreValeur(r) : gDefautReglage(autre))
                << r.cle << " changed, " << autre.cle << " read";
        }
    }
    for (const Reglage& r : gReglages()) {
        store(r.section, r.cle, autreValeur(r));
    }
    gChargerParametres();
    EXPECT_TRUE(gParametres().fichierLangue.endsWith("/pv.FRA"));
    // What the preferences window would show is saved back unchanged into a fresh store.
    Preferences affichees = gPreferencesActuelles();
    const QString relu = gFichierParametres();
    gDefinirFichierParametres(m_home.filePath("saved.conf"));
    EXPECT_EQ(gEnregistrerPreferences(affichees, "/opt/pv/pilvanor", m_home.filePath("spool")), std::nullopt);
    for (const Reglage& r : gReglages()) {
        EXPECT_NE(gTexteReglage(Parametres {}, r), autreValeur(r)) << r.cle;
        EXPECT_EQ(gTexteReglage(gParametres(), r), autreValeur(r)) << r.cle;
        const auto sauve = IniFile(gFichierParametres()).value(r.section, r.cle);
        EXPECT_EQ(sauve.value_or("(none)"), r.preference ? autreValeur(r) : "(none)") << r.cle;
    }
    gDefinirFichierParametres(relu);
}

TEST_F(SettingsTest, ConversionRulesAndSignature)
{
    // Leading-number settings read what they can; strict ones keep their former value on bad text.
    IniFile(gFichierParametres()).update([](IniDocument& d) {
        d = IniDocument::parse(
            "[General]\nDelaiAttente=750ms\nNbMessageMaxHistorique=many\nAffichageMessage=2 (balloon)\n"
            "IntervalleCaptureMessage=1000\nMinimiserSysTray=yes\nMinimiserBoutonX=2\n"
            "DemarrerMinimise= 1 \nGarderPositionTailleFenetre=-1\nCaractereDevantReponseExpediteur=>> \n"
            "[Signature]\nTexte=Jean Dupont¶Accueil\nAjouterAutomatiquement=1\n");
        d.setValue("General", "Langue", "FRA"); // also marks the document as changed, so it is written
    });
    gChargerParametres();
    const Parametres& p = gParametres();
    EXPECT_EQ(p.affichageMessage, AffichageMessage::InfoBulle);
    std::ostringstream got;
    got << p.delaiAttente << ' ' << p.nbMessageMaxHistorique << ' ' << p.intervalleCaptureMessage << ' '
        << p.minimiserSysTray << p.minimiserBoutonX << p.demarrerMinimise << p.garderPositionTailleFenetre;
    // A flag that is not a number keeps its former value (on); only 1 is on, so 2 and -1 are off.
    EXPECT_EQ(got.str(), "750 0 1000 1010");
    EXPECT_TRUE(p.fichierLangue.endsWith("/pv.FRA"));
    // The signature keeps its lines and the reply mark its blank ending.
    EXPECT_EQ(p.signature, "Jean Dupont\r\nAccueil");
    EXPECT_TRUE(p.ajouterSignature);
    EXPECT_EQ(p.caractereDevantReponseExpediteur, ">> ");

    const std::pair<const char*, int> leading[] = {{"12abc", 12}, {"abc", 0}, {"  -7", -7}, {"", 0}, {"+3", 3}};
    for (const auto& [text, value] : leading) {
        EXPECT_EQ(gValeurNombreInitial(text), value) << text;
    }
    const std::pair<const char*, int> strict[]
        = {{"1", 1}, {" 42 ", 42}, {"2.6", 3}, {"1e2", 100}, {"x", -1}, {"", -1}, {"12abc", -1}};
    for (const auto& [text, value] : strict) {
        EXPECT_EQ(gValeurStricte(text).value_or(-1), value) << text;
    }
}

TEST_F(SettingsTest, MessageFontParsing)
{
    // Name, size, bold, italic, underline, colour.
    const std::pair<const char*, const char*> cases[] = {
        {"Arial", "Arial 10 100 8388608"}, // only the face changes
        {"Courier,12,0,1,1,255", "Courier 12 011 255"},
        {"Mono,big,5", "Mono 10 100 8388608"}, // a bad size keeps the former one
        {"", " 10 100 8388608"},
    };
    for (const auto& [text, expected] : cases) {
        PoliceMessage p;
        gAnalyserPoliceMessage(text, p);
        std::ostringstream got;
        got << p.nom.toStdString() << ' ' << p.taille << ' ' << p.gras << p.italique << p.souligne << ' ' << p.couleur;
        EXPECT_EQ(got.str(), expected) << text;
        if (QString(text).count(',') == 5) {
            EXPECT_EQ(gTextePoliceMessage(p), text);
        }
    }
}

// A kept position is saved and restored in tests/app/desktop.sh; a malformed one is none.
TEST_F(SettingsTest, MalformedWindowPositionsAreNone)
{
    for (const char* bad : {"10,20,300", "a,b,c,d", "1,2,0,5", ""}) {
        store("General", "PositionTailleFenetreMessage", bad);
        EXPECT_FALSE(gLirePositionFenetre("PositionTailleFenetreMessage").has_value()) << bad;
    }
}

TEST_F(SettingsTest, AutostartEntry)
{
    gActiverAutostart("/opt/my apps/pilvanor");
    QFile f(gCheminAutostart());
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_TRUE(f.readAll().contains("Exec=\"/opt/my apps/pilvanor\"\n"));
    gDesactiverAutostart();
    EXPECT_FALSE(gAutostartActif());
    EXPECT_NO_THROW(gDesactiverAutostart()) << "switching off twice is fine";
    // An empty entry counts as off.
    ASSERT_TRUE(QFile(gCheminAutostart()).open(QIODevice::WriteOnly));
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
