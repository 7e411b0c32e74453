#include "TestFiles.h"

#include "addressbook/CarnetAdresses.h"
#include "common/DataFile.h"
#include "common/Error.h"
#include "common/IniFile.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace pv;

namespace {

class CarnetTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        gDefinirFichierDonnees(m_dir.filePath("Pilvanor.pv"));
        ecrire("Pilvanor.pv", "[User]\nPC1=Alice|0\nPC2=Bob|1\n[Group]\nA=PC1\n");
    }

    void ecrire(const QString& nom, const QByteArray& octets)
    {
        ASSERT_TRUE(test::writeFile(m_dir.filePath(nom), octets));
        gChargerUtilisateurGroupe();
    }

    static QString section(const char* nom) { return IniFile(gFichierDonnees()).readSection(nom).join(';'); }

    QTemporaryDir m_dir;
};

QString refus(const std::optional<Refus>& r)
{
    return r ? QString::fromLatin1(r->cleMessage) + '@' + QString::number(int(r->champ)) : QStringLiteral("ok");
}

} // namespace

TEST_F(CarnetTest, UserChecksInTheirOrder)
{
    const auto S = int(Champ::NomStation), D = int(Champ::Description);
    struct Cas
    {
        const char *station, *description, *stationChargee, *descriptionChargee;
        QString attendu;
    } const cas[] = {
        {"", "", "", "", "StationIPObligatoire@" + QString::number(S)},
        {"PC1", "", "", "", "StationDescObligatoire@" + QString::number(D)},
        {"PC3", "Carol", "", "", "ok"},
        {"PC1", "Carol", "", "", "StationExistante@" + QString::number(S)},
        {"pc1", "Carol", "", "", "StationExistante@" + QString::number(S)},
        {"PC3", "alice", "", "", "DescriptionExistante@" + QString::number(D)},
        {"PC1", "Alice", "PC1", "Alice", "ok"}, // saved unchanged
        {"PC9", "Alice", "PC1", "Alice", "ok"}, // renamed
        {"PC1", "Bob", "PC1", "Alice", "DescriptionExistante@" + QString::number(D)},
        {"PC2", "Alice", "PC1", "Alice", "StationExistante@" + QString::number(S)},
        {"PC=3", "Carol", "", "", "CaractereInterdit@" + QString::number(S)},
        {"PC3", "a|b", "", "", "CaractereInterdit@" + QString::number(D)},
        {"#PC3", "Carol", "", "", "CaractereInterdit@" + QString::number(S)}, // it would read back as a comment
        {";PC3", "Carol", "", "", "CaractereInterdit@" + QString::number(S)},
        {"PC#3", "Carol", "", "", "ok"},
    };
    for (const Cas& c : cas) {
        EXPECT_EQ(refus(gVerifierUtilisateur(
                      {c.station, c.description}, c.stationChargee, c.descriptionChargee, gUtilisateurs())),
                  c.attendu)
            << c.station << " / " << c.description;
    }
}

TEST_F(CarnetTest, GroupChecksInTheirOrder)
{
    const auto N = int(Champ::NomGroupe), M = int(Champ::Membres);
    struct Cas
    {
        const char* nom;
        QStringList membres;
        const char* nomCharge;
        QString attendu;
    } const cas[] = {
        {"", {}, "", "NomGroupeObligatoire@" + QString::number(N)},
        {"A", {}, "", "UtilisateurGroupeObligatoire@" + QString::number(M)}, // before the duplicate name
        {"A", {"PC1"}, "", "GroupeExistant@" + QString::number(N)},
        {"a", {"PC1"}, "", "ok"},  // group names keep their case
        {"A", {"PC1"}, "B", "ok"}, // renaming onto a taken name is allowed
        {"A=B", {"PC1"}, "", "CaractereInterdit@" + QString::number(N)},
        {"#Sales", {"PC1"}, "", "CaractereInterdit@" + QString::number(N)},
        {" ;Sales", {"PC1"}, "", "CaractereInterdit@" + QString::number(N)},
        {"Sales #1; ok", {"PC1"}, "", "ok"},
    };
    for (const Cas& c : cas) {
        EXPECT_EQ(refus(gVerifierGroupe(c.nom, c.membres, c.nomCharge, gGroupes())), c.attendu) << c.nom;
    }
}

TEST_F(CarnetTest, EditorWritesReplaceParenthesesAndRenamesRemoveTheOldKey)
{
    gEnregistrerUtilisateur({"PC3", "Bureau (2e)", false}, "");
    gEnregistrerUtilisateur({"PC9", "Bob", true}, "PC2");
    gEnregistrerUtilisateur({"PC1", "Alice", true}, "PC1");
    EXPECT_EQ(section(SectionUtilisateur), "PC1=Alice|1;PC3=Bureau [2e]|0;PC9=Bob|1");

    gEnregistrerGroupe("B", {"PC1", "PC3"}, "");
    gEnregistrerGroupe("B", {"PC9"}, "A"); // renamed onto B: B takes A's place, A goes
    EXPECT_EQ(section(SectionGroupe), "B=PC9");

    EXPECT_EQ(gAjouterStations({"PC1", "NEWPC", "NEWPC", "BAD,NAME", "", "#HIDDEN"}), 1);
    EXPECT_TRUE(section(SectionUtilisateur).endsWith(";NEWPC=NEWPC|0"));
    EXPECT_TRUE(section(SectionUtilisateur).startsWith("PC1=Alice|1;")) << "a known station is left as it is";
}

TEST_F(CarnetTest, ImportLines)
{
    struct Cas
    {
        const char* ligne;
        const char* enregistrement; // the record written; "" none (known or skipped)
    } const cas[] = {
        {"ws01\tCompta\t1", "WS01=Compta|1"},
        {"WS02", "WS02=WS02|0"},
        {"ws03\tBureau (2e)", "WS03=Bureau (2e)|0"}, // the import keeps parentheses
        {"WS04\tDesk\t0\textra", "WS04=Desk|0"},
        {"PC1\tOther\t1", ""}, // known: unchanged, still returned
        {"pc2", ""},
        {"\tno station", ""},
        {"", ""},
        {"A=B\tx", ""},
        {"#ws06\tcomment", ""},
        {";ws07", ""},
        {"ws05\tCR LF\r", "WS05=CR LF|0"},
    };
    QByteArray fichier;
    QStringList attendus {"PC1=Alice|0", "PC2=Bob|1"};
    for (const Cas& c : cas) {
        fichier += QByteArray(c.ligne) + '\n';
        if (*c.enregistrement) {
            attendus.append(c.enregistrement);
        }
    }
    ecrire("import.txt", fichier);
    const ResultatImport r = gImporterUtilisateurs(m_dir.filePath("import.txt"));
    EXPECT_EQ(r.stations.join('|'), "WS01|WS02|WS03|WS04|PC1|PC2|WS05");
    EXPECT_EQ(r.lignesIgnorees, 5);
    EXPECT_EQ(r.ajoutes, 5);
    EXPECT_EQ(section(SectionUtilisateur), attendus.join(';'));

    EXPECT_THROW(gImporterUtilisateurs(m_dir.filePath("missing.txt")), Error);
    EXPECT_EQ(section(SectionUtilisateur), attendus.join(';'));
}

TEST_F(CarnetTest, MembersAsTheGroupsListShowsThem)
{
    const std::tuple<const char*, bool, const char*> cas[] = {
        {"PC1,PC2", false, "Alice; Bob"},
        {"PC1,PC2", true, "Alice (PC1); Bob (PC2)"},
        {"pc1,GONE", false, "Alice; "}, // a member that is no longer a user shows no description
        {"GONE", true, " (GONE)"},
        {"", true, ""},
    };
    for (const auto& [membres, avecStation, attendu] : cas) {
        EXPECT_EQ(gAfficherMembres(membres, gUtilisateurs(), avecStation), attendu) << membres << avecStation;
    }
    EXPECT_EQ(gAjouterMembres({"PC1"}, {"PC2", "PC1", "PC2", "pc2"}), QStringList({"PC1", "PC2", "pc2"}));
}
