// Time to open the received-messages history on 5,000 entries, then on 12,000 (about 2 MB, past the 999,999
// characters one read returns: the window shows the newest that fit): from constructing the window to the end of
// mCharger(), offscreen. Target: under 150 ms each. Prints the median of 10 runs and the machine's load.
// cmake --build build --target bench_history_window && build/bin/bench_history_window
#include "common/DataFile.h"
#include "common/IniFile.h"
#include "common/Language.h"
#include "common/Paths.h"
#include "engine/Settings.h"
#include "viewer/frmMessage.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

using namespace pv;

static const QString SourceDir = QStringLiteral(PV_SOURCE_DIR);

namespace {

std::string load()
{
    std::ifstream f("/proc/loadavg");
    std::string a, b, c;
    f >> a >> b >> c;
    return a + " " + b + " " + c;
}

} // namespace

int main(int argc, char** argv)
{
    constexpr int Runs = 10;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_RUNTIME_DIR", home.path().toUtf8());
    for (const char* v : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"}) {
        qunsetenv(v);
    }
    QApplication app(argc, argv);
    gDefinirDossierProgramme(SourceDir + QStringLiteral("/lang"));
    gDefinirFichierParametres(gCheminFichierParametres());
    gDefinirFichierDonnees(gCheminFichierDonneesParDefaut());
    gParametres() = Parametres {};
    gParametres().fichierLangue = SourceDir + QStringLiteral("/lang/pv.ENG");
    // A box would wait for a click; any one is reported instead.
    int boxes = 0;
    setMessageBoxPresenter([&](const QString& text, int, const QString&) {
        std::fprintf(stderr, "box: %s\n", qPrintable(text));
        ++boxes;
        return 0;
    });
    std::printf("machine load %s (1, 5, 15 min) at the start\n", load().c_str());

    // Messages of a few lines ("¶" stands for a line break), from 40 senders.
    const QString text = QStringLiteral("Message from PC-%1 to BOB on 21/11/2026 09:15:00¶¶") + QString(60, 'm')
                         + QStringLiteral("¶") + QString(60, 'n');
    const QDateTime start(QDate(2026, 1, 1), QTime(8, 0));
    bool missed = false;
    for (const int entries : {5000, 12000}) {
        gParametres().nbMessageMaxHistorique = entries;
        IniFile(gFichierDonnees()).update([&](IniDocument& doc) {
            QStringList lignes;
            for (int i = 0; i < entries; ++i) {
                lignes.append(gCleHistorique(start.addSecs(i * 37)) + QLatin1Char('=')
                              + QStringLiteral("PC-%1|").arg(i % 40) + text.arg(i % 40));
            }
            doc.removeSection(QLatin1String(SectionMessageRecu));
            doc.appendLines(QLatin1String(SectionMessageRecu), lignes);
        });
        // What one read returns: all of a small history, the newest lines of a large one.
        const auto shown
            = IniFile(gFichierDonnees()).readSection(QLatin1String(SectionMessageRecu), IniFile::HistoryLimit).size();
        std::printf("history: %d entries, %lld bytes, %lld within the read limit\n",
                    entries,
                    static_cast<long long>(QFileInfo(gFichierDonnees()).size()),
                    static_cast<long long>(shown));

        std::vector<double> ms;
        QElapsedTimer timer;
        for (int i = 0; i < Runs; ++i) {
            timer.start();
            {
                frmMessage w(TypeFenetre::HistoriqueRecu);
                const bool ok = w.mCharger();
                ms.push_back(timer.nsecsElapsed() / 1e6);
                // One line per entry read, the newest first, else the figure would not be for the whole history.
                const QString newest = gFormaterDateHeureCle(gCleHistorique(start.addSecs((entries - 1) * 37)));
                if (!ok || w.cboUtilisateur->count() != shown || !w.cboUtilisateur->itemText(0).startsWith(newest)) {
                    std::fprintf(stderr,
                                 "mCharger: %d, %d lines, first %s\n",
                                 ok,
                                 int(w.cboUtilisateur->count()),
                                 qPrintable(w.cboUtilisateur->itemText(0)));
                    return 1;
                }
            }
            app.processEvents();
        }
        std::vector<double> sorted = ms;
        std::sort(sorted.begin(), sorted.end());
        const double median = (sorted[Runs / 2 - 1] + sorted[Runs / 2]) / 2;
        missed = missed || median > 150;
        std::printf("history window (received, %d entries, %lld shown): median %.1f ms, min %.1f, max %.1f over %d "
                    "runs (target <= 150 ms)%s\n",
                    entries,
                    static_cast<long long>(shown),
                    median,
                    sorted.front(),
                    sorted.back(),
                    Runs,
                    median <= 150 ? "" : "  ** MISSED **");
    }
    std::printf("machine load %s (1, 5, 15 min) at the end\n", load().c_str());
    return boxes == 0 && !missed ? 0 : 1;
}
