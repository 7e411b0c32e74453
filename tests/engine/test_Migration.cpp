#include "TestFiles.h"

#include "common/DataFile.h"
#include "common/Error.h"
#include "common/IniFile.h"
#include "engine/Migration.h"
#include "engine/Settings.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace pv;

namespace {

class MigrationTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        gDefinirFichierParametres(m_dir.filePath("Pilvanor.conf"));
        gDefinirFichierDonnees(m_dir.filePath("Pilvanor.pv"));
        ASSERT_TRUE(test::writeFile(
            gFichierParametres(),
            "[General]\nLangue=FRA\n[Station]\nPC1=Alice\nPC2=Bob\n[StationIgnorerMessage]\nPC2=Bob\nPC3=Carol\n"
            "[Groupe]\nCompta=pc1|PC3|UNKNOWN|\n[MessagePredefini]\n0=Hello\n1=World\n2=Third\n"));
        ASSERT_TRUE(
            test::writeFile(gFichierDonnees(), "[User]\nPC0=Kept|0\n[PredefinedMessage]\n20000101000000=Old\n"));
    }

    static QByteArray lire(const QString& chemin)
    {
        QFile f(chemin);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

    static QString section(const QString& fichier, const char* nom)
    {
        return IniFile(fichier).readSection(nom).join(';');
    }

    QTemporaryDir m_dir;
};

} // namespace

TEST_F(MigrationTest, OldSectionsMoveOnceIntoTheDataFile)
{
    ASSERT_TRUE(gTransfererRegistreFichier(QDateTime(QDate(2024, 1, 2), QTime(3, 4, 59))));
    const QString donnees = gFichierDonnees();
    EXPECT_EQ(section(donnees, SectionUtilisateur), "PC0=Kept|0;PC1=Alice|0;PC2=Bob|1;PC3=Carol|1");
    EXPECT_EQ(section(donnees, SectionGroupe), "Compta=PC1,PC3,UNKNOWN") << "members take their user's spelling";
    EXPECT_EQ(section(donnees, SectionMessagePredefini),
              "20000101000000=Old;20240102030400=Hello;20240102030401=World;20240102030402=Third")
        << "the same minute, consecutive indexes";
    EXPECT_EQ(lire(gFichierParametres()), "[General]\nLangue=FRA\n");
    ASSERT_EQ(gUtilisateurs().size(), 4) << "the tables are reloaded";
    EXPECT_TRUE(gUtilisateurs()[2].ignorer);
    EXPECT_EQ(gMessagesPredefinis().size(), 4);

    const QByteArray avant = lire(donnees);
    EXPECT_FALSE(gTransfererRegistreFichier(QDateTime(QDate(2024, 1, 3), QTime(0, 0))));
    EXPECT_EQ(lire(donnees), avant) << "a second start changes nothing";
}

TEST_F(MigrationTest, AnUnwritableDataFileKeepsTheOldSections)
{
    const QByteArray magasin = lire(gFichierParametres());
    // A folder that cannot be made: its place is taken by a file.
    gDefinirFichierDonnees(m_dir.filePath("Pilvanor.conf/Pilvanor.pv"));
    EXPECT_THROW(gTransfererRegistreFichier(), Error);
    EXPECT_EQ(lire(gFichierParametres()), magasin);
}
