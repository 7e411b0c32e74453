// Pop-up files of the spool, as the desktop program reads them back, and the arrival times they carry.
#include "FuzzCheck.h"

#include "messenger/Spool.h"

#include <algorithm>
#include <string>
#include <string_view>

using namespace pv;

namespace {

// The writer keeps each header field on one line.
std::string oneLine(std::string value)
{
    std::replace(value.begin(), value.end(), '\r', ' ');
    return value;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::optional<Popup> popup = PopupSpool::parse(bytes);
    if (popup) {
        // What was read is written back and read again as it was.
        PV_FUZZ_CHECK(bytes.ends_with(popup->text) && popup->id.empty());
        const std::optional<Popup> again = PopupSpool::parse(PopupSpool::serialize(*popup));
        PV_FUZZ_CHECK(again.has_value());
        PV_FUZZ_CHECK(again->title == oneLine(popup->title) && again->from == oneLine(popup->from)
                      && again->to == oneLine(popup->to) && again->peer == oneLine(popup->peer));
        PV_FUZZ_CHECK(again->text == popup->text && again->arrived == popup->arrived);
    }

    // Every time read is written back to the same instant and offset, and its header date is a date.
    if (const std::optional<ArrivalTime> time = ArrivalTime::fromIsoText(bytes)) {
        PV_FUZZ_CHECK(ArrivalTime::fromIsoText(time->isoText()) == time);
        PV_FUZZ_CHECK(time->headerText().size() == 19);
    }
    return 0;
}
