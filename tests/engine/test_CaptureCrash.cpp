// A capture killed with SIGKILL at random moments and restarted neither loses a message nor stores one twice.
#include "common/DataFile.h"
#include "common/IniFile.h"
#include "common/MessengerText.h"
#include "engine/Capture.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"

#include <QDeadlineTimer>
#include <QHash>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

using namespace pv;

namespace {

const QString Entete = QStringLiteral("Message from ALICE to BOB on 21/11/2026 10:00\r\n\r\n");

// A child that captures until killed or, when draining, until the spool is empty.
pid_t startCapture(const QString& folder, bool drain)
{
    if (const pid_t pid = ::fork(); pid != 0) {
        return pid;
    }
    Capture capture(stdText(folder));
    PopupSpool spool(stdText(folder));
    const QDeadlineTimer deadline(60000);
    while (!(drain && spool.count() == 0)) {
        capture.mCapturerMessage();
        if (deadline.hasExpired()) {
            _exit(2);
        }
    }
    _exit(0);
}

QHash<QString, int> stored()
{
    QHash<QString, int> out;
    for (const QString& line : IniFile(gFichierDonnees()).readSection(SectionMessageRecu, IniFile::HistoryLimit)) {
        out[line.section(QLatin1Char('|'), 1)] += 1;
    }
    return out;
}

} // namespace

TEST(CaptureCrash, KilledCaptureLosesNothingAndStoresNothingTwice)
{
    QTemporaryDir dir;
    gDefinirFichierDonnees(dir.filePath("Pilvanor.pv"));
    gDefinirFichierParametres({});
    setHorlogeEssai({});
    gParametres() = Parametres {};
    gParametres().nbMessageMaxHistorique = 1000000;
    gChargerUtilisateurGroupe();
    PopupSpool spool(stdText(dir.filePath("popups")));
    ASSERT_TRUE(QDir().mkpath(qtext(spool.folder())));

    std::mt19937 rng(4242);
    // Each expected text, with the bodies of the pop-ups that carry it; and each stored once in the end.
    QHash<QString, QStringList> expected;
    QHash<QString, int> once;
    constexpr int Rounds = 30;
    for (int round = 0; round < Rounds; ++round) {
        const pid_t pid = startCapture(qtext(spool.folder()), false);
        // Written while the capture runs, one pop-up at a time; every third message comes in three parts.
        for (int next = 3 * round; next < 3 * round + 3; ++next) {
            QString full;
            QStringList bodies;
            for (int i = 1; i <= (next % 3 == 0 ? 3 : 1); ++i) {
                const QString part = QStringLiteral("m%1p%2;").arg(next).arg(i);
                bodies.append(next % 3 != 0 ? part : QStringLiteral("[0%1/03]\r\n").arg(i) + part);
                full += part;
                ASSERT_TRUE(
                    spool.write(Popup {"Messenger Service ", stdText(Entete + bodies.last()), {}, {}, {}, {}, {}}));
            }
            expected.insert(full, bodies);
            once.insert(full, 1);
        }
        ::usleep(static_cast<useconds_t>(200 + rng() % 15000));
        ::kill(pid, SIGKILL);
        int status = 0;
        ::waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "capture ended on its own: " << status;

        const QHash<QString, int> history = stored();
        QSet<QString> waiting;
        for (const Popup& p : spool.all()) {
            waiting.insert(qtext(p.text).mid(Entete.size()));
        }
        for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
            ASSERT_LE(history.value(it.key()), 1) << "stored twice: " << it.key().toStdString() << " round " << round;
            for (const QString& body : it.value()) {
                ASSERT_TRUE(history.contains(it.key()) || waiting.contains(body))
                    << "lost " << body.toStdString() << " in round " << round;
            }
        }
    }

    EXPECT_GT(stored().size(), Rounds) << "the killed captures should have stored messages between kills";
    int status = 0;
    ::waitpid(startCapture(qtext(spool.folder()), true), &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(stored(), once);
    EXPECT_EQ(spool.count(), 0u);
}
