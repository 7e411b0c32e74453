// WAV files, as the sound player reads them.
#include "FuzzCheck.h"

#include "common/Wav.h"

using namespace pv;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArrayView fichier(data, qsizetype(size));
    const auto son = lireWav(fichier);
    if (const auto* erreur = std::get_if<QString>(&son)) {
        PV_FUZZ_CHECK(!erreur->isEmpty());
        return 0;
    }
    const Wav& w = std::get<Wav>(son);
    const int octets = w.format == FormatEchantillon::UInt8 ? 1 : w.format == FormatEchantillon::Int16 ? 2 : 4;
    PV_FUZZ_CHECK(w.octetsParEchantillon == octets);
    PV_FUZZ_CHECK(w.canaux >= 1 && w.canaux <= 32 && w.frequence >= 1 && w.frequence <= 384000);
    // Whole frames, inside the file and after the headers: 12 of RIFF, 24 of "fmt " at least, 8 of "data".
    PV_FUZZ_CHECK(w.pcm.size() % w.octetsParTrame() == 0);
    PV_FUZZ_CHECK(w.pcm.data() >= fichier.data() + 44 && w.pcm.data() + w.pcm.size() <= fichier.data() + size);
    // What follows the sound is not read: the file cut right after it reads the same.
    const auto coupe = lireWav(fichier.first(w.pcm.data() + w.pcm.size() - fichier.data()));
    const auto* w2 = std::get_if<Wav>(&coupe);
    PV_FUZZ_CHECK(w2 && w2->format == w.format && w2->canaux == w.canaux && w2->frequence == w.frequence
                  && w2->pcm.data() == w.pcm.data() && w2->pcm.size() == w.pcm.size());
    return 0;
}
