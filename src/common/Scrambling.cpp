#include "common/Scrambling.h"

#include "common/TextCodec.h"

#include <QHash>

namespace pv {

namespace {

constexpr int Premier = 48;  // "0"
constexpr int Dernier = 125; // "}"
constexpr int Decalage = 39;

// The reverse of the Windows-1252 decoder, so that both directions share one table.
const QHash<char16_t, uchar>& versWindows1252()
{
    static const QHash<char16_t, uchar> table = [] {
        QByteArray tous(256, '\0');
        for (int b = 0; b < 256; ++b) {
            tous[b] = char(b);
        }
        const QString texte = decodeWindows1252(tous);
        QHash<char16_t, uchar> t;
        for (int b = 0; b < 256; ++b) {
            t.insert(texte[b].unicode(), uchar(b));
        }
        return t;
    }();
    return table;
}

} // namespace

QString gCrypterMessage(const QString& texte)
{
    const QHash<char16_t, uchar>& table = versWindows1252();
    QByteArray octets(texte.size(), '?');
    for (qsizetype i = 0; i < texte.size(); ++i) {
        const auto trouve = table.constFind(texte[i].unicode());
        if (trouve != table.cend()) {
            octets[i] = char(*trouve);
        }
    }
    for (char& o : octets) {
        const int b = uchar(o);
        if (b < Premier || b > Dernier) {
            continue;
        }
        int c = b + Decalage;
        if (c > Dernier) {
            c = c - Dernier + Premier - 1;
        }
        o = char(c);
    }
    return decodeWindows1252(octets);
}

QString gTexteCrypte(const QString& texte)
{
    return QLatin1String(PrefixeCryptage) + gCrypterMessage(texte);
}

bool gEstCrypte(const QString& texte)
{
    return texte.startsWith(QLatin1String(PrefixeCryptage), Qt::CaseSensitive);
}

QString gTexteLisible(const QString& texte)
{
    return gEstCrypte(texte) ? gCrypterMessage(texte.mid(qsizetype(qstrlen(PrefixeCryptage)))) : texte;
}

} // namespace pv
