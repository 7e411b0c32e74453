// A capture killed with SIGKILL at random moments and restarted neither loses a message nor stores one twice.
#include "common/DataFile.h"
#include "common/IniFile.h"
#include "engine/Capture.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"

#include <QElapsedTimer>
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

// Captures until killed or, when draining, until the spool is empty.
[[noreturn]] void captureLoop(const QString& folder, bool drain)
{
    Capture capture(folder);
    PopupSpool spool(folder);
    QElapsedTimer timer;
    timer.start();
    for (;;) {
        capture.mCapturerMessage();
        if (drain && spool.count() == 0) {
            _exit(0);
        }
        if (timer.elapsed() > 60000) {
            _exit(2);
        }
    }
}

pid_t startCapture(const QString& folder, bool drain)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        captureLoop(folder, drain);
    }
    return pid;
}

// Stored texts and how often each was stored.
QHash<QString, int> stored()
{
    QHash<QString, int> out;
    for (const QString& line :
         IniFile(gFichierDonnees()).readSection(QLatin1String(SectionMessageRecu), IniFile::HistoryLimit)) {
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
    PopupSpool spool(dir.filePath("popups"));
    ASSERT_TRUE(QDir().mkpath(spool.folder()));

    std::mt19937 rng(4242);
    std::uniform_int_distribution<int> delayUs(200, 15000);
    // Each expected text, with the bodies of the pop-ups that carry it.
    QHash<QString, QStringList> expected;
    int next = 0;
    constexpr int Rounds = 30;
    for (int round = 0; round < Rounds; ++round) {
        const pid_t pid = startCapture(spool.folder(), false);
        // Written while the capture runs, one pop-up at a time; every third message comes in three parts.
        for (int k = 0; k < 3; ++k, ++next) {
            QStringList bodies;
            QString full;
            if (next % 3 == 0) {
                for (int i = 1; i <= 3; ++i) {
                    const QString part = QStringLiteral("m%1p%2;").arg(next).arg(i);
                    bodies.append(QStringLiteral("[%1/03]\r\n").arg(i, 2, 10, QLatin1Char('0')) + part);
                    full += part;
                }
            } else {
                full = QStringLiteral("m%1;").arg(next);
                bodies.append(full);
            }
            expected.insert(full, bodies);
            for (const QString& body : bodies) {
                ASSERT_TRUE(
                    spool.write(Popup {QStringLiteral("Messenger Service "), Entete + body, {}, {}, {}, {}, {}}));
            }
        }
        ::usleep(static_cast<useconds_t>(delayUs(rng)));
        ::kill(pid, SIGKILL);
        int status = 0;
        ::waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "capture ended on its own: " << status;

        const QHash<QString, int> history = stored();
        QSet<QString> waiting;
        for (const Popup& p : spool.all()) {
            waiting.insert(p.text.mid(Entete.size()));
        }
        for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
            const int times = history.value(it.key());
            ASSERT_LE(times, 1) << "stored twice: " << it.key().toStdString() << " in round " << round;
            if (times == 0) {
                for (const QString& body : it.value()) {
                    ASSERT_TRUE(waiting.contains(body)) << "lost " << body.toStdString() << " in round " << round;
                }
            }
        }
    }

    EXPECT_GT(stored().size(), Rounds) << "the killed captures should have stored messages between kills";
    const pid_t pid = startCapture(spool.folder(), true);
    int status = 0;
    ::waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    const QHash<QString, int> history = stored();
    EXPECT_EQ(history.size(), expected.size());
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        EXPECT_EQ(history.value(it.key()), 1) << it.key().toStdString();
    }
    EXPECT_EQ(spool.count(), 0);
}
