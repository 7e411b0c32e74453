// Time of one send to a group of stations, some of which do not answer, with the real ping and transport: the
// pings run concurrently ahead of the send loop, then strictly one after the other. Both must report the same.
// Usage: bench_group_send STATION... (bench_group_send.sh builds the network and passes its addresses).
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
    if (stations.size() < 2) {
        std::fprintf(stderr, "usage: bench_group_send STATION STATION...\n");
        return 2;
    }
    QTemporaryDir dir;
    qputenv("HOME", dir.path().toUtf8());
    gDefinirFichierDonnees(dir.filePath(QStringLiteral("Pilvanor.pv")));
    Parametres& p = gParametres();
    p.fichierLangue = gDossierProgramme() + QStringLiteral("/pv.ENG");
    p.expediteur = QStringLiteral("BENCH");
    p.pingStationAvantEnvoi = true;
    p.delaiAttente = 500;

    std::printf("stations: %lld, DelaiAttente %d ms\n", static_cast<long long>(stations.size()), p.delaiAttente);
    const Mesure sequentiel = mesurer(stations, false);
    const Mesure concurrent = mesurer(stations, true);
    resumer("sequential pings:", sequentiel);
    resumer("concurrent pings:", concurrent);
    std::printf("targets: sequential >= 10 s, concurrent <= 1.5 s\n");
    const bool memes = sequentiel.rapports == concurrent.rapports && sequentiel.rapports.size() == stations.size();
    std::printf("same reports in the same order: %s\n", memes ? "yes" : "NO");
    return memes ? 0 : 1;
}
