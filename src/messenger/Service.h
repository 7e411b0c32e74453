#pragma once

#include "messenger/Spool.h"
#include "messenger/codec/OemCodePage.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace pv {

enum class PopupLanguage { English, French };

// French when the locale that messages are shown in (LC_ALL, else LC_MESSAGES, else LANG) is French.
PopupLanguage popupLanguageFromEnvironment();

// What the service writes in each language: the pop-up's title, and its header line with %1 the sender, %2 the
// recipient and %3 the date and time. Readers of the spool recognise pop-ups by these too.
struct PopupWording
{
    std::string title;
    std::string header;

    // The header with its fields put in, in one pass: a "%2" in a sender's name stays as it is.
    std::string headerFor(std::string_view from, std::string_view to, std::string_view date) const;
};
PopupWording popupWording(PopupLanguage language);

// Every line-break form a sender may use (CR LF, LF CR, CR, LF, 0x14) as one CR LF; NULs dropped.
std::string withCrLfLineBreaks(std::string_view text);

// The pop-up the Windows message service shows for a message whose From, To and text came as OEM bytes: the title,
// then "Message from FROM to TO on DATE TIME", an empty line and the text.
Popup makePopup(std::string_view from,
                std::string_view to,
                std::string_view text,
                codec::OemCodePage codePage,
                PopupLanguage language,
                const std::string& peer,
                const ArrivalTime& arrived);

struct ServiceOptions
{
    std::string spoolFolder {};
    std::string bindAddress = "0.0.0.0"; // IPv4: NetBIOS has no other
    uint16_t port = 139;                 // 0: any free port
    int nameServicePort = 137;           // UDP; 0: any free port, below 0: not served
    int datagramPort = 138;              // the same
    std::string hostName {};             // answered to as a messenger name (--name is another)
    std::vector<std::string> names {};   // more names besides the host name and the aliases file
    std::string workgroup = "WORKGROUP";
    codec::OemCodePage codePage = codec::OemCodePage::Cp850;
    PopupLanguage language = PopupLanguage::English;
    // What a peer can make the service hold.
    int maxConnections = 256;
    int idleMs = 30'000;
    uint32_t maxFrameLength = 66 * 1024; // the largest D0 fits
    size_t maxMessageBytes = size_t(64) * 1024;
    size_t maxSpoolFiles = 10'000;
};

// pilvanor-messenger: receives messages over the NetBIOS session service (TCP), as domain broadcasts (UDP
// datagrams) and answers name queries for its messenger names (UDP), on one thread. Every message becomes a pop-up
// in the spool, written durably before the sender is told it arrived.
class MessengerService
{
public:
    enum class StartResult {
        Ok,
        SpoolBusy,   // another service holds the spool's lock
        SpoolFailed, // the spool folder or its lock cannot be made
        TcpFailed,   // the session port cannot be bound: nothing to serve
    };

    explicit MessengerService(ServiceOptions options);
    ~MessengerService();
    MessengerService(const MessengerService&) = delete;
    MessengerService& operator=(const MessengerService&) = delete;

    // Locks the spool and binds the sockets; the error's code is a StartResult. The UDP ports that could not be
    // bound are in warnings(): the service goes on without them.
    Status start();
    const std::vector<std::string>& warnings() const;
    uint16_t port() const;
    uint16_t nameServicePort() const; // 0 when not served
    uint16_t datagramPort() const;

    // Serves until stop(). False when the event loop itself failed.
    bool run();
    // From any thread, and from a signal handler.
    void stop();

    // The names it answers to now (the aliases file read again when it changed).
    std::vector<std::string> names();

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace pv
