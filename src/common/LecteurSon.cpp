#include "common/LecteurSon.h"

#include "common/Son.h"
#include "common/Wav.h"

#include <QAudioFormat>
#include <QAudioSink>
#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QMediaDevices>
#include <QPointer>

#include <variant>

namespace pv {

namespace {

QAudioFormat formatAudio(const Wav& son)
{
    QAudioFormat format;
    switch (son.format) {
    case FormatEchantillon::UInt8:
        format.setSampleFormat(QAudioFormat::UInt8);
        break;
    case FormatEchantillon::Int16:
        format.setSampleFormat(QAudioFormat::Int16);
        break;
    case FormatEchantillon::Int32:
        format.setSampleFormat(QAudioFormat::Int32);
        break;
    case FormatEchantillon::Float:
        format.setSampleFormat(QAudioFormat::Float);
        break;
    }
    format.setChannelCount(son.canaux);
    format.setSampleRate(son.frequence);
    return format;
}

} // namespace

void installLecteurSon()
{
    setLecteurSon([](const QString& fichier) {
        // One sound at a time: a new sound cuts the one still playing, as the system call did.
        static QPointer<QAudioSink> sortie;
        if (sortie) {
            sortie->disconnect();
            sortie->stop();
            sortie->deleteLater();
        }
        auto echec = [&](const QString& erreur) {
            qWarning("pilvanor: cannot play %s: %s", qPrintable(fichier), qPrintable(erreur));
        };
        QFile f(fichier);
        if (!f.open(QIODevice::ReadOnly)) {
            return echec(f.errorString());
        }
        const QByteArray contenu = f.readAll();
        const std::variant<Wav, QString> son = lireWav(contenu);
        if (const auto* erreur = std::get_if<QString>(&son)) {
            return echec(*erreur);
        }
        const QAudioDevice appareil = QMediaDevices::defaultAudioOutput();
        if (appareil.isNull()) {
            return echec(QStringLiteral("no audio output"));
        }
        const Wav& wav = std::get<Wav>(son);
        const QAudioFormat format = formatAudio(wav);
        // Half a second of silence after the sound: the sink is stopped as soon as it has handed its last bytes to
        // the sound server, which drops what it still holds (the last tenth of a second or so).
        QByteArray pcm = wav.pcm.toByteArray();
        pcm.append(
            QByteArray(format.bytesForDuration(500000), wav.format == FormatEchantillon::UInt8 ? char(0x80) : 0));
        sortie = new QAudioSink(appareil, format, QCoreApplication::instance());
        auto* tampon = new QBuffer(sortie);
        tampon->setData(pcm);
        tampon->open(QIODevice::ReadOnly);
        QObject::connect(sortie, &QAudioSink::stateChanged, sortie, [s = sortie.data(), fichier](QAudio::State etat) {
            if (etat == QAudio::StoppedState && s->error() != QAudio::NoError) {
                qWarning("pilvanor: cannot play %s: audio error %d", qPrintable(fichier), int(s->error()));
            }
            if (etat != QAudio::ActiveState) {
                s->stop();
                s->deleteLater();
            }
        });
        sortie->start(tampon);
    });
}

} // namespace pv
