// Time to open the received-messages history on 5,000 entries: from constructing the window to the end of
// mCharger(), offscreen. Target: under 150 ms. Prints the median of 10 runs.
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
#include <vector>

using namespace pv;

static const QString SourceDir = QFileInfo(QStringLiteral(__FILE__)).absolutePath() + QStringLiteral("/..");

int main(int argc, char** argv)
{
    constexpr int Entries = 5000;
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
    gParametres().nbMessageMaxHistorique = Entries;
    // A box would wait for a click; any one is reported instead.
    int boxes = 0;
    setMessageBoxPresenter([&](const QString& text, int, const QString&) {
        std::fprintf(stderr, "box: %s\n", qPrintable(text));
        ++boxes;
        return 0;
    });

    // Messages of a few lines ("¶" stands for a line break), from 40 senders.
    const QString text = QStringLiteral("Message from PC-%1 to BOB on 21/11/2026 09:15:00¶¶") + QString(60, 'm')
                         + QStringLiteral("¶") + QString(60, 'n');
    const QDateTime start(QDate(2026, 1, 1), QTime(8, 0));
    IniFile(gFichierDonnees()).update([&](IniDocument& doc) {
        for (int i = 0; i < Entries; ++i) {
            doc.setValue(QLatin1String(SectionMessageRecu),
                         gCleHistorique(start.addSecs(i * 37)),
                         QStringLiteral("PC-%1|").arg(i % 40) + text.arg(i % 40));
        }
    });
    std::printf(
        "history: %d entries, %lld bytes\n", Entries, static_cast<long long>(QFileInfo(gFichierDonnees()).size()));

    std::vector<double> ms;
    QElapsedTimer timer;
    for (int i = 0; i < Runs; ++i) {
        timer.start();
        {
            frmMessage w(TypeFenetre::HistoriqueRecu);
            const bool ok = w.mCharger();
            ms.push_back(timer.nsecsElapsed() / 1e6);
            // One line per entry in the chooser, else the figure would not be for the whole history.
            if (!ok || w.cboUtilisateur->count() != Entries) {
                std::fprintf(stderr, "mCharger: %d, %d lines\n", ok, int(w.cboUtilisateur->count()));
                return 1;
            }
        }
        app.processEvents();
    }
    std::vector<double> sorted = ms;
    std::sort(sorted.begin(), sorted.end());
    const double median = (sorted[Runs / 2 - 1] + sorted[Runs / 2]) / 2;
    std::printf("history window (received, %d entries): median %.1f ms, min %.1f, max %.1f over %d runs "
                "(target <= 150 ms)%s\n",
                Entries,
                median,
                sorted.front(),
                sorted.back(),
                Runs,
                median <= 150 ? "" : "  ** MISSED **");
    return boxes == 0 ? 0 : 1;
}
