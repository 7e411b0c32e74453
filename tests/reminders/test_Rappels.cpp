#include "common/IniFile.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"
#include "reminders/Rappels.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace pv;

namespace {

// Readable in failures.
std::string t(const QString& s)
{
    return s.toStdString();
}

QDateTime instant(const char* texte)
{
    return QDateTime::fromString(QLatin1String(texte), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

class RappelsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        gDefinirFichierParametres(m_dir.filePath("settings.ini"));
    }
    void TearDown() override
    {
        setHorlogeEssai({});
        gDefinirFichierParametres({});
    }

    QTemporaryDir m_dir;
};

} // namespace

// 2026-11-18 is a Wednesday.
TEST_F(RappelsTest, FirstOccurrenceOnSave)
{
    struct Cas
    {
        const char* nom;
        const char* horloge;
        QString saisie;  // kind;date;time;day positions (Monday 0);message;key when modifying
        QString attendu; // key=value, or the refused control and the message key
    };
    const Cas cas[] = {
        {"once, this minute", "2026-11-18 14:30:40", "0;2026-11-18;14:30;;Hi;", "0:DateHeureRappelInvalide"},
        {"once, next minute", "2026-11-18 14:30:40", "0;2026-11-18;14:31;;Hi;", "20261118143040=0|20261118|1431|Hi"},
        {"once, yesterday", "2026-11-18 14:30:40", "0;2026-11-17;23:59;;Hi;", "0:DateHeureRappelInvalide"},
        {"time before message", "2026-11-18 14:30:40", "0;2026-11-18;14:30;;;", "0:DateHeureRappelInvalide"},
        {"daily, this minute", "2026-11-18 14:30:40", "1;;14:30;;Hi;", "20261118143040=1|20261119|1430|Hi"},
        {"daily, next minute", "2026-11-18 14:30:40", "1;;14:31;;Hi;", "20261118143040=1|20261118|1431|Hi"},
        {"weekly, today ahead", "2026-11-18 09:00:00", "2;;10:00;4,0,2;Hi;", "20261118090000=2|20261118|1000|Hi|1,3,5"},
        {"weekly, today past", "2026-11-18 09:00:00", "2;;08:00;0,2,4;Hi;", "20261118090000=2|20261120|0800|Hi|1,3,5"},
        {"weekly, Saturday", "2026-11-21 09:00:00", "2;;10:00;0,2,4;Hi;", "20261121090000=2|20261123|1000|Hi|1,3,5"},
        {"weekly, Sunday passed", "2026-11-22 10:00:00", "2;;09:00;6;Hi;", "20261122100000=2|20261129|0900|Hi|7"},
        {"weekly, no day", "2026-11-18 09:00:00", "2;;10:00;;;", "1:SelectionJourObligatoire"},
        {"no message", "2026-11-18 09:00:00", "1;;10:00;;;", "2:MessageObligatoire"},
        {"a bar", "2026-11-18 09:00:00", "1;;10:00;;Call\nBob|now;", "20261118090000=1|20261118|1000|Call¶Bob|now"},
        {"modified keeps its key", "2026-11-18 09:00:00", "1;;10:00;;Hi;K1", "K1=1|20261118|1000|Hi"},
        {"daily, month end", "2026-11-30 23:50:00", "1;;08:00;;Hi;", "20261130235000=1|20261201|0800|Hi"},
        {"weekly, year end", "2026-12-31 10:00:00", "2;;09:00;0;Hi;", "20261231100000=2|20270104|0900|Hi|1"},
    };
    for (const Cas& c : cas) {
        setHorlogeEssai(instant(c.horloge));
        const QStringList f = c.saisie.split(';');
        SaisieRappel s;
        s.type = f[0].toInt();
        s.date = QDate::fromString(f[1], Qt::ISODate);
        s.heure = QTime::fromString(f[2], QStringLiteral("HH:mm"));
        for (const QString& j : f[3].split(',', Qt::SkipEmptyParts)) {
            s.jours.append(j.toInt());
        }
        s.message = f[4];
        s.cle = f[5];
        const auto r = gPreparerRappel(s);
        const auto* refus = std::get_if<RefusRappel>(&r);
        const QString obtenu = refus ? QString::number(int(refus->champ)) + ':' + QLatin1String(refus->cleMessage)
                                     : std::get<RappelPrepare>(r).cle + '=' + std::get<RappelPrepare>(r).valeur;
        EXPECT_EQ(t(obtenu), t(c.attendu)) << c.nom;
    }
}

TEST_F(RappelsTest, RescheduledFromTheClosingInstant)
{
    struct Cas
    {
        const char* nom;
        const char* horloge;
        QString rappel;
        int duree, temps;
        QString attendu;
    };
    const Cas cas[] = {
        {"15 minutes", "2026-11-18 10:07:40", "0|20261118|1007|Hi", 15, 0, "0|20261118|1022|Hi"},
        {"2 hours from 23:30", "2026-11-18 23:30:00", "0|20261118|2330|Hi", 2, 1, "0|20261119|0130|Hi"},
        {"99 hours from now, not its time", "2026-11-18 10:07:40", "0|20261101|0800|Hi", 99, 1, "0|20261122|1307|Hi"},
        {"once, across the year", "2026-12-31 23:45:10", "0|20261231|2345|Hi", 30, 0, "0|20270101|0015|Hi"},
        {"daily missed, fired at 08:00", "2026-11-18 08:00:00", "1|20261115|1700|Hi", 0, 0, "1|20261118|1700|Hi"},
        {"daily missed, fired at 18:00", "2026-11-18 18:00:00", "1|20261115|1700|Hi", 0, 0, "1|20261119|1700|Hi"},
        {"daily on time", "2026-11-18 08:00:30", "1|20261118|0800|Hi", 0, 0, "1|20261119|0800|Hi"},
        {"daily across the year", "2026-12-31 08:00:00", "1|20261231|0800|Hi", 0, 0, "1|20270101|0800|Hi"},
        {"a bar in the message", "2026-11-18 18:00:00", "1|20261115|1700|a|b|c", 0, 0, "1|20261119|1700|a|b|c"},
        {"weekly", "2026-11-18 10:00:20", "2|20261116|1000|Hi|1,3,5", 0, 0, "2|20261120|1000|Hi|1,3,5"},
        {"weekly, one day", "2026-11-22 09:00:00", "2|20261122|0900|Hi|7", 0, 0, "2|20261129|0900|Hi|7"},
        {"another kind", "2026-11-18 10:00:00", "7|20261118|0800|Hi", 0, 0, "7|20261118|0800|Hi"},
        {"too few fields", "2026-11-18 10:00:00", "0|20261118", 15, 0, "0|20261118"},
    };
    for (const Cas& c : cas) {
        setHorlogeEssai(instant(c.horloge));
        EXPECT_EQ(t(gReceduler(c.rappel.split('|'), c.duree, c.temps).join('|')), t(c.attendu)) << c.nom;
    }
}

TEST(Rappels, DueFromItsMinuteOn)
{
    const std::pair<QString, bool> cas[] = {
        {"0|20261118|1430|x", true},
        {"2|20261118|1431|x|3", false},
        {"1|20261117|2359|x", true},
        {"0|20261118", false},
        {"0|||", false},
    };
    for (const auto& [valeur, du] : cas) {
        EXPECT_EQ(gRappelDu(valeur.split('|'), "202611181430"), du) << t(valeur);
    }
    EXPECT_EQ(t(gMomentRappel("202611181430")), "2026/11/18 14:30");
}

TEST_F(RappelsTest, ListRowsInStoreOrder)
{
    setHorlogeEssai(instant("2026-11-18 09:00:00"));
    IniFile(gFichierParametres()).update([](IniDocument& d) {
        d.setValue("Rappel", "3", QString::fromUtf8("0|20261118|1430|Call¶Bob"));
        d.setValue("Rappel", "1", "1|20261119|0800|a|b");
        d.setValue("Rappel", "2", "2|20261120|0800|w|1,5");
        d.setValue("Rappel", "4", "broken");
    });
    const QList<LigneRappel> lignes = gLireRappels(QStringLiteral(PV_SOURCE_DIR "/lang/pv.ENG"));
    QStringList obtenu;
    for (const LigneRappel& l : lignes) {
        obtenu.append(l.cle + ':' + l.colonnes.join('/'));
    }
    EXPECT_EQ(t(obtenu.join('\n')),
              "3:Once at 14:30 on 2026-11-18/Today at 14:30/Call¶Bob\n"
              "1:Every day at 08:00/2026-11-19 at 08:00/a\n"
              "2:Every week at 08:00/2026-11-20 at 08:00/w\n"
              "4:broken at   :  /    -  -   at   :  /");
    EXPECT_EQ(t(lignes[2].jours), "1,5");
}

TEST(Rappels, RepeatDurationBox)
{
    const std::tuple<QString, int, QString> cas[] = {
        // text, arrow (0: typed), resulting text
        {"", 0, "1"},
        {"0", 0, "1"},
        {"15", 0, "15"},
        {"1", -1, "1"},
        {"98", 1, "99"},
        {"99", 1, "99"},
        {"150", 1, "150"}, // typed above 99
        {"150", -1, "149"},
    };
    for (const auto& [texte, fleche, attendu] : cas) {
        const QString obtenu = fleche == 0 ? gDureeRepetitionSaisie(texte) : gDureeRepetitionFleche(texte, fleche);
        EXPECT_EQ(t(obtenu), t(attendu)) << t(texte) << ' ' << fleche;
    }
}
