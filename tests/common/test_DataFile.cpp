#include "TestFiles.h"

#include "common/DataFile.h"
#include "common/IniFile.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace pv;

namespace {

class DataFileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        gDefinirFichierDonnees(m_dir.filePath("Pilvanor.pv"));
    }

    void writeFile(const QByteArray& bytes)
    {
        ASSERT_TRUE(test::writeFile(gFichierDonnees(), bytes));
        gChargerUtilisateurGroupe();
        gChargerMessagePredefini();
    }

    QTemporaryDir m_dir;
};

} // namespace

TEST_F(DataFileTest, LoadersReadEveryRecordForm)
{
    writeFile("[User]\nPC12=Accueil|0\nPC-ACCUEIL=Reception desk [ground floor]|1\nPC3=Desk|true\nPC4=Desk|\n"
              "PC5=no bar at all\nline without equals\nPC6=a|b|1\n"
              "[PredefinedMessage]\n20031205143007=Hello¶World = 1 | 2\n");
    QStringList users; // station=description, ! when ignored
    for (const auto& u : gUtilisateurs()) {
        users.append(u.station + '=' + u.description + (u.ignorer ? "!" : ""));
    }
    EXPECT_EQ(users.join(';'),
              "PC12=Accueil;PC-ACCUEIL=Reception desk [ground floor]!;PC3=Desk;PC4=Desk;PC5=no bar at all;PC6=a");
    EXPECT_TRUE(gGroupes().isEmpty()) << "an absent section loads as empty while users still load";
    ASSERT_EQ(gMessagesPredefinis().size(), 1);
    EXPECT_EQ(gDecoderTexte(gMessagesPredefinis()[0].texte), "Hello\r\nWorld = 1 | 2");
}

TEST_F(DataFileTest, LookUps)
{
    writeFile("[User]\nPC12=Accueil|0\nPC13=Accueil|1\n[Group]\nCompta=PC12,PC13\ncompta=X\n");
    bool found = false;
    EXPECT_EQ(gRechercherUtilisateur("pc12", false, &found).description, "Accueil");
    EXPECT_TRUE(found);
    EXPECT_EQ(gRechercherUtilisateur("Accueil", true, &found).station, "PC12") << "the first match wins";
    EXPECT_TRUE(found);
    const auto unknown = gRechercherUtilisateur("accueil", true, &found);
    EXPECT_FALSE(found) << "descriptions compare with case";
    EXPECT_EQ(unknown.station, "accueil");
    EXPECT_EQ(unknown.description, "accueil");
    EXPECT_EQ(gRechercherGroupe("Compta").membres, "PC12,PC13");
    EXPECT_EQ(gRechercherGroupe("compta").membres, "X") << "group names compare with case";
    EXPECT_EQ(gRechercherGroupe("COMPTA").membres, "");
}

// How a chooser line names its station.
TEST(RecordEncodings, StationOfAShownName)
{
    const std::pair<QString, QString> stations[] = {{"PC12", "PC12"},
                                                    {"PC12 (Accueil)", "PC12"},
                                                    {"PC(1) (Desk)", "P"},
                                                    {"(odd)", ""}}; // a "(" in the name cuts there
    for (const auto& [shown, station] : stations) {
        EXPECT_EQ(gObtenirStation(shown), station) << shown.toStdString();
    }
}

TEST_F(DataFileTest, TrimmingKeepsTheHistoryUnderItsMaximum)
{
    // Stored, maximum, removed.
    const int cases[][3] = {{50, 50, 1}, {57, 50, 8}, {49, 50, 0}, {0, 50, 0}, {3, 0, 3}};
    for (const auto& [stored, maximum, removed] : cases) {
        IniFile(gFichierDonnees()).update([&](IniDocument& d) {
            d.removeSection(SectionMessageRecu);
            for (int i = 0; i < stored; ++i) {
                d.setValue(SectionMessageRecu, QString::number(20000000000000000LL + i), "PC|text");
            }
        });
        EXPECT_EQ(gVerifierNbMessageHistorique(false, maximum), removed) << stored << "/" << maximum;
        const auto entries = gLireHistorique(false);
        EXPECT_EQ(entries.size(), stored - removed);
        // The oldest went: what is left starts with the first one kept.
        EXPECT_EQ(entries.value(0).cle, stored > removed ? QString::number(20000000000000000LL + removed) : QString());
    }
}

TEST_F(DataFileTest, ABatchKeepsArrivalKeysAndTheMaximum)
{
    // Keys already there, milliseconds after T of the new entries, maximum; then the keys given and those left.
    const QDateTime T(QDate(2026, 12, 31), QTime(23, 59, 59, 998));
    const QString A = "20261231235959998", B = "20261231235959999", C = "20270101000000000", D = "20270101000000001";
    struct Cas
    {
        QStringList avant;
        QList<int> ms;
        int maximum;
        QStringList donnees, restent;
    };
    const Cas cas[] = {
        // One millisecond for all: each moves on past the others, over the end of the year.
        {{}, {0, 0, 0}, 10, {A, B, C}, {A, B, C}},
        {{B}, {0, 0}, 10, {A, C}, {B, A, C}},
        {{A, C}, {1, 0}, 10, {B, D}, {A, C, B, D}},
        // Out of order: the earlier one keeps its own time.
        {{}, {3, 0}, 10, {D, A}, {D, A}},
        {{"20260101000000000", "20260101000000001"}, {0}, 2, {A}, {"20260101000000001", A}},
        // Past the maximum alone: the oldest new ones go too.
        {{"20260101000000000"}, {0, 1, 2}, 2, {A, B, C}, {B, C}},
    };
    for (const Cas& c : cas) {
        QStringList restent;
        QStringList donnees;
        IniFile(gFichierDonnees()).update([&](IniDocument& d) {
            d.removeSection(SectionMessageRecu);
            for (const QString& cle : c.avant) {
                d.setValue(SectionMessageRecu, cle, "PC|old");
            }
            QList<NouvelleEntreeHistorique> entrees;
            for (const int ms : c.ms) {
                entrees.append({T.addMSecs(ms), "PC|new"});
            }
            donnees = gAjouterHistorique(d, false, entrees, c.maximum);
            for (const QString& ligne : d.sectionLines(SectionMessageRecu)) {
                restent.append(iniLineKey(ligne));
            }
        });
        EXPECT_EQ(donnees, c.donnees) << c.avant.join(',').toStdString();
        EXPECT_EQ(restent, c.restent) << c.avant.join(',').toStdString();
    }
}

TEST_F(DataFileTest, HistoryRecordsRoundTripAndStayBounded)
{
    QDateTime t(QDate(2026, 11, 21), QTime(9, 0));
    for (int i = 0; i < 7; ++i) {
        gEnregistrerHistorique(true, "PC12", QStringLiteral("line %1\r\nwith = and | inside").arg(i), 5, t.addMSecs(i));
    }
    const auto entries = gLireHistorique(true);
    ASSERT_EQ(entries.size(), 5);
    EXPECT_EQ(entries.first().texte, "line 2\r\nwith = and | inside");
    EXPECT_EQ(entries.last().station, "PC12");
    EXPECT_EQ(entries.last().cle, "20261121090000006");
    EXPECT_TRUE(gLireHistorique(false).isEmpty()) << "the other history is untouched";
    gSupprimerHistorique(true);
    EXPECT_TRUE(gLireHistorique(true).isEmpty());
}

TEST_F(DataFileTest, AHistoryPastTheReadLimitShowsItsNewestEntries)
{
    // 5,000 entries of about 270 characters: some 1.37 million, more than one read returns.
    const auto cle = [](int i) { return QString::number(20000000000000000LL + i); };
    QStringList lignes;
    for (int i = 0; i < 5000; ++i) {
        lignes.append(cle(i) + "=PC12|" + QString(250, 'x') + QString::number(i));
    }
    IniFile(gFichierDonnees()).update([&](IniDocument& d) { d.replaceSection(SectionMessageRecu, lignes); });
    const auto entries = gLireHistorique(false);
    ASSERT_GT(entries.size(), 3000);
    ASSERT_LT(entries.size(), 5000);
    EXPECT_EQ(entries.last().cle, cle(4999)) << "the newest entry shows";
    EXPECT_EQ(entries.first().cle, cle(5000 - entries.size())) << "only the oldest are left out";
    EXPECT_EQ(gVerifierNbMessageHistorique(false, 4000), 1001) << "the trimming counts the whole section";
}

TEST_F(DataFileTest, HostileFileLoadsWhatItCan)
{
    QByteArray bytes = "no section line\n[User]\nPC1=ok|0\n=empty key\n[Group]\nG=PC1\n[PredefinedMessage]\n";
    // A 2 MB section: loads up to the read limit, never crashes.
    for (int i = 0; i < 20000; ++i) {
        bytes += QByteArray::number(i) + "=" + QByteArray(100, 'x') + "\n";
    }
    bytes += "[Tail]\nbad\xFF\xFEutf8=1"; // invalid UTF-8, no final newline
    writeFile(bytes);
    ASSERT_EQ(gUtilisateurs().size(), 1);
    EXPECT_EQ(gUtilisateurs()[0].station, "PC1");
    ASSERT_EQ(gGroupes().size(), 1);
    EXPECT_EQ(gGroupes()[0].membres, "PC1");
    EXPECT_GT(gMessagesPredefinis().size(), 100);
    EXPECT_LT(gMessagesPredefinis().size(), 20000);
}
