// INI files, as the settings, the address book and the histories are read and edited.
#include "FuzzCheck.h"

#include "common/IniFile.h"
#include "common/TextCodec.h"

using namespace pv;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = decodeTextFile(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    IniDocument doc = IniDocument::parse(text);

    // Lines come back as they were, only their ends change: CR LF and a last line without LF end in LF.
    QStringList lines = text.isEmpty() ? QStringList() : text.split(QLatin1Char('\n'));
    if (text.endsWith(QLatin1Char('\n'))) {
        lines.removeLast();
    }
    QString expected;
    for (QString& line : lines) {
        if (line.endsWith(QLatin1Char('\r'))) {
            line.chop(1);
        }
        expected += line + QLatin1Char('\n');
    }
    const QString out = doc.serialize();
    PV_FUZZ_CHECK(out == expected);
    PV_FUZZ_CHECK(IniDocument::parse(out).sectionNames() == doc.sectionNames());

    // Every key a section shows can be read, replaced and removed, and a write survives a read.
    QStringList names = doc.sectionNames();
    names.append(QStringLiteral("PvFuzz"));
    for (const QString& section : names) {
        QString key = QStringLiteral("PvFuzz");
        for (const QString& line : doc.sectionLines(section)) {
            const QString k = iniLineKey(line);
            if (!k.isEmpty()) {
                PV_FUZZ_CHECK(doc.value(section, k).has_value());
                key = k;
            }
        }
        if (!iniKeyFault(key).isNull()) {
            continue;
        }
        const QString value = QStringLiteral("v\u00e9=[x]");
        doc.setValue(section, key, value);
        PV_FUZZ_CHECK(doc.isModified() && doc.value(section, key) == value);
        const IniDocument reread = IniDocument::parse(doc.serialize());
        PV_FUZZ_CHECK(reread.value(section, key) == value);
        PV_FUZZ_CHECK(doc.removeKey(section, key) && !doc.value(section, key));
    }
    return 0;
}
