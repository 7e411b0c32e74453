// Session service frames, the stream helper and wire names.
#include "FuzzCheck.h"

#include "messenger/codec/SessionFrame.h"

#include <algorithm>

using namespace pv::codec;

namespace {

void checkNames(std::span<const uint8_t> data)
{
    ByteCursor in(data);
    const auto name = decodeNetbiosName(in, true);
    if (!name) {
        return;
    }
    PV_FUZZ_CHECK(in.position() <= data.size());
    std::vector<uint8_t> wire;
    ByteWriter w(wire);
    const auto written = appendNetbiosName(w, *name);
    PV_FUZZ_CHECK(written.ok() && *written == wire.size());
    ByteCursor again(wire);
    const auto reparsed = decodeNetbiosName(again);
    PV_FUZZ_CHECK(reparsed.ok() && *reparsed == *name && again.atEnd());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::span<const uint8_t> input(data, size);
    checkNames(input);

    for (const uint32_t max : {uint32_t(64), uint32_t(0x10000), kSessionMaxLength}) {
        const auto needed = sessionBytesNeeded(input, max);
        if (needed && size >= kSessionHeaderSize) {
            const auto header = parseSessionHeader(input.first(kSessionHeaderSize), max);
            PV_FUZZ_CHECK(header.ok() && header->length <= max);
            PV_FUZZ_CHECK(*needed == (size >= header->frameSize() ? 0 : header->frameSize() - size));
        }
    }

    const auto frame = parseSessionFrame(input);
    if (!frame) {
        return 0;
    }
    Result<std::vector<uint8_t>> rebuilt = CodecError::BadType;
    switch (frame->type) {
    case SessionType::Message:
        rebuilt = buildSessionMessage(frame->payload);
        break;
    case SessionType::Request: {
        // Padding is not unique ("*" + blanks), so compare what is parsed back.
        rebuilt = buildSessionRequest(frame->called, frame->calling);
        PV_FUZZ_CHECK(rebuilt.ok());
        const auto again = parseSessionFrame(*rebuilt);
        PV_FUZZ_CHECK(again.ok() && again->called == frame->called && again->calling == frame->calling);
        return 0;
    }
    case SessionType::Positive:
        rebuilt = buildPositiveSessionResponse();
        break;
    case SessionType::Negative:
        rebuilt = buildNegativeSessionResponse(frame->errorCode);
        break;
    case SessionType::Retarget:
        rebuilt = buildRetargetSessionResponse(frame->retargetIp, frame->retargetPort);
        break;
    case SessionType::KeepAlive:
        rebuilt = buildKeepAlive();
        break;
    }
    PV_FUZZ_CHECK(rebuilt.ok() && std::equal(rebuilt->begin(), rebuilt->end(), input.begin(), input.end()));
    return 0;
}
