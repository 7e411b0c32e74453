// Name service: questions (query, node status), query responses and node status responses.
#include "FuzzCheck.h"

#include "messenger/codec/NameService.h"

using namespace pv::codec;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::span<const uint8_t> input(data, size);

    if (const auto question = parseNameQuestion(input)) {
        const auto rebuilt = question->type == kRrTypeNb
                                 ? buildNameQuery(question->id, question->name, question->isBroadcast())
                                 : buildNodeStatusRequest(question->id, question->name);
        PV_FUZZ_CHECK(rebuilt.ok());
        const auto again = parseNameQuestion(*rebuilt);
        PV_FUZZ_CHECK(again.ok() && again->name == question->name && again->type == question->type
                      && (question->type != kRrTypeNb || again->isBroadcast() == question->isBroadcast()));

        if (question->type == kRrTypeNb) {
            const NbAddress address {0x6000, 0x0A4D0002};
            const auto answer = parseNameQueryResponse(buildNameQueryAnswer(*question, 60, {&address, 1}).value());
            PV_FUZZ_CHECK(answer.ok() && answer->isPositive() && answer->id == question->id
                          && answer->name == question->name && answer->addresses.front() == address);
        }
    }

    if (const auto response = parseNameQueryResponse(input); response && !response->addresses.empty()) {
        NameQuestion question {response->id, kNsRecursionDesired, response->name, kRrTypeNb};
        const auto rebuilt = buildNameQueryAnswer(question, response->ttl, response->addresses);
        PV_FUZZ_CHECK(rebuilt.ok());
        const auto again = parseNameQueryResponse(*rebuilt);
        PV_FUZZ_CHECK(again.ok() && again->addresses == response->addresses && again->name == response->name);
    }

    if (const auto status = parseNodeStatusResponse(input)) {
        NameQuestion question {status->id, 0, status->name, kRrTypeNbStat};
        const auto rebuilt = buildNodeStatusResponse(question, status->names, status->mac);
        PV_FUZZ_CHECK(rebuilt.ok());
        const auto again = parseNodeStatusResponse(*rebuilt);
        PV_FUZZ_CHECK(again.ok() && again->names == status->names && again->mac == status->mac
                      && again->name == status->name);
    }
    return 0;
}
