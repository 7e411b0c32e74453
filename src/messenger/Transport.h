#pragma once

#include "messenger/Expected.h"
#include "messenger/codec/Datagram.h"
#include "messenger/codec/NameService.h"
#include "messenger/codec/OemCodePage.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace pv {

// 139, or the port in the variable PILVANOR_SMB_PORT (tests; the service reads the same variable).
uint16_t defaultSmbPort();

struct SendOptions
{
    uint16_t port = defaultSmbPort();                   // TCP port of the receiver
    uint16_t nameServicePort = codec::kNameServicePort; // NetBIOS queries for station names
    uint16_t datagramPort = codec::kDatagramPort;       // domain broadcasts
    codec::OemCodePage codePage = codec::OemCodePage::Cp850;
    int resolveTimeoutMs = 1000; // each step of finding a station: WINS, broadcast, resolver
    int connectTimeoutMs = 3000;
    int replyTimeoutMs = 5000; // each reply (session response, D5, each D7, D6)
    // A NetBIOS session request before the SMB. Always sent on port 139, where smbd needs it; elsewhere it may be
    // left out, as smbclient does.
    bool sessionRequest = true;
};

// Longest text, in OEM bytes with CR LF line breaks (what Windows displays at most).
inline constexpr int kMaxMessageBytes = 4095;

// NetMessageBufferSend: sends `text` (UTF-8) from `from` (empty: the host name) to `station`, a NetBIOS name, a
// host name or an IPv4 address. On failure the error's code is a NET_API_STATUS (codec::netapi) and its text a
// technical account. A name ending in "*" ("WORKGROUP*") is a domain: the message is broadcast to every member on
// the local subnets, with no delivery feedback; the bare "*" is the caller's to turn into the primary domain.
Status netMessageBufferSend(const SendOptions& options,
                            std::string_view station,
                            std::string_view from,
                            std::string_view text);

// Whether `from` can be the sender of a message: a NetBIOS name (at most 15 OEM bytes, none of \ / : * ? " < > |).
// An empty one stands for the host name.
bool isValidSenderName(std::string_view from, codec::OemCodePage codePage = codec::OemCodePage::Cp850);

// The room for the text of a domain broadcast to `station` ("WORKGROUP*") from `from`, in OEM bytes with CR LF line
// breaks: one mailslot write holds From, To and the text, each ended by a NUL. A longer text is refused (87).
size_t domainTextRoom(std::string_view station,
                      std::string_view from,
                      codec::OemCodePage codePage = codec::OemCodePage::Cp850);

// A fixed English description of a result code, as a sentence fragment ("the parameter is incorrect").
const char* netMessageResultText(int code);

// The host name as a NetBIOS name: its first label, upper-cased, at most 15 characters.
std::string localStationName();

} // namespace pv
