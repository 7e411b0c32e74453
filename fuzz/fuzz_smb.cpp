// SMB header and the messenger commands, requests and replies, with the OEM code pages on their strings.
#include "FuzzCheck.h"

#include "messenger/codec/OemCodePage.h"
#include "messenger/codec/ResultCodes.h"
#include "messenger/codec/SmbMessage.h"

using namespace pv::codec;

namespace {

void checkCodePages(const std::string& bytes)
{
    for (const OemCodePage cp : {OemCodePage::Cp437, OemCodePage::Cp850}) {
        const auto back = encodeOem(decodeOem(bytes, cp), cp);
        PV_FUZZ_CHECK(back.ok() && *back == bytes);
    }
    const auto ascii = encodeOem(decodeOem(bytes, OemCodePage::Ascii), OemCodePage::Ascii, '?');
    PV_FUZZ_CHECK(ascii.ok() && ascii->size() == bytes.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::span<const uint8_t> input(data, size);
    const auto packet = parseSmb(input);
    if (packet) {
        PV_FUZZ_CHECK(packet->bytes.data() + packet->bytes.size() <= data + size);
        const int code = resultFromSmbStatus(packet->header.status);
        PV_FUZZ_CHECK((code == netapi::Success) == packet->header.status.isSuccess());
    }

    if (const auto request = parseMessengerRequest(input)) {
        checkCodePages(request->from);
        checkCodePages(request->text);
        const auto rebuilt = buildMessengerRequest(*request);
        const bool fits = request->from.size() <= kMessengerNameMax && request->to.size() <= kMessengerNameMax
                          && request->text.size() <= kTextBlockMax && request->from.find('\0') == std::string::npos
                          && request->to.find('\0') == std::string::npos;
        PV_FUZZ_CHECK(rebuilt.ok() == fits);
        if (rebuilt) {
            const auto again = parseMessengerRequest(*rebuilt);
            PV_FUZZ_CHECK(again.ok() && *again == *request);
        }
    }

    for (const SmbCommand command :
         {SmbCommand::SendMessage, SmbCommand::SendStart, SmbCommand::SendText, SmbCommand::SendEnd}) {
        const auto reply = parseMessengerReply(input, command);
        if (!reply) {
            continue;
        }
        const auto rebuilt = buildMessengerReply(reply->header, reply->header.status, reply->groupId);
        const auto again = parseMessengerReply(rebuilt, command);
        PV_FUZZ_CHECK(again.ok() && again->groupId == reply->groupId && again->header.status == reply->header.status
                      && again->header.mid == reply->header.mid && again->header.pidLow == reply->header.pidLow);
    }
    return 0;
}
