#include "TestFiles.h"

#include "common/Paths.h"
#include "engine/LigneCommande.h"
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

// A start's command line, and how the request travels to the running instance.
TEST(LigneCommande, ReadsTheRequest)
{
    using A = Demande::Action;
    const std::tuple<QStringList, A, QString> cases[] = {
        {{}, A::Afficher, ""},
        {{"--show"}, A::Afficher, ""},
        {{"--new-message"}, A::NouveauMessage, ""},
        {{"--new-message", " pc9,Pc10 "}, A::NouveauMessage, "PC9,PC10"},
        {{"--new-message", "--show"}, A::Afficher, ""}, // the station is optional, an option is none
        {{"--help"}, A::Aide, ""},
    };
    qputenv("XDG_ACTIVATION_TOKEN", "jeton-42");
    for (const auto& [arguments, action, station] : cases) {
        const Demande d = gLireLigneCommande(QStringList {"pilvanor"} + arguments);
        EXPECT_EQ(d.action, action) << arguments.join(' ').toStdString();
        EXPECT_EQ(d.station, station) << arguments.join(' ').toStdString();
        EXPECT_EQ(d.jeton, "jeton-42");
    }
    qunsetenv("XDG_ACTIVATION_TOKEN");
    for (const QStringList& wrong : {QStringList {"--shwo"}, {"--new-message", "PC 9"}, {"--new-message", "A\tB"}}) {
        EXPECT_THROW(gLireLigneCommande(QStringList {"pilvanor"} + wrong), std::invalid_argument)
            << wrong.join(' ').toStdString();
    }
}

TEST(LigneCommande, RequestLineGoesThereAndBack)
{
    // A plain start says what it always said.
    EXPECT_EQ(gEncoderDemande({}), "show\n");
    for (const Demande& d : {Demande {Demande::Action::Afficher, "", "tok"},
                             Demande {Demande::Action::NouveauMessage, "", ""},
                             Demande {Demande::Action::NouveauMessage, "PC9,PC10", "tok"}}) {
        const QByteArray ligne = gEncoderDemande(d);
        EXPECT_EQ(gDecoderDemande(ligne), d) << ligne.toStdString();
    }
    for (const QByteArray wrong :
         {"show", "quit\n", "show\tPC9\n", "new-message\tPC 9\t\n", "new-message\tPC9\tt\x01k\n", "show\t\t\t\n"}) {
        EXPECT_FALSE(gDecoderDemande(wrong)) << wrong.toStdString();
    }
}
