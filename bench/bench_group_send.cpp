// Time of one send to a group of stations, some of which do not answer, with the real ping and transport: the
// stations strictly one after the other, then concurrently. Both must report the same.
// Usage: bench_group_send [--delai MS] [--sans-ping] STATION... (bench_group_send.sh and bench_dead_stations.sh
// build the network and pass its addresses).
#include "common/DataFile.h"
#include "common/Paths.h"
#include "engine/Envoi.h"
#include "engine/Settings.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMap>
#include <QTemporaryDir>

#include <cstdio>

using namespace pv;

namespace {

struct Mesure
{
    double secondes = 0;
    QStringList rapports; // one line per station, in the order they came
};

Mesure mesurer(const QStringList& stations, bool concurrents)
{
    EnvoiMessage envoi;
    envoi.setStationsConcurrentes(concurrents);
    Mesure m;
    QObject::connect(&envoi, &EnvoiMessage::stationTerminee, [&](const ResultatStation& r) {
        m.rapports.append(QStringLiteral("%1 %2 %3").arg(r.station).arg(r.code).arg(r.texte));
    });
    QElapsedTimer chrono;
    chrono.start();
    envoi.envoyerMaintenant({QStringLiteral("Group send benchmark"),
                             {DestinataireChoisi::Liste::Utilisateurs, -1, stations.join(QLatin1Char(','))},
                             false});
    m.secondes = double(chrono.nsecsElapsed()) / 1e9;
    return m;
}

void resumer(const char* nom, const Mesure& m)
{
    QMap<int, int> codes;
    for (const QString& r : m.rapports) {
        ++codes[r.section(QLatin1Char(' '), 1, 1).toInt()];
    }
    QStringList detail;
    for (auto i = codes.cbegin(); i != codes.cend(); ++i) {
        detail.append(QStringLiteral("%1 x code %2").arg(i.value()).arg(i.key()));
    }
    std::printf("%-24s %6.2f s  (%s)\n", nom, m.secondes, qPrintable(detail.join(QStringLiteral(", "))));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStringList stations = app.arguments().mid(1);
    int delai = 500;
    bool pinger = true;
    while (!stations.isEmpty() && stations.first().startsWith(QLatin1String("--"))) {
        const QString option = stations.takeFirst();
        if (option == QLatin1String("--delai") && !stations.isEmpty()) {
            delai = stations.takeFirst().toInt();
        } else if (option == QLatin1String("--sans-ping")) {
            pinger = false;
        } else {
            stations.clear();
        }
    }
    if (stations.isEmpty()) {
        std::fprintf(stderr, "usage: bench_group_send [--delai MS] [--sans-ping] STATION...\n");
        return 2;
    }
    QTemporaryDir dir;
    qputenv("HOME", dir.path().toUtf8());
    gDefinirFichierDonnees(dir.filePath(QStringLiteral("Pilvanor.pv")));
    Parametres& p = gParametres();
    p.fichierLangue = gDossierProgramme() + QStringLiteral("/pv.ENG");
    p.expediteur = QStringLiteral("BENCH");
    p.pingStationAvantEnvoi = pinger;
    p.delaiAttente = delai;

    std::printf("stations: %lld, PingStationAvantEnvoi %d, DelaiAttente %d ms\n",
                static_cast<long long>(stations.size()),
                int(pinger),
                p.delaiAttente);
    const Mesure sequentiel = mesurer(stations, false);
    const Mesure concurrent = mesurer(stations, true);
    resumer("one after the other:", sequentiel);
    resumer("concurrently:", concurrent);
    const bool memes = sequentiel.rapports == concurrent.rapports && sequentiel.rapports.size() == stations.size();
    std::printf("same reports in the same order: %s\n", memes ? "yes" : "NO");
    return memes ? 0 : 1;
}
