#include "messenger/codec/NameService.h"

#include <algorithm>

namespace pv::codec {

namespace {

constexpr uint16_t kRrTypeNull = 0x000A; // some servers' negative answers
constexpr size_t kNodeStatusEntrySize = 18;

struct Header
{
    uint16_t id = 0;
    uint16_t flags = 0;
    uint16_t questions = 0;
    uint16_t answers = 0;
};

//  +---------+------------+---------+---------+---------+---------+
//  | id (BE) | flags (BE) | QDCOUNT | ANCOUNT | NSCOUNT | ARCOUNT |
//  +---------+------------+---------+---------+---------+---------+
//  flags: R | opcode (4) | AA | TC | RD | RA | 0 0 | B | RCODE (4)
Result<Header> fetchHeader(ByteCursor& in, bool reply)
{
    Header h;
    uint16_t ns = 0;
    uint16_t ar = 0;
    if (!in.fetchBe16(h.id) || !in.fetchBe16(h.flags) || !in.fetchBe16(h.questions) || !in.fetchBe16(h.answers)
        || !in.fetchBe16(ns) || !in.fetchBe16(ar)) {
        return CodecError::Truncated;
    }
    if (bool(h.flags & kNsReply) != reply) {
        return CodecError::BadFlags;
    }
    if (h.flags & kNsOpcodeMask) {
        return CodecError::BadType; // registrations, releases, WACKs, refreshes
    }
    return h;
}

void putHeader(ByteWriter& w, uint16_t id, uint16_t flags, uint16_t questions, uint16_t answers)
{
    w.be16(id);
    w.be16(flags);
    w.be16(questions);
    w.be16(answers);
    w.be32(0); // NSCOUNT, ARCOUNT
}

struct Record
{
    NetbiosName name;
    uint16_t type = 0;
    uint32_t ttl = 0;
    std::span<const uint8_t> data;
};

//  RR: name | type (BE) | class (BE) | TTL (BE 32) | RDLENGTH (BE) | RDATA
Result<Record> fetchRecord(ByteCursor& in)
{
    auto name = decodeNetbiosName(in, true);
    if (!name) {
        return name.error();
    }
    Record r {std::move(*name), 0, 0, {}};
    uint16_t rrClass = 0;
    uint16_t length = 0;
    if (!in.fetchBe16(r.type) || !in.fetchBe16(rrClass) || !in.fetchBe32(r.ttl) || !in.fetchBe16(length)) {
        return CodecError::Truncated;
    }
    if (rrClass != kRrClassIn) {
        return CodecError::BadType;
    }
    if (!in.fetchBytes(length, r.data)) {
        return CodecError::Truncated;
    }
    return r;
}

Result<size_t> putRecordHead(ByteWriter& w, const NetbiosName& name, uint16_t type, uint32_t ttl, size_t dataLength)
{
    if (dataLength > 0xFFFF) {
        return CodecError::TooLong;
    }
    if (auto written = appendNetbiosName(w, name); !written) {
        return written.error();
    }
    w.be16(type);
    w.be16(kRrClassIn);
    w.be32(ttl);
    w.be16(static_cast<uint16_t>(dataLength));
    return dataLength;
}

Result<std::vector<uint8_t>> buildQuestion(uint16_t id, uint16_t flags, const NetbiosName& name, uint16_t type)
{
    std::vector<uint8_t> out;
    ByteWriter w(out);
    putHeader(w, id, flags, 1, 0);
    if (auto written = appendNetbiosName(w, name); !written) {
        return written.error();
    }
    w.be16(type);
    w.be16(kRrClassIn);
    return out;
}

} // namespace

Result<std::vector<uint8_t>> buildNameQuery(uint16_t id, const NetbiosName& name, bool broadcast)
{
    return buildQuestion(id, kNsRecursionDesired | (broadcast ? kNsBroadcast : 0), name, kRrTypeNb);
}

Result<std::vector<uint8_t>> buildNodeStatusRequest(uint16_t id, const NetbiosName& name)
{
    return buildQuestion(id, 0, name, kRrTypeNbStat);
}

//  header (QDCOUNT 1) | question name | type NB 0x0020 or NBSTAT 0x0021 | class IN 0x0001
Result<NameQuestion> parseNameQuestion(std::span<const uint8_t> packet)
{
    ByteCursor in(packet);
    auto header = fetchHeader(in, false);
    if (!header) {
        return header.error();
    }
    if (header->questions != 1) {
        return CodecError::BadCount;
    }
    auto name = decodeNetbiosName(in, true);
    if (!name) {
        return name.error();
    }
    NameQuestion q {header->id, header->flags, std::move(*name), 0};
    uint16_t rrClass = 0;
    if (!in.fetchBe16(q.type) || !in.fetchBe16(rrClass)) {
        return CodecError::Truncated;
    }
    if ((q.type != kRrTypeNb && q.type != kRrTypeNbStat) || rrClass != kRrClassIn) {
        return CodecError::BadType;
    }
    return q;
}

//  header (ANCOUNT 1) | RR name | NB | IN | TTL | RDLENGTH = 6k | k × (NB_FLAGS (BE) | IPv4 (BE 32))
Result<std::vector<uint8_t>>
buildNameQueryAnswer(const NameQuestion& question, uint32_t ttl, std::span<const NbAddress> addresses)
{
    if (question.type != kRrTypeNb) {
        return CodecError::BadType;
    }
    std::vector<uint8_t> out;
    ByteWriter w(out);
    putHeader(w, question.id, kNsReply | kNsAuthoritative | (question.flags & kNsRecursionDesired), 0, 1);
    if (auto head = putRecordHead(w, question.name, kRrTypeNb, ttl, 6 * addresses.size()); !head) {
        return head.error();
    }
    for (const NbAddress& a : addresses) {
        w.be16(a.flags);
        w.be32(a.ip);
    }
    return out;
}

Result<NameQueryResponse> parseNameQueryResponse(std::span<const uint8_t> packet)
{
    ByteCursor in(packet);
    auto header = fetchHeader(in, true);
    if (!header) {
        return header.error();
    }
    NameQueryResponse response;
    response.id = header->id;
    response.flags = header->flags;
    if (header->questions != 0) {
        return CodecError::BadCount;
    }
    const bool negative = response.rcode() != 0;
    if (header->answers == 0) {
        return negative ? Result<NameQueryResponse>(response) : CodecError::BadCount;
    }
    auto record = fetchRecord(in);
    if (!record) {
        return record.error();
    }
    response.name = std::move(record->name);
    response.ttl = record->ttl;
    if (record->type != kRrTypeNb && !(negative && record->type == kRrTypeNull)) {
        return CodecError::BadType;
    }
    if (record->data.size() % 6 != 0) {
        return CodecError::BadLength;
    }
    ByteCursor data(record->data);
    while (!data.atEnd()) {
        NbAddress a;
        (void)data.fetchBe16(a.flags); // a multiple of 6 bytes remains
        (void)data.fetchBe32(a.ip);
        response.addresses.push_back(a);
    }
    return response;
}

//  header (ANCOUNT 1) | RR name | NBSTAT | IN | TTL 0 | RDLENGTH
//  RDATA: NUM_NAMES (1) | NUM_NAMES × (16 raw name bytes | flags (BE)) | statistics (46, MAC first)
Result<std::vector<uint8_t>> buildNodeStatusResponse(const NameQuestion& question,
                                                     std::span<const NodeStatusEntry> names,
                                                     const std::array<uint8_t, 6>& mac)
{
    if (names.size() > 0xFF) {
        return CodecError::BadCount;
    }
    std::vector<uint8_t> out;
    ByteWriter w(out);
    putHeader(w, question.id, kNsReply | kNsAuthoritative, 0, 1);
    const size_t dataLength = 1 + kNodeStatusEntrySize * names.size() + kNodeStatisticsSize;
    if (auto head = putRecordHead(w, question.name, kRrTypeNbStat, 0, dataLength); !head) {
        return head.error();
    }
    w.u8(static_cast<uint8_t>(names.size()));
    for (const NodeStatusEntry& entry : names) {
        if (entry.name.name.size() > kNetbiosNameMax) {
            return CodecError::TooLong;
        }
        w.bytes(paddedNetbiosName(entry.name));
        w.be16(entry.flags);
    }
    w.bytes(mac);
    w.zeros(kNodeStatisticsSize - mac.size());
    return out;
}

Result<NodeStatusResponse> parseNodeStatusResponse(std::span<const uint8_t> packet)
{
    ByteCursor in(packet);
    auto header = fetchHeader(in, true);
    if (!header) {
        return header.error();
    }
    if (header->questions != 0 || header->answers == 0) {
        return CodecError::BadCount;
    }
    auto record = fetchRecord(in);
    if (!record) {
        return record.error();
    }
    if (record->type != kRrTypeNbStat) {
        return CodecError::BadType;
    }
    NodeStatusResponse response;
    response.id = header->id;
    response.flags = header->flags;
    response.name = std::move(record->name);
    ByteCursor data(record->data);
    uint8_t count = 0;
    if (!data.fetchU8(count)) {
        return CodecError::Truncated;
    }
    if (data.remaining() < kNodeStatusEntrySize * count) {
        return CodecError::BadCount;
    }
    for (uint8_t i = 0; i < count; ++i) {
        std::span<const uint8_t> raw;
        NodeStatusEntry entry;
        (void)data.fetchBytes(16, raw); // the count check made room
        (void)data.fetchBe16(entry.flags);
        entry.name = unpaddedNetbiosName(raw.first<16>());
        response.names.push_back(std::move(entry));
    }
    // Some stacks send fewer than 46 bytes of statistics; only the MAC at their start matters.
    const auto statistics = data.rest();
    response.statistics.assign(statistics.begin(), statistics.end());
    if (statistics.size() >= response.mac.size()) {
        std::copy_n(statistics.begin(), response.mac.size(), response.mac.begin());
    }
    return response;
}

} // namespace pv::codec
