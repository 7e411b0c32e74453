#include "common/TextCodec.h"

namespace pv {

bool isValidUtf8(const QByteArray& bytes)
{
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.constData());
    const qsizetype n = bytes.size();
    qsizetype i = 0;
    while (i < n) {
        const unsigned char c = p[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        int extra;
        char32_t cp;
        if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
            cp = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
            cp = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
            cp = c & 0x07;
        } else {
            return false;
        }
        if (i + extra >= n) {
            return false;
        }
        for (int k = 1; k <= extra; ++k) {
            const unsigned char cc = p[i + k];
            if ((cc & 0xC0) != 0x80) {
                return false;
            }
            cp = (cp << 6) | (cc & 0x3F);
        }
        // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
        if ((extra == 2 && cp < 0x800) || (extra == 3 && cp < 0x10000) || (cp >= 0xD800 && cp <= 0xDFFF)
            || cp > 0x10FFFF) {
            return false;
        }
        i += extra + 1;
    }
    return true;
}

QString decodeWindows1252(const QByteArray& bytes)
{
    // 0x80-0x9F differ from Latin-1; the five bytes Windows leaves undefined map to the C1 controls, as Windows does.
    static const char16_t high[32] = {
        0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
    };
    QString out;
    out.resize(bytes.size());
    QChar* d = out.data();
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        d[i] = (c >= 0x80 && c <= 0x9F) ? QChar(high[c - 0x80]) : QChar(c);
    }
    return out;
}

QString decodeTextFile(const QByteArray& bytes)
{
    QByteArray body = bytes;
    if (body.startsWith("\xEF\xBB\xBF")) {
        body.remove(0, 3);
    }
    if (isValidUtf8(body)) {
        return QString::fromUtf8(body);
    }
    // Decided line by line: one stray byte in a hand-edited file must not turn its good lines into mojibake. A
    // line feed never occurs inside a UTF-8 sequence, so the lines split cleanly.
    QString out;
    out.reserve(body.size());
    qsizetype start = 0;
    while (start < body.size()) {
        qsizetype end = body.indexOf('\n', start);
        end = end < 0 ? body.size() : end + 1;
        const QByteArray line = body.sliced(start, end - start);
        out += isValidUtf8(line) ? QString::fromUtf8(line) : decodeWindows1252(line);
        start = end;
    }
    return out;
}

} // namespace pv
