#include "TestFiles.h"

#include "common/Paths.h"
#include "engine/StartUp.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace pv;

namespace {

class StartUpTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qputenv("HOME", m_home.path().toUtf8());
        qunsetenv("XDG_DATA_HOME");
        QDir().mkpath(m_program.path());
    }
    QTemporaryDir m_home;
    QTemporaryDir m_program;
};

} // namespace

TEST_F(StartUpTest, OldHistoriesAreSetAsideInPlace)
{
    ASSERT_TRUE(test::writeFile(m_program.filePath("Incoming.pv"), "old in"));
    ASSERT_TRUE(test::writeFile(m_program.filePath("Outgoing.pv24"), "set aside before"));
    ASSERT_TRUE(test::writeFile(m_program.filePath("Outgoing.pv"), "old out"));
    gMettreDeCoteAnciensHistoriques(m_program.path());
    EXPECT_FALSE(QFile::exists(m_program.filePath("Incoming.pv")));
    EXPECT_TRUE(QFile::exists(m_program.filePath("Incoming.pv24")));
    QFile kept(m_program.filePath("Outgoing.pv24"));
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), "set aside before") << "an earlier set-aside file is never overwritten";
}

TEST_F(StartUpTest, DataFolderIsCreatedAndANeighbourDataFileMovedIn)
{
    ASSERT_TRUE(test::writeFile(m_program.filePath("Pilvanor.pv"), "[User]\nPC1=a|0\n"));
    QList<ProblemeDemarrage> problems;
    const QString path = gPreparerDossierDonnees(m_program.path(), problems);
    EXPECT_TRUE(problems.isEmpty());
    EXPECT_EQ(path, m_home.filePath(".local/share/Pilvanor/Pilvanor.pv"));
    QFile moved(path);
    ASSERT_TRUE(moved.open(QIODevice::ReadOnly));
    EXPECT_EQ(moved.readAll(), "[User]\nPC1=a|0\n");
    EXPECT_FALSE(QFile::exists(m_program.filePath("Pilvanor.pv")));

    // Once a data file exists, a newer neighbour never replaces it.
    ASSERT_TRUE(test::writeFile(m_program.filePath("Pilvanor.pv"), "other"));
    gPreparerDossierDonnees(m_program.path(), problems);
    EXPECT_TRUE(QFile::exists(m_program.filePath("Pilvanor.pv")));
}
