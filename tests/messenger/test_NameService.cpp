#include "Bytes.h"

#include "messenger/codec/NameService.h"

#include <gtest/gtest.h>

using namespace pv::codec;
using namespace pv::codec::test;

namespace {

const Bytes kPeerB03 = hex("20 'FAEFEFFCECCACACACACACACACACACAAD' 00");
const Bytes kWildcard = hex("20 'CKAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA' 00");

const Bytes kQuery = cat({
    hex("12 34 01 10"),             // id, flags RD + B
    hex("00 01 00 00 00 00 00 00"), // one question
    kPeerB03,
    hex("00 20 00 01"), // NB, IN
});

// nmbd's answer, twice the same address.
const Bytes kNmbdAnswer = cat({
    hex("12 34 85 80 00 00 00 01 00 00 00 00"), // reply, AA, RD, RA; one answer
    kPeerB03,
    hex("00 20 00 01 00 03 F4 80 00 0C"),       // NB, IN, TTL 3 days, RDLENGTH 12
    hex("00 00 0A 4D 00 02 00 00 0A 4D 00 02"), // unique B node 10.77.0.2, twice
});

// Node status answer of PEERB, as nmbd gives it (flags 0x8400, RDLENGTH 137).
const Bytes kNodeStatus = cat({
    hex("12 35 84 00 00 00 00 01 00 00 00 00"),
    kWildcard,
    hex("00 21 00 01 00 00 00 00 00 89"), // NBSTAT, IN, TTL 0, RDLENGTH 137
    hex("05"),                            // five names
    hex("'PEERB          ' 00 04 00"),    // active
    hex("'PEERB          ' 03 04 00"),
    hex("'PEERB          ' 20 04 00"),
    hex("'TESTWG         ' 00 84 00"), // group, active
    hex("'TESTWG         ' 1E 84 00"),
    hex("00 16 3E 01 02 03"), // statistics: the MAC (nmbd sends zeros), then 40 more bytes
    Bytes(40, 0),
});

} // namespace

TEST(NameService, BuildsAndParsesQuestions)
{
    const NetbiosName peerb {"PEERB", 0x03, ""};
    EXPECT_EQ(buildNameQuery(0x1234, peerb, true).value(), kQuery);
    EXPECT_EQ(buildNodeStatusRequest(0x1235).value(),
              cat({hex("12 35 00 00 00 01 00 00 00 00 00 00"), kWildcard, hex("00 21 00 01")}));

    const auto question = parseNameQuestion(kQuery);
    ASSERT_TRUE(question.ok());
    EXPECT_EQ(question->id, 0x1234);
    EXPECT_EQ(question->name, peerb);
    EXPECT_EQ(question->type, kRrTypeNb);
    EXPECT_TRUE(question->isBroadcast());
    expectEveryPrefixFails(kQuery, [](auto b) { return parseNameQuestion(b); });

    // Our answer is nmbd's without RA (a B node is no name server) and with one address.
    Bytes expected(kNmbdAnswer.begin(), kNmbdAnswer.end() - 6);
    expected[3] = 0x00;
    expected[expected.size() - 7] = 0x06;
    const NbAddress address {0x0000, 0x0A4D0002};
    EXPECT_EQ(buildNameQueryAnswer(*question, 0x0003F480, std::span(&address, 1)).value(), expected);
}

TEST(NameService, ParsesResponses)
{
    const auto answer = parseNameQueryResponse(kNmbdAnswer);
    ASSERT_TRUE(answer.ok());
    EXPECT_TRUE(answer->isPositive());
    EXPECT_EQ(answer->name, (NetbiosName {"PEERB", 0x03, ""}));
    EXPECT_EQ(answer->ttl, 0x0003F480u);
    EXPECT_EQ(answer->addresses, (std::vector<NbAddress> {{0, 0x0A4D0002}, {0, 0x0A4D0002}}));
    expectEveryPrefixFails(kNmbdAnswer, [](auto b) { return parseNameQueryResponse(b); });

    const auto negative = parseNameQueryResponse(hex("12 34 85 83 00 00 00 00 00 00 00 00"));
    ASSERT_TRUE(negative.ok());
    EXPECT_FALSE(negative->isPositive());
    EXPECT_EQ(negative->rcode(), kNsNameError);

    const auto status = parseNodeStatusResponse(kNodeStatus);
    ASSERT_TRUE(status.ok());
    const std::vector<NodeStatusEntry> names = {
        {{"PEERB", 0x00, ""}, kNameActive},
        {{"PEERB", 0x03, ""}, kNameActive},
        {{"PEERB", 0x20, ""}, kNameActive},
        {{"TESTWG", 0x00, ""}, kNbGroup | kNameActive},
        {{"TESTWG", 0x1E, ""}, kNbGroup | kNameActive},
    };
    EXPECT_EQ(status->names, names);
    EXPECT_EQ(status->name, NetbiosName::wildcard());
    EXPECT_EQ(status->mac, (std::array<uint8_t, 6> {0x00, 0x16, 0x3E, 0x01, 0x02, 0x03}));
    EXPECT_EQ(status->statistics.size(), kNodeStatisticsSize);
    expectEveryPrefixFails(kNodeStatus, [](auto b) { return parseNodeStatusResponse(b); });

    const NameQuestion request = parseNameQuestion(buildNodeStatusRequest(0x1235).value()).value();
    EXPECT_EQ(buildNodeStatusResponse(request, names, status->mac).value(), kNodeStatus);
}

TEST(NameService, RejectsMalformedPackets)
{
    const std::tuple<const char*, Bytes, CodecError> questions[] = {
        {"a response", patched(kQuery, 2, {0x81}), CodecError::BadFlags},
        {"a registration", patched(kQuery, 2, {0x29}), CodecError::BadType},
        {"two questions", patched(kQuery, 5, {2}), CodecError::BadCount},
        {"type A", patched(kQuery, 46, {0x00, 0x01}), CodecError::BadType},
        {"class CH", patched(kQuery, 48, {0x00, 0x03}), CodecError::BadType},
    };
    for (const auto& [what, wire, error] : questions) {
        const auto parsed = parseNameQuestion(wire);
        ASSERT_FALSE(parsed.ok()) << what;
        EXPECT_EQ(parsed.error(), error) << what;
    }
    const std::tuple<const char*, Bytes, CodecError> answers[] = {
        {"a request", patched(kNmbdAnswer, 2, {0x05}), CodecError::BadFlags},
        {"no answer", patched(kNmbdAnswer, 7, {0}), CodecError::BadCount},
        {"RDLENGTH not 6k", patched(kNmbdAnswer, 55, {0x0B}), CodecError::BadLength},
        {"RDLENGTH past the end", patched(kNmbdAnswer, 55, {0x12}), CodecError::Truncated},
        {"node status type", patched(kNmbdAnswer, 47, {0x21}), CodecError::BadType},
    };
    for (const auto& [what, wire, error] : answers) {
        const auto parsed = parseNameQueryResponse(wire);
        ASSERT_FALSE(parsed.ok()) << what;
        EXPECT_EQ(parsed.error(), error) << what;
    }
    EXPECT_EQ(parseNodeStatusResponse(patched(kNodeStatus, 56, {8})).error(), CodecError::BadCount);
    EXPECT_EQ(parseNodeStatusResponse(kNmbdAnswer).error(), CodecError::BadType);
}
