#include "common/Wav.h"

#include <QtEndian>

#include <algorithm>
#include <optional>

namespace pv {

namespace {

// PulseAudio takes no more channels nor a higher rate; this also bounds the silence that the player adds.
constexpr int MaxCanaux = 32;
constexpr quint32 MaxFrequence = 384000;

quint16 u16(QByteArrayView b, qsizetype i)
{
    return qFromLittleEndian<quint16>(b.data() + i);
}

quint32 u32(QByteArrayView b, qsizetype i)
{
    return qFromLittleEndian<quint32>(b.data() + i);
}

// The "fmt " chunk, at least 16 bytes:
//    0 format tag (1 integer PCM, 3 float, 0xFFFE extensible)   2 channels   4 frames a second   8 bytes a second
//   12 bytes a frame   14 bits a sample
// and for WAVE_FORMAT_EXTENSIBLE, 26 bytes at least:
//   16 extension size   18 valid bits   20 channel mask   24 sub-format GUID, whose first two bytes are the real tag
std::optional<Wav> lireFmt(QByteArrayView c)
{
    const int type = u16(c, 0) == 0xFFFE && c.size() >= 26 ? u16(c, 24) : u16(c, 0);
    const int bits = u16(c, 14);
    Wav w;
    if (type == 3 && bits == 32) {
        w.format = FormatEchantillon::Float;
    } else if (type == 1 && (bits == 8 || bits == 16 || bits == 32)) {
        w.format = bits == 8    ? FormatEchantillon::UInt8
                   : bits == 16 ? FormatEchantillon::Int16
                                : FormatEchantillon::Int32;
    } else {
        return std::nullopt;
    }
    w.octetsParEchantillon = bits / 8;
    w.canaux = u16(c, 2);
    const quint32 frequence = u32(c, 4);
    if (w.canaux < 1 || w.canaux > MaxCanaux || frequence < 1 || frequence > MaxFrequence
        || u16(c, 12) != w.octetsParTrame()) {
        return std::nullopt;
    }
    w.frequence = int(frequence);
    return w;
}

} // namespace

// "RIFF", its size, "WAVE", then chunks: a 4-letter id, a 32-bit size, the content and a pad byte if the size is
// odd. A "data" chunk is read as the last "fmt " before it says; one met while that is missing or unusable is
// skipped.
std::variant<Wav, QString> lireWav(QByteArrayView f)
{
    if (f.size() < 12 || !f.startsWith("RIFF") || f.sliced(8, 4) != "WAVE") {
        return QStringLiteral("not a WAV file");
    }
    std::optional<Wav> format;
    // Sizes are summed in 64 bits, which no 32-bit size can wrap.
    for (qsizetype i = 12; i + 8 <= f.size(); i += 8 + ((qsizetype(u32(f, i + 4)) + 1) & ~qsizetype(1))) {
        const QByteArrayView id = f.sliced(i, 4);
        const QByteArrayView contenu = f.sliced(i + 8, std::min<qsizetype>(u32(f, i + 4), f.size() - i - 8));
        if (id == "fmt " && contenu.size() >= 16) {
            format = lireFmt(contenu);
        } else if (id == "data" && format) {
            format->pcm = contenu.first(contenu.size() - contenu.size() % format->octetsParTrame());
            return *format;
        }
    }
    return format ? QStringLiteral("no sound data") : QStringLiteral("unsupported sound format");
}

} // namespace pv
