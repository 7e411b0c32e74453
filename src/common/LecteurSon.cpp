#include "common/LecteurSon.h"

#include "common/Son.h"

#include <QAudioFormat>
#include <QAudioSink>
#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QMediaDevices>
#include <QPointer>
#include <QtEndian>

#include <optional>

namespace pv {

namespace {

struct Wav
{
    QAudioFormat format;
    QByteArray pcm;
};

// The PCM samples of a WAV file (integer 8, 16 or 32 bits, or 32-bit float), or why not.
std::optional<Wav> lireWav(const QByteArray& f, QString& erreur)
{
    auto u16 = [&](qsizetype i) { return qFromLittleEndian<quint16>(f.constData() + i); };
    auto u32 = [&](qsizetype i) { return qFromLittleEndian<quint32>(f.constData() + i); };
    if (f.size() < 12 || !f.startsWith("RIFF") || f.mid(8, 4) != "WAVE") {
        erreur = QStringLiteral("not a WAV file");
        return std::nullopt;
    }
    Wav w;
    // Chunks are padded to an even size; sizes are summed in 64 bits, which no 32-bit size can wrap.
    for (qsizetype i = 12; i + 8 <= f.size(); i += 8 + ((qsizetype(u32(i + 4)) + 1) & ~qsizetype(1))) {
        const QByteArray id = f.mid(i, 4);
        const qsizetype taille = std::min<qsizetype>(u32(i + 4), f.size() - i - 8);
        if (id == "fmt " && taille >= 16) {
            // WAVE_FORMAT_EXTENSIBLE names the real format in the first bytes of its sub-format.
            const int type = u16(i + 8) == 0xFFFE && taille >= 26 ? u16(i + 32) : u16(i + 8);
            const int bits = u16(i + 22);
            const auto echantillon = type == 3 && bits == 32 ? QAudioFormat::Float
                                     : type != 1             ? QAudioFormat::Unknown
                                     : bits == 8             ? QAudioFormat::UInt8
                                     : bits == 16            ? QAudioFormat::Int16
                                     : bits == 32            ? QAudioFormat::Int32
                                                             : QAudioFormat::Unknown;
            w.format.setSampleFormat(echantillon);
            w.format.setChannelCount(u16(i + 10));
            w.format.setSampleRate(int(u32(i + 12)));
            // PulseAudio takes no more channels nor a higher rate; this also bounds the silence added below.
            if (u16(i + 20) != w.format.bytesPerFrame() || u16(i + 10) > 32 || u32(i + 12) > 384000) {
                w.format.setSampleFormat(QAudioFormat::Unknown);
            }
        } else if (id == "data" && w.format.isValid()) {
            const int bloc = w.format.bytesPerFrame();
            w.pcm = f.mid(i + 8, taille - taille % bloc); // a cut file plays what it holds
            return w;
        }
    }
    erreur = w.format.isValid() ? QStringLiteral("no sound data") : QStringLiteral("unsupported sound format");
    return std::nullopt;
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
        QFile f(fichier);
        QString erreur;
        std::optional<Wav> son;
        if (!f.open(QIODevice::ReadOnly)) {
            erreur = f.errorString();
        } else {
            son = lireWav(f.readAll(), erreur);
        }
        const QAudioDevice appareil = QMediaDevices::defaultAudioOutput();
        if (son && appareil.isNull()) {
            erreur = QStringLiteral("no audio output");
        }
        if (!erreur.isEmpty()) {
            qWarning("pilvanor: cannot play %s: %s", qPrintable(fichier), qPrintable(erreur));
            return;
        }
        // Half a second of silence after the sound: the sink is stopped as soon as it has handed its last bytes to
        // the sound server, which drops what it still holds (the last tenth of a second or so).
        const char silence = son->format.sampleFormat() == QAudioFormat::UInt8 ? char(0x80) : 0;
        son->pcm.append(QByteArray(son->format.bytesForDuration(500000), silence));
        sortie = new QAudioSink(appareil, son->format, QCoreApplication::instance());
        auto* tampon = new QBuffer(sortie);
        tampon->setData(son->pcm);
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
