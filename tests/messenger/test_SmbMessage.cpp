#include "Bytes.h"

#include "messenger/codec/SmbMessage.h"

#include <gtest/gtest.h>

using namespace pv::codec;
using namespace pv::codec::test;

namespace {

// The header smbclient sends: everything 0 but the command and its PID 0x2449.
Bytes requestHeader(const char* command)
{
    return cat({
        hex("FF 'SMB'"),                     // protocol
        hex(command),                        // command
        hex("00 00 00 00"),                  // status
        hex("00 00 00"),                     // flags, flags2
        hex("00 00 0000000000000000 00 00"), // PID high, security features, reserved
        hex("00 00 49 24 00 00 00 00"),      // TID, PID low, UID, MID
    });
}

SmbHeader smbclientHeader(SmbCommand command)
{
    SmbHeader h;
    h.command = command;
    h.pidLow = 0x2449;
    return h;
}

} // namespace

TEST(SmbMessage, BuildsAndParsesTheCapturedRequests)
{
    const std::pair<MessengerRequest, Bytes> cases[] = {
        {{smbclientHeader(SmbCommand::SendStart), "alice", "BOB", 0, ""},
         cat({requestHeader("D5"), hex("00"), hex("0C 00"), hex("04 'alice' 00 04 'BOB' 00")})},
        {{smbclientHeader(SmbCommand::SendText), "", "", 0x1234, "Hello world\r\nsecond line"},
         cat({requestHeader("D7"),
              hex("01 34 12"),                                      // WordCount 1, group id
              hex("1B 00"),                                         // ByteCount 27
              hex("01 18 00 'Hello world' 0D 0A 'second line'")})}, // data block of 24 bytes
        {{smbclientHeader(SmbCommand::SendEnd), "", "", 0x1234, ""}, cat({requestHeader("D6"), hex("01 34 12 00 00")})},
        {{smbclientHeader(SmbCommand::SendMessage), "alice", "BOB", 0, "hi"},
         cat({requestHeader("D0"), hex("00 11 00 04 'alice' 00 04 'BOB' 00 01 02 00 'hi'")})},
    };
    for (const auto& [request, wire] : cases) {
        EXPECT_EQ(buildMessengerRequest(request).value(), wire);
        const auto parsed = parseMessengerRequest(wire);
        ASSERT_TRUE(parsed.ok()) << codecErrorText(parsed.error());
        EXPECT_EQ(*parsed, request);
        expectEveryPrefixFails(wire, [](auto b) { return parseMessengerRequest(b); });
    }
}

TEST(SmbMessage, ReadsAndWritesReplies)
{
    const SmbHeader request = smbclientHeader(SmbCommand::SendStart);
    // smbd without a message command: ERRDOS/71, DOS form, flags2 0x0003.
    const Bytes refused = cat({hex("FF 'SMB' D5"),
                               hex("01 00 47 00"), // class ERRDOS, 0, code 71
                               hex("80 03 00"),    // flags: reply; flags2
                               hex("00 00 0000000000000000 00 00 00 00 49 24 00 00 00 00"),
                               hex("00 00 00")}); // WordCount 0, ByteCount 0
    EXPECT_EQ(buildMessengerReply(request, SmbStatus::dos(kErrDos, kErrDosReqNotAccepted)), refused);

    const Bytes smbdSuccess = cat({hex("FF 'SMB' D5 00000000"), // smbd's D5 answer: NT form, WordCount 0
                                   hex("80 03 40"),
                                   hex("00 00 0000000000000000 00 00 00 00 49 24 00 00 00 00"),
                                   hex("00 00 00")});
    const std::tuple<Bytes, SmbCommand, SmbStatus, std::optional<uint16_t>> cases[] = {
        {refused, SmbCommand::SendStart, SmbStatus::dos(kErrDos, kErrDosReqNotAccepted), std::nullopt},
        {smbdSuccess, SmbCommand::SendStart, SmbStatus::nt(0), std::nullopt},
        {buildMessengerReply(request, SmbStatus::success(), 0x1234), SmbCommand::SendStart, {}, 0x1234},
        {buildMessengerReply(smbclientHeader(SmbCommand::SendEnd), SmbStatus::nt(kNtStatusRequestNotAccepted)),
         SmbCommand::SendEnd,
         SmbStatus::nt(kNtStatusRequestNotAccepted),
         std::nullopt},
    };
    for (const auto& [wire, expected, status, groupId] : cases) {
        const auto reply = parseMessengerReply(wire, expected);
        ASSERT_TRUE(reply.ok()) << codecErrorText(reply.error());
        EXPECT_EQ(reply->header.status, status);
        EXPECT_EQ(reply->groupId, groupId);
        expectEveryPrefixFails(wire, [command = expected](auto b) { return parseMessengerReply(b, command); });
        EXPECT_EQ(reply->header.pidLow, 0x2449);
    }
}

TEST(SmbMessage, RejectsMalformedPackets)
{
    const Bytes d5 = requestHeader("D5");
    const Bytes d7 = requestHeader("D7");
    Bytes reply = d5;
    reply[9] = kSmbFlagReply;
    const std::tuple<const char*, Bytes, CodecError> cases[] = {
        {"bad signature",
         cat({hex("FE 'SMB' D5"), Bytes(d5.begin() + 5, d5.end()), hex("00 00 00")}),
         CodecError::BadSignature},
        {"word count 1 on D5", cat({d5, hex("01 00 00 00 00")}), CodecError::BadWordCount},
        {"word count 0 on D7", cat({d7, hex("00 04 00 01 01 00 'x'")}), CodecError::BadWordCount},
        {"byte count past the end", cat({d5, hex("00 0D 00 04 'alice' 00 04 'BOB' 00")}), CodecError::BadByteCount},
        {"words past the end", cat({d7, hex("02 34 12 00 00")}), CodecError::Truncated},
        {"From without 04", cat({d5, hex("00 0C 00 05 'alice' 00 04 'BOB' 00")}), CodecError::BadBufferFormat},
        {"text as a string", cat({d7, hex("01 34 12 04 00 04 'x' 00 00")}), CodecError::BadBufferFormat},
        {"To without NUL", cat({d5, hex("00 0B 00 04 'alice' 00 04 'BOB'")}), CodecError::BadString},
        {"block past the bytes", cat({d7, hex("01 34 12 04 00 01 02 00 'x' 00")}), CodecError::BadLength},
        {"no To at all", cat({d5, hex("00 07 00 04 'alice' 00")}), CodecError::Truncated},
        {"reply flag on a request", cat({reply, hex("00 00 00")}), CodecError::BadFlags},
        {"negotiate", cat({requestHeader("72"), hex("00 00 00")}), CodecError::BadType},
    };
    for (const auto& [what, wire, error] : cases) {
        const auto parsed = parseMessengerRequest(wire);
        ASSERT_FALSE(parsed.ok()) << what;
        EXPECT_EQ(parsed.error(), error) << what;
    }

    const Bytes okReply = buildMessengerReply(smbclientHeader(SmbCommand::SendText), SmbStatus::success());
    Bytes wordInD7Reply = buildMessengerReply(smbclientHeader(SmbCommand::SendText), SmbStatus::success(), 1);
    const std::tuple<Bytes, SmbCommand, CodecError> replies[] = {
        {okReply, SmbCommand::SendEnd, CodecError::BadType},
        {cat({d7, hex("00 00 00")}), SmbCommand::SendText, CodecError::BadFlags},
        {wordInD7Reply, SmbCommand::SendText, CodecError::BadWordCount},
    };
    for (const auto& [wire, expected, error] : replies) {
        const auto parsed = parseMessengerReply(wire, expected);
        ASSERT_FALSE(parsed.ok());
        EXPECT_EQ(parsed.error(), error);
    }
}

TEST(SmbMessage, RefusesToBuildOversizedFields)
{
    const auto request = [](SmbCommand command, std::string from, std::string to, std::string text) {
        return MessengerRequest {smbclientHeader(command), std::move(from), std::move(to), 0, std::move(text)};
    };
    const std::pair<MessengerRequest, CodecError> cases[] = {
        {request(SmbCommand::SendStart, std::string(16, 'A'), "BOB", ""), CodecError::TooLong},
        {request(SmbCommand::SendStart, "alice", std::string("B\0B", 3), ""), CodecError::BadString},
        {request(SmbCommand::SendText, "", "", std::string(129, 'x')), CodecError::TooLong},
        {request(SmbCommand::SendMessage, "alice", "BOB", std::string(129, 'x')), CodecError::TooLong},
        {request(SmbCommand::Negotiate, "", "", ""), CodecError::BadType},
    };
    for (const auto& [r, error] : cases) {
        const auto built = buildMessengerRequest(r);
        ASSERT_FALSE(built.ok());
        EXPECT_EQ(built.error(), error);
    }
    EXPECT_TRUE(buildMessengerRequest(request(SmbCommand::SendText, "", "", std::string(128, 'x'))).ok());
}
