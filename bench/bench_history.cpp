// Time of one trim-and-write on a full history of 5,000 entries (about 1 MB): the work that capture and send do
// for every message. Target: under 20 ms.
#include "common/DataFile.h"
#include "common/IniFile.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace pv;

int main()
{
    constexpr int Entries = 5000;
    constexpr int Runs = 50;
    QTemporaryDir dir;
    gDefinirFichierDonnees(dir.filePath("Pilvanor.pv"));
    const QString text = QString(180, QLatin1Char('m'));
    const QDateTime start(QDate(2026, 1, 1), QTime(8, 0));
    IniFile(gFichierDonnees()).update([&](IniDocument& doc) {
        for (int i = 0; i < Entries; ++i) {
            doc.setValue(QLatin1String(SectionMessageRecu),
                         gCleHistorique(start.addMSecs(i)),
                         QStringLiteral("PC-%1|").arg(i % 40) + text);
        }
    });
    std::printf(
        "history: %d entries, %lld bytes\n", Entries, static_cast<long long>(QFileInfo(gFichierDonnees()).size()));

    std::vector<double> ms;
    QElapsedTimer timer;
    for (int i = 0; i < Runs; ++i) {
        timer.start();
        gEnregistrerHistorique(false, QStringLiteral("PC-NEW"), text, Entries, start.addSecs(3600).addMSecs(i));
        ms.push_back(timer.nsecsElapsed() / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    std::printf("trim-and-write: median %.2f ms, 90th percentile %.2f ms, max %.2f ms over %d runs (target < 20 ms)\n",
                ms[ms.size() / 2],
                ms[ms.size() * 9 / 10],
                ms.back(),
                Runs);
    // Counted on the whole file: a read stops at its buffer limit, which a 1 MB history passes.
    const auto kept = IniFile(gFichierDonnees()).load().sectionLines(QLatin1String(SectionMessageRecu)).size();
    std::printf("entries after the runs: %lld\n", static_cast<long long>(kept));
    return kept == Entries ? 0 : 1;
}
