#include "Bytes.h"

#include "messenger/codec/NetbiosName.h"
#include "messenger/codec/OemCodePage.h"

#include <gtest/gtest.h>

using namespace pv::codec;
using namespace pv::codec::test;

TEST(NetbiosName, EncodesCapturedNames)
{
    const std::pair<NetbiosName, Bytes> cases[] = {
        {{"BOB", 0x03, ""}, hex("20 'ECEPECCACACACACACACACACACACACAAD' 00")},
        {{"MYSTATION", 0x00, ""}, hex("20 'ENFJFDFEEBFEEJEPEOCACACACACACAAA' 00")},
        {{"PEERB", 0x03, ""}, hex("20 'FAEFEFFCECCACACACACACACACACACAAD' 00")},
        {NetbiosName::wildcard(), hex("20 'CKAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA' 00")},
        {{"BOB", 0x03, "pv.test"}, hex("20 'ECEPECCACACACACACACACACACACACAAD' 02 'pv' 04 'test' 00")},
    };
    for (const auto& [name, wire] : cases) {
        Bytes out;
        ByteWriter w(out);
        const auto written = appendNetbiosName(w, name);
        ASSERT_TRUE(written.ok()) << name.name;
        EXPECT_EQ(*written, out.size());
        EXPECT_EQ(out, wire) << name.name;
        ByteCursor in(wire);
        const auto decoded = decodeNetbiosName(in);
        ASSERT_TRUE(decoded.ok()) << name.name;
        EXPECT_EQ(*decoded, name);
        EXPECT_TRUE(in.atEnd());
        expectEveryPrefixFails(wire, [](std::span<const uint8_t> b) {
            ByteCursor cut(b);
            return decodeNetbiosName(cut);
        });
    }
    for (const NetbiosName& bad : {NetbiosName {std::string(16, 'A'), 0, ""},
                                   NetbiosName {"BOB", 0, "a..b"},
                                   NetbiosName {"BOB", 0, "."},
                                   NetbiosName {"BOB", 0, std::string(64, 'x')}}) {
        Bytes out;
        ByteWriter w(out);
        EXPECT_FALSE(appendNetbiosName(w, bad).ok()) << bad.name << " / " << bad.scope;
    }
}

TEST(NetbiosName, RejectsMalformedWireNames)
{
    const std::string bob = "'ECEPECCACACACACACACACACACACACAAD'";
    const std::string label63 = " 3F '" + std::string(63, 'x') + "'";
    const std::tuple<const char*, Bytes, bool, CodecError> cases[] = {
        {"short first label", hex("1F 'ECEPECCACACACACACACACACACACACAA' 00"), false, CodecError::BadName},
        {"letter past P", hex("20 'QCEPECCACACACACACACACACACACACAAD' 00"), false, CodecError::BadName},
        {"lower-case letter", hex("20 'eCEPECCACACACACACACACACACACACAAD' 00"), false, CodecError::BadName},
        {"bare terminator", hex("00"), false, CodecError::BadName},
        {"label type 01", hex("20 " + bob + " 40"), false, CodecError::BadName},
        {"pointer not allowed", hex("C0 00"), false, CodecError::BadName},
        {"pointer to itself", hex("C0 00"), true, CodecError::BadOffset},
        {"dot inside a label", hex("20 " + bob + " 03 'a.b' 00"), false, CodecError::BadName},
        {"over 255 bytes", hex("20 " + bob + label63 + label63 + label63 + label63), false, CodecError::TooLong},
        {"no terminator", hex("20 " + bob), false, CodecError::Truncated},
    };
    for (const auto& [what, wire, pointers, error] : cases) {
        ByteCursor in(wire);
        const auto decoded = decodeNetbiosName(in, pointers);
        ASSERT_FALSE(decoded.ok()) << what;
        EXPECT_EQ(decoded.error(), error) << what;
    }

    const Bytes packet = hex("20 'ECEPECCACACACACACACACACACACACAAD' 00 C0 00 FF");
    ByteCursor in(packet);
    ASSERT_TRUE(in.skip(34));
    const auto followed = decodeNetbiosName(in, true);
    ASSERT_TRUE(followed.ok());
    EXPECT_EQ(*followed, (NetbiosName {"BOB", 0x03, ""}));
    EXPECT_EQ(in.position(), 36u); // after the pointer, not after the name it points to
}

TEST(NetbiosName, ChecksNamesGivenByUsers)
{
    const auto cp850 = OemCodePage::Cp850;
    const std::tuple<std::string, OemCodePage, const char*, CodecError> cases[] = {
        {"bob", cp850, "BOB", {}},
        {"pc-12.a_b", cp850, "PC-12.A_B", {}},
        {"élodie", cp850, "\x90LODIE", {}},
        {"FIFTEEN-LETTERS", OemCodePage::Ascii, "FIFTEEN-LETTERS", {}},
        {"SIXTEEN-LETTERS!", OemCodePage::Ascii, nullptr, CodecError::TooLong},
        {"", cp850, nullptr, CodecError::BadName},
        {" bob", cp850, nullptr, CodecError::BadName},
        {"bob ", cp850, nullptr, CodecError::BadName},
        {"a*", cp850, nullptr, CodecError::BadName},
        {"a\tb", cp850, nullptr, CodecError::BadName},
        {"ørjan", cp850, "\x9DRJAN", {}},
        {"ÿ", cp850, nullptr, CodecError::Unrepresentable},     // its capital is not in CP850
        {"ø\xC3", cp850, nullptr, CodecError::Unrepresentable}, // a broken sequence is U+FFFD
        {"a€", cp850, nullptr, CodecError::Unrepresentable},
        {"é", OemCodePage::Ascii, nullptr, CodecError::Unrepresentable},
    };
    for (const auto& [text, codePage, oem, error] : cases) {
        const auto name = netbiosNameFromText(text, kSuffixMessenger, codePage);
        ASSERT_EQ(name.ok(), oem != nullptr) << text;
        if (oem) {
            EXPECT_EQ(name->name, oem);
            EXPECT_EQ(name->suffix, kSuffixMessenger);
        } else {
            EXPECT_EQ(name.error(), error) << text;
        }
    }
}

TEST(OemCodePage, MapsKnownCharacters)
{
    using enum OemCodePage;
    const std::tuple<OemCodePage, std::u16string_view, std::string_view> known[]
        = {{Cp850, u"éÉøıß×▒\u00A0\x14\x7F", "\x82\x90\x9B\xD5\xE1\x9E\xB1\xFF\x14\x7F"},
           {Cp437, u"é¢ß₧\x14", "\x82\x9B\xE1\x9E\x14"},
           {Ascii, u"A\x14~", "A\x14~"}};
    for (const auto& [codePage, text, bytes] : known) {
        EXPECT_EQ(encodeOem(text, codePage).value(), bytes) << oemCodePageName(codePage);
        EXPECT_EQ(decodeOem(bytes, codePage), text) << oemCodePageName(codePage);
    }
    const std::pair<OemCodePage, std::u16string_view> missing[] = {{Cp437, u"ø"}, {Cp850, u"€"}, {Ascii, u"é"}};
    for (const auto& [codePage, text] : missing) {
        EXPECT_EQ(encodeOem(text, codePage).error(), CodecError::Unrepresentable) << oemCodePageName(codePage);
    }

    // Every byte comes back: no two bytes share a character.
    std::string all;
    for (int b = 0; b < 256; ++b) {
        all.push_back(char(b));
    }
    for (const OemCodePage cp : {Cp437, Cp850}) {
        const std::u16string text = decodeOem(all, cp);
        EXPECT_EQ(text.find(u'\uFFFD'), std::u16string::npos);
        EXPECT_EQ(encodeOem(text, cp).value(), all) << oemCodePageName(cp);
    }
    EXPECT_EQ(decodeOem("a\xE9", Ascii), u"a\uFFFD");
    EXPECT_EQ(encodeOem(u"a€😀é", Cp850, '?').value(), "a??\x82"); // the emoji is one character
    EXPECT_EQ(decodeOemText("caf\x82", Cp850), "café");
    EXPECT_EQ(encodeOemText("a\xE9\xF0\x9F\x98\x80é", Cp850, '?').value(), "a??\x82"); // a stray byte, an emoji

    for (const char* name : {"CP850", "850", "ibm850"}) {
        EXPECT_EQ(oemCodePageByName(name), Cp850) << name;
    }
    for (const char* name : {"cp437", "437"}) {
        EXPECT_EQ(oemCodePageByName(name), Cp437) << name;
    }
    EXPECT_EQ(oemCodePageByName("ASCII"), Ascii);
    for (const char* name : {"UTF-8", "CP8500", ""}) {
        EXPECT_EQ(oemCodePageByName(name), std::nullopt) << name;
    }
}
