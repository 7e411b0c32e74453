#include "Bytes.h"

#include "messenger/codec/ResultCodes.h"
#include "messenger/codec/SessionFrame.h"

#include <gtest/gtest.h>

using namespace pv::codec;
using namespace pv::codec::test;

// smbclient -M BOB, netbios name MYSTATION, as captured on port 139.
static const Bytes kCapturedRequest = cat({
    hex("81 00 00 44"),                              // session request, flags 0, length 68
    hex("20 'ECEPECCACACACACACACACACACACACAAD' 00"), // called  "BOB            "<03>
    hex("20 'ENFJFDFEEBFEEJEPEOCACACACACACAAA' 00"), // calling "MYSTATION      "<00>
});

TEST(SessionFrame, BuildsAndParsesTheCapturedRequest)
{
    const auto built = buildSessionRequest({"BOB", 0x03, ""}, {"MYSTATION", 0x00, ""});
    ASSERT_TRUE(built.ok());
    EXPECT_EQ(*built, kCapturedRequest);

    const auto frame = parseSessionFrame(kCapturedRequest);
    ASSERT_TRUE(frame.ok());
    EXPECT_EQ(frame->type, SessionType::Request);
    EXPECT_EQ(frame->called, (NetbiosName {"BOB", 0x03, ""}));
    EXPECT_EQ(frame->calling, (NetbiosName {"MYSTATION", 0x00, ""}));
    expectEveryPrefixFails(kCapturedRequest, [](auto b) { return parseSessionFrame(b); });
}

TEST(SessionFrame, BuildsEveryOtherType)
{
    const Bytes smb(0x10001, 0xAB);
    const auto message = buildSessionMessage(smb);
    ASSERT_TRUE(message.ok());
    EXPECT_EQ(Bytes(message->begin(), message->begin() + 4), hex("00 01 00 01")); // E flag: 17th bit
    EXPECT_FALSE(buildSessionMessage(Bytes(kSessionMaxLength + 1)).ok());

    const std::pair<Bytes, Bytes> cases[] = {
        {buildPositiveSessionResponse(), hex("82 00 00 00")},
        {buildNegativeSessionResponse(kCalledNotPresent), hex("83 00 00 01 82")},
        {buildRetargetSessionResponse(0x0A4D0002, 139), hex("84 00 00 06 0A 4D 00 02 00 8B")},
        {buildKeepAlive(), hex("85 00 00 00")},
    };
    for (const auto& [built, wire] : cases) {
        EXPECT_EQ(built, wire);
        const auto parsed = parseSessionFrame(wire);
        ASSERT_TRUE(parsed.ok());
        EXPECT_EQ(uint8_t(parsed->type), wire[0]);
        expectEveryPrefixFails(wire, [](auto b) { return parseSessionFrame(b); });
    }
    const auto message2 = parseSessionFrame(*message);
    ASSERT_TRUE(message2.ok());
    EXPECT_EQ(message2->payload.size(), smb.size());
    EXPECT_EQ(parseSessionFrame(cases[1].second)->errorCode, kCalledNotPresent);
    EXPECT_EQ(parseSessionFrame(cases[2].second)->retargetIp, 0x0A4D0002u);
    EXPECT_EQ(parseSessionFrame(cases[2].second)->retargetPort, 139);
}

TEST(SessionFrame, RejectsMalformedFrames)
{
    const std::tuple<const char*, Bytes, uint32_t, CodecError> cases[] = {
        {"reserved flag bit", hex("00 02 00 00"), kSessionMaxLength, CodecError::BadFlags},
        {"unknown type", hex("89 00 00 00"), kSessionMaxLength, CodecError::BadType},
        {"above the caller's maximum", hex("00 00 10 01"), 0x1000, CodecError::TooLong},
        {"keep-alive with a body", hex("85 00 00 01 00"), kSessionMaxLength, CodecError::BadLength},
        {"negative without code", hex("83 00 00 00"), kSessionMaxLength, CodecError::BadLength},
        {"request too short", cat({hex("81 00 00 22"), Bytes(34, 'A')}), kSessionMaxLength, CodecError::BadLength},
        {"bytes after the frame", hex("82 00 00 00 00"), kSessionMaxLength, CodecError::BadLength},
        {"trailing byte after the names",
         cat({hex("81 00 00 45"), Bytes(kCapturedRequest.begin() + 4, kCapturedRequest.end()), hex("00")}),
         kSessionMaxLength,
         CodecError::BadLength},
    };
    for (const auto& [what, wire, max, error] : cases) {
        const auto frame = parseSessionFrame(wire, max);
        ASSERT_FALSE(frame.ok()) << what;
        EXPECT_EQ(frame.error(), error) << what;
    }
}

TEST(SessionFrame, SaysHowManyBytesAStreamStillNeeds)
{
    const Bytes stream = cat({hex("00 00 00 05 'hello'"), buildKeepAlive()});
    // {bytes buffered, bytes still needed}
    const std::pair<size_t, size_t> cases[] = {{0, 4}, {1, 3}, {3, 1}, {4, 5}, {8, 1}, {9, 0}, {13, 0}};
    for (const auto& [buffered, needed] : cases) {
        EXPECT_EQ(sessionBytesNeeded(std::span(stream).first(buffered), 64).value(), needed) << buffered;
    }
    EXPECT_EQ(sessionBytesNeeded(hex("00 01 00 00"), 0xFFFF).error(), CodecError::TooLong);
    EXPECT_EQ(sessionBytesNeeded(hex("00 01 FF FF"), kSessionMaxLength).value(), kSessionMaxLength);
}

// The numbers of the result table in docs/send.md, not our constants: a wrong constant fails here.
TEST(ResultCodes, MapsSmbErrorsAndNegativeSessions)
{
    using S = SmbStatus;
    // clang-format off
    const std::pair<SmbStatus, int> statuses[] = {
        {S::success(), 0},          {S::nt(0), 0},           {S::dos(2, 82), 2273},   {S::dos(1, 71), 2273},
        {S::nt(0xC00000D0), 2273},  {S::dos(2, 81), 2281},   {S::dos(2, 83), 8},      {S::dos(2, 89), 8},
        {S::dos(1, 5), 5},          {S::dos(2, 4), 5},       {S::nt(0xC0000022), 5},  {S::dos(2, 64), 50},
        {S::dos(2, 22), 50},        {S::nt(0xC0000002), 50}, {S::nt(0xC00000BB), 50}, {S::dos(1, 87), 2136},
        {S::dos(1, 82), 2136},      {S::dos(3, 5), 2136},    {S::nt(0xC000000D), 2136}};
    // clang-format on
    for (const auto& [status, code] : statuses) {
        EXPECT_EQ(resultFromSmbStatus(status), code)
            << int(status.errorClass) << "/" << status.errorCode << " " << std::hex << status.ntStatus;
    }
    const std::pair<uint8_t, int> negatives[]
        = {{0x80, 2273}, {0x81, 5}, {0x82, 2273}, {0x83, 8}, {0x8F, 2136}, {0, 2136}};
    for (const auto& [code, result] : negatives) {
        EXPECT_EQ(resultFromNegativeSession(code), result) << int(code);
    }
}
