#include "engine/LigneCommande.h"

#include <QList>

#include <stdexcept>

namespace pv {

namespace {

constexpr qsizetype LongueurMaxChamp = 1024;

// A recipient as the recipient box takes it: stations separated by commas, no blanks or control characters.
bool stationAcceptable(const QString& station)
{
    if (station.size() > LongueurMaxChamp) {
        return false;
    }
    for (const QChar c : station) {
        if (c.isSpace() || c.category() == QChar::Other_Control || c == QChar::Null) {
            return false;
        }
    }
    return true;
}

bool champAcceptable(const QByteArray& champ)
{
    if (champ.size() > LongueurMaxChamp) {
        return false;
    }
    for (const char c : champ) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            return false;
        }
    }
    return true;
}

std::invalid_argument erreur(const QString& texte)
{
    return std::invalid_argument(texte.toStdString());
}

} // namespace

Demande gLireLigneCommande(const QStringList& arguments)
{
    Demande demande;
    const QByteArray jeton = qgetenv("XDG_ACTIVATION_TOKEN");
    if (champAcceptable(jeton)) {
        demande.jeton = jeton;
    }
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& a = arguments[i];
        if (a == QLatin1String("--show")) {
            demande.action = Demande::Action::Afficher;
        } else if (a == QLatin1String("--new-message")) {
            demande.action = Demande::Action::NouveauMessage;
            // The station is optional: the next argument is it unless it is an option.
            if (i + 1 < arguments.size() && !arguments[i + 1].startsWith(QLatin1Char('-'))) {
                const QString station = arguments[++i].trimmed().toUpper();
                if (!stationAcceptable(station)) {
                    throw erreur(QStringLiteral("not a station name: \"%1\"").arg(arguments[i]));
                }
                demande.station = station;
            }
        } else if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            demande.action = Demande::Action::Aide;
            return demande;
        } else {
            throw erreur(QStringLiteral("unknown argument \"%1\" (try --help)").arg(a));
        }
    }
    return demande;
}

QString gUsageLigneCommande()
{
    return QStringLiteral("Usage: pilvanor [--show | --new-message [STATION]]\n"
                          "  --show                  bring the running Pilvanor to the front (or start it)\n"
                          "  --new-message [STATION] open the main window ready to type a message to STATION\n"
                          "                          (stations separated by commas), starting Pilvanor if needed\n");
}

QByteArray gEncoderDemande(const Demande& demande)
{
    QByteArray ligne = demande.action == Demande::Action::NouveauMessage ? QByteArrayLiteral("new-message")
                                                                         : QByteArrayLiteral("show");
    if (demande.action == Demande::Action::NouveauMessage || !demande.jeton.isEmpty()) {
        ligne += '\t' + demande.station.toUtf8() + '\t' + demande.jeton;
    }
    return ligne + '\n';
}

std::optional<Demande> gDecoderDemande(const QByteArray& ligne)
{
    if (!ligne.endsWith('\n')) {
        return std::nullopt;
    }
    const QList<QByteArray> champs = ligne.chopped(1).split('\t');
    Demande demande;
    if (champs[0] == "new-message") {
        demande.action = Demande::Action::NouveauMessage;
    } else if (champs[0] != "show") {
        return std::nullopt;
    }
    if (champs.size() == 3) {
        const QString station = QString::fromUtf8(champs[1]);
        if (!stationAcceptable(station) || !champAcceptable(champs[2])) {
            return std::nullopt;
        }
        demande.station = station.toUpper();
        demande.jeton = champs[2];
    } else if (champs.size() != 1) {
        return std::nullopt;
    }
    return demande;
}

} // namespace pv
