#include "common/Wav.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace pv;

// The seeds of the fuzz corpus, read for what the player gets: the replay only proves that nothing breaks, not that
// a file plays in the right format, nor what the log says of one that cannot.
TEST(Wav, SeedsReadAsTheyWereWritten)
{
    struct Case
    {
        const char* fichier;
        const char* attendu; // format channels×rate, bytes of sound at their offset in the file; or the error
    };
    const Case cases[] = {
        {"pcm8_mono", "UInt8 1x8000, 16 at 44"},
        {"float32_stereo", "Float 2x22050, 128 at 44"},
        {"extensible_float_quad", "Float 4x96000, 128 at 68"},
        {"list_odd_then_data_before_fmt", "Int16 1x8000, 16 at 78"},
        {"cut_in_frame", "Int16 2x8000, 24 at 44"},
        {"data_size_huge", "UInt8 1x8000, 7 at 44"},
        {"block_align_wrong", "unsupported sound format"},
        {"no_data", "no sound data"},
        {"not_riff", "not a WAV file"},
    };
    const char* formats[] = {"UInt8", "Int16", "Int32", "Float"};
    for (const Case& c : cases) {
        QFile f(QStringLiteral(PV_SOURCE_DIR "/fuzz/corpus/wav/") + QLatin1String(c.fichier));
        ASSERT_TRUE(f.open(QIODevice::ReadOnly)) << c.fichier;
        const QByteArray contenu = f.readAll();
        const auto son = lireWav(contenu);
        QString lu;
        if (const auto* w = std::get_if<Wav>(&son)) {
            lu = QStringLiteral("%1 %2x%3, %4 at %5")
                     .arg(QLatin1String(formats[int(w->format)]))
                     .arg(w->canaux)
                     .arg(w->frequence)
                     .arg(w->pcm.size())
                     .arg(w->pcm.data() - contenu.constData());
        } else {
            lu = std::get<QString>(son);
        }
        EXPECT_EQ(lu, QLatin1String(c.attendu)) << c.fichier;
    }
}
