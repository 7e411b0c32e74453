#include "common/TexteSaisi.h"

#include <gtest/gtest.h>

using namespace pv;

TEST(TexteSaisi, StationBoxKeepsNoBlankAndUpperCases)
{
    const std::pair<const char*, const char*> cas[]
        = {{"pc 12", "PC12"}, {" a\tb ", "AB"}, {"10.0.0.7", "10.0.0.7"}, {"poste-é", "POSTE-É"}, {"", ""}};
    for (const auto& [saisie, attendu] : cas) {
        EXPECT_EQ(gFiltrerNomStation(QString::fromUtf8(saisie)), QString::fromUtf8(attendu)) << saisie;
    }
}

TEST(TexteSaisi, TypedStationsAreSplitTrimmedAndUpperCased)
{
    const std::pair<const char*, const char*> cas[] = {
        {"pc1, pc2 ,Pc3", "PC1|PC2|PC3"},
        {" ,pc1,,  ,", "PC1"},
        {"10.0.0.7", "10.0.0.7"},
        {"poste a, b", "POSTE A|B"}, // a blank inside a name is the name's
        {"", ""},
    };
    for (const auto& [texte, attendu] : cas) {
        EXPECT_EQ(gStationsTapees(QString::fromUtf8(texte)).join('|'), QString::fromUtf8(attendu)) << texte;
    }
}

TEST(TexteSaisi, LineBreaksBothWays)
{
    // Text, with LF, with CR LF.
    const std::tuple<const char*, const char*, const char*> cas[] = {
        {"a\r\nb\nc", "a\nb\nc", "a\r\nb\r\nc"},
        {"\r\n\r\n", "\n\n", "\r\n\r\n"},
        {"a\rb", "a\rb", "a\rb"}, // a lone CR is no line break of a text box
        {"a\n\r\nb", "a\n\nb", "a\r\n\r\nb"},
        {"", "", ""},
    };
    for (const auto& [texte, lf, crlf] : cas) {
        EXPECT_EQ(gEnLF(texte), lf) << texte;
        EXPECT_EQ(gEnCRLF(texte), crlf) << texte;
        EXPECT_EQ(gEnCRLF(gEnLF(texte)), crlf) << texte;
    }
}
