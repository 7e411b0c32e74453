#pragma once

#include "messenger/Expected.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace pv {

// A moment as the service saw it: the instant, and the offset from UTC of its local time then (a local time alone
// says nothing once the zone or the daylight-saving time changes).
struct ArrivalTime
{
    std::chrono::sys_time<std::chrono::milliseconds> utc {};
    int utcOffsetSeconds = 0;

    bool operator==(const ArrivalTime&) const = default;
    // Now, in the local time zone.
    static ArrivalTime now();
    // ISO 8601 with milliseconds and offset: "2026-11-21T09:15:00.123+01:00". Read back also with "Z", without
    // milliseconds, or without an offset (then in the local time zone).
    std::string isoText() const;
    static std::optional<ArrivalTime> fromIsoText(std::string_view text);
    // "21/11/2026 09:15:00": the date of the pop-up's header, in the local time of arrival.
    std::string headerText() const;
};

// One message as the service hands it to the desktop program: the pop-up that the Windows message service would
// have shown. Texts are UTF-8.
struct Popup
{
    std::string title; // "Messenger Service " (trailing blank kept)
    std::string text;  // header line, empty line, body; line breaks are CR LF
    std::string from;
    std::string to;
    std::string peer; // the sender's address
    std::optional<ArrivalTime> arrived;
    std::string id; // the spool file's name, set when read
};

// Which pop-ups of a group write are durable: durable[i] for popups[i]; error tells why the others are not.
struct SpoolWrite
{
    std::vector<bool> durable;
    std::string error;
};

// The pop-up spool: a folder with one file per pop-up, named so that name order is arrival order. A file is
// written under a hidden temporary name, synced and renamed, so a reader never sees half of one and a pop-up that
// was acknowledged survives a crash.
class PopupSpool
{
public:
    explicit PopupSpool(std::string folder);

    // $XDG_STATE_HOME/pilvanor/popups; "" when neither it nor HOME is set.
    static std::string defaultFolder();

    const std::string& folder() const { return m_folder; }

    // Writes one pop-up durably.
    Status write(const Popup& popup);
    // Writes several with one sync pass for all (a group commit).
    SpoolWrite write(std::span<const Popup> popups);
    // Pop-ups waiting in the folder.
    size_t count() const;
    // Removes what a writer that crashed left half-written. Only the one writer of the folder may call it.
    void removeTemporaries() const;

    // The names of the pop-up files, in arrival order.
    std::vector<std::string> fileNames() const;
    // One pop-up file by name; nothing when it is gone or is not a pop-up.
    std::optional<Popup> read(const std::string& name) const;
    // The oldest pop-up whose title is exactly this title.
    std::optional<Popup> oldestWithTitle(std::string_view title) const;
    // The newest pop-up of any title.
    std::optional<Popup> newest() const;
    // All pop-ups in arrival order.
    std::vector<Popup> all() const;
    Status remove(const Popup& popup) const;

    // The file format, shared by the writer and the tests.
    static std::string serialize(const Popup& popup);
    static std::optional<Popup> parse(std::string_view bytes);

private:
    std::string m_folder;
    mutable uint64_t m_sequence = 0;
};

} // namespace pv
