#pragma once

#include <QByteArrayView>
#include <QString>

#include <variant>

namespace pv {

enum class FormatEchantillon {
    UInt8,
    Int16,
    Int32,
    Float,
};

// The sound of a WAV file: little-endian samples, channels interleaved.
struct Wav
{
    FormatEchantillon format = FormatEchantillon::Int16;
    int canaux = 0;
    int frequence = 0; // frames a second
    int octetsParEchantillon = 0;
    QByteArrayView pcm; // inside the bytes given to lireWav, whole frames only

    int octetsParTrame() const { return canaux * octetsParEchantillon; }
};

// Reads a RIFF/WAVE file held in memory: integer samples of 8, 16 or 32 bits or 32-bit float, 1 to 32 channels,
// up to 384 kHz. A file cut short gives the whole frames it holds. Otherwise, why it cannot be played.
std::variant<Wav, QString> lireWav(QByteArrayView fichier);

} // namespace pv
