// NetBIOS datagrams and the messenger mailslot write inside them.
#include "FuzzCheck.h"

#include "messenger/codec/Datagram.h"

using namespace pv::codec;

namespace {

void checkMailslot(std::span<const uint8_t> smb)
{
    const auto message = parseMessengerMailslot(smb);
    if (!message) {
        return;
    }
    const auto rebuilt = buildMessengerMailslot(*message);
    if (!rebuilt) {
        // Only a payload above what Windows sends may be refused (the parsed fields hold no NUL).
        PV_FUZZ_CHECK(rebuilt.error() == CodecError::TooLong);
        return;
    }
    const auto again = parseMessengerMailslot(*rebuilt);
    PV_FUZZ_CHECK(again.ok() && *again == *message);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::span<const uint8_t> input(data, size);
    checkMailslot(input);

    const auto datagram = parseDatagram(input);
    if (!datagram) {
        return 0;
    }
    PV_FUZZ_CHECK(datagram->userData.data() + datagram->userData.size() <= data + size);
    checkMailslot(datagram->userData);
    const auto rebuilt = buildDatagram(*datagram);
    PV_FUZZ_CHECK(rebuilt.ok());
    const auto again = parseDatagram(*rebuilt);
    PV_FUZZ_CHECK(
        again.ok() && again->type == datagram->type && again->flags == datagram->flags && again->id == datagram->id
        && again->sourceIp == datagram->sourceIp && again->source == datagram->source
        && again->destination == datagram->destination
        && std::equal(
            again->userData.begin(), again->userData.end(), datagram->userData.begin(), datagram->userData.end()));
    return 0;
}
