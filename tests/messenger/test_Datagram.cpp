#include "Bytes.h"

#include "messenger/codec/Datagram.h"
#include "messenger/codec/SmbMessage.h"

#include <gtest/gtest.h>

using namespace pv::codec;
using namespace pv::codec::test;

namespace {

const MailslotMessage kMessage {"ALICE", "WORKGROUP*", "Hello"};

// The mailslot write of kMessage, padded as Windows pads.
const Bytes kMailslot = cat({
    hex("FF 'SMB' 25 00000000"),                                     // transaction, status 0
    hex("18 04 00 0000 0000000000000000 0000 0000 FF FE 0000 0000"), // flags, flags2, PID 0xFEFF
    hex("11"),                                                       // WordCount 17
    hex("0000 1700 0000 0000 0000 0000 00000000 0000"),              // total counts 0/23, max counts, flags, timeout
    hex("0000 0000 1700 5800"),                                      // no parameters; DataCount 23 at DataOffset 88
    hex("03 00 0100 0100 0200"),                                     // 3 setup words: write, priority 1, class 2
    hex("2A 00"),                                                    // ByteCount 42
    hex("'\\MAILSLOT\\MESSNGR' 00 00"),                              // name, pad to 88
    hex("'ALICE' 00 'WORKGROUP*' 00 'Hello' 00"),
});

// Samba's layout: no pad (DataOffset 87), and here no final NUL either.
Bytes sambaStyle()
{
    Bytes smb = kMailslot;
    smb.erase(smb.begin() + 87);
    smb.pop_back();
    smb[35] = smb[55] = 22; // TotalDataCount, DataCount
    smb[57] = 87;           // DataOffset
    smb[67] = 40;           // ByteCount
    return smb;
}

} // namespace

TEST(Datagram, BuildsTheMessengerMailslotWrite)
{
    const auto smb = buildMessengerMailslot(kMessage);
    ASSERT_TRUE(smb.ok());
    EXPECT_EQ(*smb, kMailslot);

    Datagram d;
    d.id = 0x1234;
    d.sourceIp = 0x0A4D0001;
    d.source = {"MYSTATION", 0x00, ""};
    d.destination = {"WORKGROUP", 0x00, ""};
    d.userData = *smb;
    const auto built = buildDatagram(d);
    ASSERT_TRUE(built.ok());
    EXPECT_EQ(Bytes(built->begin(), built->begin() + 14),
              hex("11 02 12 34 0A 4D 00 01 00 8A 00 B3 00 00")); // DIRECT_GROUP, first, B node; 179 bytes follow
    EXPECT_EQ(built->size(), 14 + 68 + kMailslot.size());

    const auto parsed = parseDatagram(*built);
    ASSERT_TRUE(parsed.ok());
    EXPECT_EQ(parsed->destination, d.destination);
    EXPECT_EQ(parsed->source, d.source);
    EXPECT_EQ(parsed->sourceIp, d.sourceIp);
    EXPECT_FALSE(parsed->isFragment());
    EXPECT_EQ(Bytes(parsed->userData.begin(), parsed->userData.end()), kMailslot);
    expectEveryPrefixFails(*built, [](auto b) { return parseDatagram(b); });
}

TEST(Datagram, ReadsBothMailslotLayouts)
{
    for (const Bytes& smb : {kMailslot, sambaStyle()}) {
        const auto message = parseMessengerMailslot(smb);
        ASSERT_TRUE(message.ok()) << codecErrorText(message.error());
        EXPECT_EQ(*message, kMessage);
        expectEveryPrefixFails(smb, [](auto b) { return parseMessengerMailslot(b); });
    }
}

TEST(Datagram, RejectsMalformedDatagrams)
{
    Bytes shortPayload = kMailslot;
    shortPayload.resize(kMailslot.size() - 17); // only "ALICE\0"
    shortPayload[35] = shortPayload[55] = 6;
    shortPayload[67] = 25;
    const std::tuple<const char*, Bytes, CodecError> mailslots[] = {
        {"other mailslot", patched(kMailslot, 79, {'B', 'R', 'O', 'W', 'S', 'E', 0}), CodecError::BadMailslot},
        {"read opcode", patched(kMailslot, 61, {2}), CodecError::BadMailslot},
        {"data past the end", patched(kMailslot, 57, {100}), CodecError::BadOffset},
        {"data inside the header", patched(kMailslot, 57, {8}), CodecError::BadOffset},
        {"secondary request needed", patched(kMailslot, 35, {30}), CodecError::BadLength},
        {"setup count 2", patched(kMailslot, 59, {2}), CodecError::BadWordCount},
        {"not a transaction", patched(kMailslot, 4, {0xD5}), CodecError::BadType},
        {"From without To", shortPayload, CodecError::BadString},
    };
    for (const auto& [what, smb, error] : mailslots) {
        const auto parsed = parseMessengerMailslot(smb);
        ASSERT_FALSE(parsed.ok()) << what;
        EXPECT_EQ(parsed.error(), error) << what;
    }

    Datagram d;
    d.source = d.destination = {"A", 0, ""};
    const Bytes ok = *buildDatagram(d); // 14 + 68 bytes, no user data
    const std::tuple<const char*, Bytes, CodecError> datagrams[] = {
        {"error datagram", patched(ok, 0, {0x13}), CodecError::BadType},
        {"length past the end", patched(ok, 10, {0x00, 0x45}), CodecError::Truncated},
        {"length inside the names", patched(ok, 10, {0x00, 0x43}), CodecError::BadLength},
    };
    for (const auto& [what, wire, error] : datagrams) {
        const auto parsed = parseDatagram(wire);
        ASSERT_FALSE(parsed.ok()) << what;
        EXPECT_EQ(parsed.error(), error) << what;
    }
    EXPECT_EQ(buildMessengerMailslot({"A", "B", std::string(420, 'x')}).error(), CodecError::TooLong);
    EXPECT_EQ(buildMessengerMailslot({"A", "B", std::string("x\0y", 3)}).error(), CodecError::BadString);
}
