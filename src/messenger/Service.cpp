#include "messenger/Service.h"

#include "messenger/Interfaces.h"
#include "messenger/Names.h"
#include "messenger/codec/Datagram.h"
#include "messenger/codec/NameService.h"
#include "messenger/codec/NetbiosName.h"
#include "messenger/codec/SessionFrame.h"
#include "messenger/codec/SmbMessage.h"
#include "messenger/codec/Utf8.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace pv {

using namespace codec;

namespace {

constexpr uint32_t kNameTtl = 3 * 24 * 3600; // what nmbd gives
constexpr int kEventsPerWait = 64;
constexpr int kFramesPerTurn = 16;    // so that one busy peer cannot starve the others
constexpr int kDatagramsPerTurn = 64; // the same for a flood of datagrams
constexpr int kMaxWaitMs = 1000;

int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

std::string errnoText()
{
    return systemErrorText(errno);
}

std::string addressText(const in_addr& address)
{
    char text[INET_ADDRSTRLEN] = {};
    return ::inet_ntop(AF_INET, &address, text, sizeof text);
}

bool contains(const std::vector<std::string>& list, const std::string& item)
{
    return std::find(list.begin(), list.end(), item) != list.end();
}

struct Message
{
    std::string from;
    std::string to;
    std::string text;
};

struct Connection
{
    int fd = -1;
    uint64_t serial = 0;
    std::string peer;
    std::vector<uint8_t> in;  // the frame being read, never more
    std::vector<uint8_t> out; // the reply not yet sent
    int64_t lastActive = 0;   // the last whole frame other than a keep-alive
    bool session = false;     // a session was accepted, or an SMB came without one
    bool closing = false;     // closes once `out` is sent
    bool waiting = false;     // its message waits in the commit queue
    bool writing = false;     // epoll watches it for EPOLLOUT instead of EPOLLIN
    bool dead = false;
    std::optional<Message> message; // D5 seen, D6 not yet
};

// A message waiting for the spool's sync pass; fd < 0 for a datagram, which has no one to answer.
struct Delivery
{
    int fd = -1;
    uint64_t serial = 0;
    SmbHeader request;
    Popup popup;
};

} // namespace

PopupLanguage popupLanguageFromEnvironment()
{
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            return std::string_view(value).starts_with("fr") ? PopupLanguage::French : PopupLanguage::English;
        }
    }
    return PopupLanguage::English;
}

PopupWording popupWording(PopupLanguage language)
{
    // The French title is the likeliest one; neither trailing blank could be checked against Windows.
    if (language == PopupLanguage::French) {
        return {"Service Affichage des messages ", "Message de %1 \u00e0 %2 le %3"};
    }
    return {"Messenger Service ", "Message from %1 to %2 on %3"};
}

std::string PopupWording::headerFor(std::string_view from, std::string_view to, std::string_view date) const
{
    std::string out;
    for (size_t i = 0; i < header.size(); ++i) {
        const char next = i + 1 < header.size() ? header[i + 1] : '\0';
        if (header[i] == '%' && next >= '1' && next <= '3') {
            out += next == '1' ? from : next == '2' ? to : date;
            ++i;
        } else {
            out += header[i];
        }
    }
    return out;
}

std::string withCrLfLineBreaks(std::string_view text)
{
    std::string out;
    out.reserve(text.size() + text.size() / 8);
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\r' || c == '\n') {
            const char pair = c == '\r' ? '\n' : '\r';
            if (i + 1 < text.size() && text[i + 1] == pair) {
                ++i;
            }
            out += "\r\n";
        } else if (c == '\x14') {
            out += "\r\n";
        } else if (c != '\0') { // a C string on Windows; a NUL would only trouble the readers
            out += c;
        }
    }
    return out;
}

Popup makePopup(std::string_view from,
                std::string_view to,
                std::string_view text,
                OemCodePage codePage,
                PopupLanguage language,
                const std::string& peer,
                const ArrivalTime& arrived)
{
    Popup p;
    p.from = decodeOemText(from, codePage);
    p.to = decodeOemText(to, codePage);
    p.peer = peer;
    p.arrived = arrived;
    const PopupWording wording = popupWording(language);
    p.title = wording.title;
    p.text = wording.headerFor(p.from, p.to, arrived.headerText()) + "\r\n\r\n"
             + withCrLfLineBreaks(decodeOemText(text, codePage));
    return p;
}

struct MessengerService::Impl
{
    explicit Impl(ServiceOptions options)
        : o(std::move(options))
        , spool(o.spoolFolder)
    {
    }
    ~Impl();

    Status start();
    int bindSocket(int type, int port, uint16_t& bound, std::string& error);
    bool run();

    void refreshNames();
    bool isOurName(const NetbiosName& name) const;
    std::optional<std::vector<uint8_t>> answerFor(const NameQuestion& question, uint32_t local);

    void watch(Connection& c, uint32_t events, int op = EPOLL_CTL_MOD);
    void accept();
    void drop(Connection& c);
    void evictOldest();
    void readFrames(Connection& c);
    void handleFrame(Connection& c);
    void handleSmb(Connection& c, std::span<const uint8_t> smb);
    void reply(Connection& c, const SmbHeader& request, SmbStatus status, std::optional<uint16_t> groupId = {});
    void send(Connection& c, std::span<const uint8_t> bytes);
    void flush(Connection& c);
    void deliver(Connection& c, const SmbHeader& request, const Message& message);
    void commit();
    void sweep();
    int waitMs() const;
    void answerNameQueries();
    void receiveDatagrams();

    ServiceOptions o;
    PopupSpool spool;
    int lockFd = -1;
    int epollFd = -1;
    int wakeFd = -1;
    int tcpFd = -1;
    int nsFd = -1;
    int dgmFd = -1;
    uint16_t tcpPort = 0;
    uint16_t nsPort = 0;
    uint16_t dgmPort = 0;
    std::vector<std::string> warnings;
    std::atomic<bool> stopping = false;

    std::unordered_map<int, std::unique_ptr<Connection>> connections;
    std::vector<std::unique_ptr<Connection>> closed; // freed after the turn, so references stay valid in it
    uint64_t nextSerial = 1;
    uint16_t nextGroupId = 0;
    std::vector<Delivery> pending;
    size_t spoolFiles = 0; // an estimate: the desktop program removes files behind our back
    std::string lastSpoolError;

    std::vector<std::string> fixedNames; // host name and --name
    std::vector<std::string> names;
    std::optional<std::tuple<ino_t, off_t, time_t, long>> namesStamp;
    bool namesRead = false;
};

MessengerService::Impl::~Impl()
{
    for (auto& [fd, c] : connections) {
        ::close(fd);
    }
    for (int fd : {tcpFd, nsFd, dgmFd, wakeFd, epollFd, lockFd}) {
        if (fd >= 0) {
            ::close(fd);
        }
    }
}

int MessengerService::Impl::bindSocket(int type, int port, uint16_t& bound, std::string& error)
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    const auto ip = ipv4FromText(o.bindAddress);
    if (!ip) {
        error = o.bindAddress + " is not an IPv4 address";
        return -1;
    }
    address.sin_addr.s_addr = htonl(*ip);
    const int fd = ::socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const int on = 1;
    // A restarted service must get its TCP port back while old connections linger; UDP ports stay exclusive, so
    // that the service never shares them with nmbd.
    if (fd < 0 || (type == SOCK_STREAM && ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0)
        || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0
        || (type == SOCK_STREAM && ::listen(fd, 128) != 0)
        || (type == SOCK_DGRAM && ::setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &on, sizeof on) != 0)) {
        error = std::string(type == SOCK_STREAM ? "TCP" : "UDP") + " port " + std::to_string(port) + ": " + errnoText();
        if (fd >= 0) {
            ::close(fd);
        }
        return -1;
    }
    socklen_t length = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    bound = ntohs(address.sin_port);
    epoll_event event {};
    event.events = EPOLLIN;
    event.data.fd = fd;
    ::epoll_ctl(epollFd, EPOLL_CTL_ADD, fd, &event);
    return fd;
}

Status MessengerService::Impl::start()
{
    auto failed = [](StartResult result, std::string text) { return Failure {int(result), std::move(text)}; };
    if (o.spoolFolder.empty() || !makeFolders(o.spoolFolder)) {
        return failed(StartResult::SpoolFailed, "cannot create the spool folder \"" + o.spoolFolder + '"');
    }
    const std::string lockPath = o.spoolFolder + "/.lock";
    lockFd = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lockFd < 0) {
        return failed(StartResult::SpoolFailed, "cannot open " + lockPath + ": " + errnoText());
    }
    if (::flock(lockFd, LOCK_EX | LOCK_NB) != 0) {
        return failed(errno == EWOULDBLOCK ? StartResult::SpoolBusy : StartResult::SpoolFailed,
                      "another pilvanor-messenger already serves " + o.spoolFolder);
    }
    // Only the lock holder writes, so whatever is half-written is left from a crash.
    spool.removeTemporaries();
    spoolFiles = spool.count();

    epollFd = ::epoll_create1(EPOLL_CLOEXEC);
    wakeFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (epollFd < 0 || wakeFd < 0) {
        return failed(StartResult::TcpFailed, "cannot make the event loop: " + errnoText());
    }
    epoll_event event {};
    event.events = EPOLLIN;
    event.data.fd = wakeFd;
    ::epoll_ctl(epollFd, EPOLL_CTL_ADD, wakeFd, &event);

    std::string why;
    tcpFd = bindSocket(SOCK_STREAM, o.port, tcpPort, why);
    if (tcpFd < 0) {
        return failed(StartResult::TcpFailed, "cannot receive messages: " + why);
    }
    if (o.nameServicePort >= 0) {
        nsFd = bindSocket(SOCK_DGRAM, o.nameServicePort, nsPort, why);
        if (nsFd < 0) {
            warnings.push_back("does not answer name queries (" + why + ")");
        }
    }
    if (o.datagramPort >= 0) {
        dgmFd = bindSocket(SOCK_DGRAM, o.datagramPort, dgmPort, why);
        if (dgmFd < 0) {
            warnings.push_back("does not receive domain broadcasts (" + why + ")");
        }
    }

    std::vector<std::string> given {o.hostName};
    given.insert(given.end(), o.names.begin(), o.names.end());
    for (const std::string& name : given) {
        const std::string n = ServiceNames::normalized(name, o.codePage);
        if (!n.empty() && !contains(fixedNames, n)) {
            fixedNames.push_back(n);
        }
    }
    o.workgroup = toUpperText(o.workgroup);
    refreshNames();
    return success();
}

// A stat per use: the desktop program adds aliases while the service runs.
void MessengerService::Impl::refreshNames()
{
    ServiceNames file(o.spoolFolder);
    struct stat st
    {
    };
    std::optional<std::tuple<ino_t, off_t, time_t, long>> stamp;
    if (::stat(file.filePath().c_str(), &st) == 0) {
        stamp = std::tuple(st.st_ino, st.st_size, st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
    }
    if (namesRead && stamp == namesStamp) {
        return;
    }
    namesRead = true;
    namesStamp = stamp;
    names = fixedNames;
    for (const std::string& alias : file.aliases(o.codePage)) {
        if (!contains(names, alias)) {
            names.push_back(alias);
        }
    }
}

bool MessengerService::Impl::isOurName(const NetbiosName& name) const
{
    return contains(names, toUpperText(decodeOemText(name.name, o.codePage)));
}

void MessengerService::Impl::watch(Connection& c, uint32_t events, int op)
{
    epoll_event event {};
    event.events = events;
    event.data.fd = c.fd;
    ::epoll_ctl(epollFd, op, c.fd, &event);
    c.writing = events & EPOLLOUT;
}

void MessengerService::Impl::drop(Connection& c)
{
    if (c.dead) {
        return;
    }
    c.dead = true;
    ::epoll_ctl(epollFd, EPOLL_CTL_DEL, c.fd, nullptr);
    ::close(c.fd);
    auto it = connections.find(c.fd);
    closed.push_back(std::move(it->second));
    connections.erase(it);
}

// The least recently active goes first: a flood of idle connections cannot lock out those that send.
void MessengerService::Impl::evictOldest()
{
    Connection* oldest = nullptr;
    for (auto& [fd, c] : connections) {
        if (!c->waiting && (!oldest || c->lastActive < oldest->lastActive)) {
            oldest = c.get();
        }
    }
    if (oldest) {
        drop(*oldest);
    }
}

void MessengerService::Impl::accept()
{
    for (int i = 0; i < kEventsPerWait; ++i) {
        sockaddr_in peer {};
        socklen_t length = sizeof peer;
        const int fd = ::accept4(tcpFd, reinterpret_cast<sockaddr*>(&peer), &length, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0 && (errno == EMFILE || errno == ENFILE) && !connections.empty()) {
            evictOldest(); // else the listener stays readable and the loop spins
            continue;
        }
        if (fd < 0) {
            return;
        }
        if (connections.size() >= size_t(std::max(o.maxConnections, 1))) {
            evictOldest();
        }
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on); // each reply is awaited before the next request
        auto c = std::make_unique<Connection>();
        c->fd = fd;
        c->serial = nextSerial++;
        c->peer = addressText(peer.sin_addr);
        c->lastActive = nowMs();
        watch(*c, EPOLLIN, EPOLL_CTL_ADD);
        connections.emplace(fd, std::move(c));
    }
}

void MessengerService::Impl::readFrames(Connection& c)
{
    for (int frames = 0; frames < kFramesPerTurn;) {
        if (c.dead || c.waiting || c.closing || !c.out.empty()) {
            return;
        }
        const auto needed = sessionBytesNeeded(c.in, o.maxFrameLength);
        if (!needed) {
            drop(c);
            return;
        }
        if (*needed == 0) {
            ++frames;
            handleFrame(c);
            c.in.clear();
            if (c.in.capacity() > 4096) {
                std::vector<uint8_t>().swap(c.in); // idle connections hold no large buffers
            }
            continue;
        }
        // Exactly what the frame still lacks: the next frame stays in the socket until this one is answered.
        const size_t had = c.in.size();
        c.in.resize(had + *needed);
        const ssize_t n = ::read(c.fd, c.in.data() + had, *needed);
        const bool later = n < 0 && (errno == EAGAIN || errno == EINTR);
        c.in.resize(had + size_t(std::max<ssize_t>(n, 0)));
        if (later) {
            return;
        }
        if (n <= 0) {
            drop(c); // end of stream or reset
        }
    }
}

void MessengerService::Impl::handleFrame(Connection& c)
{
    const auto frame = parseSessionFrame(c.in, o.maxFrameLength);
    if (!frame) {
        drop(c);
        return;
    }
    switch (frame->type) {
    case SessionType::KeepAlive:
        return; // answered by nobody, and no sign of life: it does not hold a connection open
    case SessionType::Request:
        c.lastActive = nowMs();
        if (c.session) {
            drop(c); // a second request, as smbd does
            return;
        }
        refreshNames();
        // *SMBSERVER<20> is what a sender calls when it knows only the address; smbd takes it too.
        if ((frame->called.suffix == kSuffixMessenger && isOurName(frame->called))
            || (frame->called.suffix == kSuffixServer && frame->called.name == "*SMBSERVER")) {
            c.session = true;
            send(c, buildPositiveSessionResponse());
        } else {
            c.closing = true;
            send(c, buildNegativeSessionResponse(kCalledNotPresent));
        }
        return;
    case SessionType::Message:
        c.lastActive = nowMs();
        c.session = true; // SMB without a session request: what smbclient does off port 139
        handleSmb(c, frame->payload);
        return;
    default:
        drop(c);
    }
}

void MessengerService::Impl::handleSmb(Connection& c, std::span<const uint8_t> smb)
{
    const auto packet = parseSmb(smb);
    if (!packet || packet->header.isReply()) {
        drop(c);
        return;
    }
    const SmbHeader& header = packet->header;
    switch (header.command) {
    case SmbCommand::SendMessage:
    case SmbCommand::SendStart:
    case SmbCommand::SendText:
    case SmbCommand::SendEnd:
        break;
    default:
        reply(c, header, SmbStatus::dos(kErrSrv, kErrSrvSmbCmd));
        return;
    }
    const auto request = parseMessengerRequest(smb);
    if (!request) {
        drop(c);
        return;
    }
    const SmbStatus noMessage = SmbStatus::dos(kErrDos, kErrDosInvalidParameter); // smbd's answer
    switch (header.command) {
    case SmbCommand::SendMessage:
        deliver(c, header, {request->from, request->to, request->text});
        return;
    case SmbCommand::SendStart:
        c.message = Message {request->from, request->to, {}}; // drops an unfinished one, as smbd does
        reply(c, header, SmbStatus::success(), ++nextGroupId);
        return;
    case SmbCommand::SendText:
        if (!c.message) {
            reply(c, header, noMessage);
        } else if (c.message->text.size() + request->text.size() > o.maxMessageBytes) {
            c.message.reset();
            reply(c, header, SmbStatus::dos(kErrSrv, kErrSrvNoRoom));
        } else {
            c.message->text += request->text;
            reply(c, header, SmbStatus::success());
        }
        return;
    default: // SendEnd
        if (!c.message) {
            reply(c, header, noMessage);
            return;
        }
        deliver(c, header, *c.message);
        c.message.reset();
    }
}

void MessengerService::Impl::deliver(Connection& c, const SmbHeader& request, const Message& message)
{
    if (message.text.size() > o.maxMessageBytes) {
        reply(c, request, SmbStatus::dos(kErrSrv, kErrSrvNoRoom));
        return;
    }
    // Answered in commit(), once the pop-up is on disk; the connection reads nothing more until then.
    c.waiting = true;
    pending.push_back(
        {c.fd,
         c.serial,
         request,
         makePopup(message.from, message.to, message.text, o.codePage, o.language, c.peer, ArrivalTime::now())});
}

void MessengerService::Impl::reply(Connection& c,
                                   const SmbHeader& request,
                                   SmbStatus status,
                                   std::optional<uint16_t> groupId)
{
    const auto frame = buildSessionMessage(buildMessengerReply(request, status, groupId));
    if (frame) {
        send(c, *frame);
    }
}

void MessengerService::Impl::send(Connection& c, std::span<const uint8_t> bytes)
{
    c.out.insert(c.out.end(), bytes.begin(), bytes.end());
    flush(c);
}

void MessengerService::Impl::flush(Connection& c)
{
    while (!c.out.empty()) {
        const ssize_t n = ::send(c.fd, c.out.data(), c.out.size(), MSG_NOSIGNAL);
        if (n > 0) {
            c.out.erase(c.out.begin(), c.out.begin() + n);
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else if (n < 0 && errno == EAGAIN) {
            if (!c.writing) {
                watch(c, EPOLLOUT); // and reads nothing meanwhile: a peer that does not read cannot pile up replies
            }
            return;
        } else {
            drop(c);
            return;
        }
    }
    if (c.closing) {
        drop(c);
    } else if (c.writing) {
        watch(c, EPOLLIN);
    }
}

// One sync pass for every pop-up of this turn, then the replies: none goes out before its pop-up is durable.
void MessengerService::Impl::commit()
{
    if (pending.empty()) {
        return;
    }
    if (spoolFiles + pending.size() > o.maxSpoolFiles) {
        spoolFiles = spool.count();
    }
    // Once the spool is full the rest is refused, so the batch is a prefix of `pending`.
    std::vector<Popup> batch;
    for (const Delivery& d : pending) {
        if (spoolFiles + batch.size() < o.maxSpoolFiles) {
            batch.push_back(d.popup);
        }
    }
    const SpoolWrite done = spool.write(batch);
    const std::vector<bool>& written = done.durable;
    if (!done.error.empty() && done.error != lastSpoolError) {
        std::fprintf(stderr, "pilvanor-messenger: %s\n", done.error.c_str());
    }
    lastSpoolError = done.error;
    for (size_t i = 0; i < pending.size(); ++i) {
        const Delivery& d = pending[i];
        const bool ok = i < written.size() && written[i];
        spoolFiles += ok;
        const auto it = connections.find(d.fd);
        if (d.fd < 0 || it == connections.end() || it->second->serial != d.serial) {
            continue;
        }
        it->second->waiting = false;
        // ERRSRV/83: no room to keep the message; the sender learns it did not arrive.
        reply(*it->second, d.request, ok ? SmbStatus::success() : SmbStatus::dos(kErrSrv, kErrSrvNoRoom));
    }
    pending.clear();
}

void MessengerService::Impl::sweep()
{
    const int64_t now = nowMs();
    std::vector<Connection*> idle;
    for (auto& [fd, c] : connections) {
        if (!c->waiting && now - c->lastActive >= o.idleMs) {
            idle.push_back(c.get());
        }
    }
    for (Connection* c : idle) {
        drop(*c);
    }
    closed.clear();
}

int MessengerService::Impl::waitMs() const
{
    int64_t wait = kMaxWaitMs;
    const int64_t now = nowMs();
    for (const auto& [fd, c] : connections) {
        wait = std::min(wait, c->lastActive + o.idleMs - now);
    }
    return int(std::max<int64_t>(wait, 0));
}

// What a peer asks of this host: its <03> names (a sender about to connect), its computer name <00>, the
// workgroup <00> (each member answers a workgroup listing with its own address) and the node status that lists
// the names. The answer gives the address the query came in on.
void MessengerService::Impl::answerNameQueries()
{
    for (int i = 0; i < kDatagramsPerTurn; ++i) {
        uint8_t buffer[576];
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))];
        sockaddr_in from {};
        iovec io {buffer, sizeof buffer};
        msghdr header {};
        header.msg_name = &from;
        header.msg_namelen = sizeof from;
        header.msg_iov = &io;
        header.msg_iovlen = 1;
        header.msg_control = control;
        header.msg_controllen = sizeof control;
        const ssize_t n = ::recvmsg(nsFd, &header, MSG_DONTWAIT);
        if (n < 0) {
            return;
        }
        const auto question = parseNameQuestion(std::span<const uint8_t>(buffer, size_t(n)));
        if ((header.msg_flags & MSG_TRUNC) || !question) {
            continue;
        }
        refreshNames();
        uint32_t local = 0;
        for (cmsghdr* m = CMSG_FIRSTHDR(&header); m; m = CMSG_NXTHDR(&header, m)) {
            if (m->cmsg_level == IPPROTO_IP && m->cmsg_type == IP_PKTINFO) {
                in_pktinfo info {};
                std::memcpy(&info, CMSG_DATA(m), sizeof info);
                local = ntohl(info.ipi_spec_dst.s_addr);
            }
        }
        const auto answer = answerFor(*question, local);
        if (answer) {
            ::sendto(nsFd, answer->data(), answer->size(), 0, reinterpret_cast<sockaddr*>(&from), sizeof from);
        }
    }
}

// Silence for anything else, as nmbd keeps for a name it does not hold.
std::optional<std::vector<uint8_t>> MessengerService::Impl::answerFor(const NameQuestion& question, uint32_t local)
{
    const std::string asked = toUpperText(decodeOemText(question.name.name, o.codePage));
    const std::string host = fixedNames.empty() ? std::string() : fixedNames.front();
    if (question.type == kRrTypeNbStat) {
        if (question.name.name != NetbiosName::wildcard().name && !isOurName(question.name) && asked != o.workgroup) {
            return std::nullopt;
        }
        std::vector<NodeStatusEntry> entries;
        auto add = [&](const std::string& text, uint8_t suffix, uint16_t flags) {
            if (auto name = netbiosNameFromText(text, suffix, o.codePage)) {
                entries.push_back({*name, flags});
            }
        };
        add(host, kSuffixWorkstation, kNameActive);
        for (const std::string& name : names) {
            add(name, kSuffixMessenger, kNameActive);
        }
        add(o.workgroup, kSuffixWorkstation, kNameActive | kNbGroup);
        if (auto status = buildNodeStatusResponse(question, entries)) {
            return std::move(*status);
        }
        return std::nullopt;
    }
    if (question.type != kRrTypeNb || local == 0) {
        return std::nullopt;
    }
    const bool messenger = question.name.suffix == kSuffixMessenger && isOurName(question.name);
    const bool computer = question.name.suffix == kSuffixWorkstation && asked == host;
    const bool workgroup = question.name.suffix == kSuffixWorkstation && asked == o.workgroup;
    if (!messenger && !computer && !workgroup) {
        return std::nullopt;
    }
    const uint16_t flags = workgroup ? kNbGroup : 0; // otherwise a unique name of a B node
    const NbAddress address {flags, local};
    if (auto answer = buildNameQueryAnswer(question, kNameTtl, std::span(&address, 1))) {
        return std::move(*answer);
    }
    return std::nullopt;
}

void MessengerService::Impl::receiveDatagrams()
{
    for (int i = 0; i < kDatagramsPerTurn; ++i) {
        uint8_t buffer[2048];
        sockaddr_in from {};
        socklen_t length = sizeof from;
        const ssize_t n = ::recvfrom(
            dgmFd, buffer, sizeof buffer, MSG_DONTWAIT | MSG_TRUNC, reinterpret_cast<sockaddr*>(&from), &length);
        if (n < 0) {
            return;
        }
        if (size_t(n) > sizeof buffer) {
            continue;
        }
        const auto datagram = parseDatagram(std::span<const uint8_t>(buffer, size_t(n)));
        if (!datagram || datagram->isFragment()) {
            continue;
        }
        refreshNames();
        const NetbiosName& to = datagram->destination;
        const bool forUs
            = datagram->type == DatagramType::Broadcast
              || (to.suffix == kSuffixWorkstation && toUpperText(decodeOemText(to.name, o.codePage)) == o.workgroup)
              || ((to.suffix == kSuffixWorkstation || to.suffix == kSuffixMessenger) && isOurName(to));
        if (!forUs) {
            continue;
        }
        const auto message = parseMessengerMailslot(datagram->userData);
        if (!message) {
            continue;
        }
        pending.push_back({-1,
                           0,
                           {},
                           makePopup(message->from,
                                     message->to,
                                     message->text,
                                     o.codePage,
                                     o.language,
                                     addressText(from.sin_addr),
                                     ArrivalTime::now())});
    }
}

bool MessengerService::Impl::run()
{
    epoll_event events[kEventsPerWait];
    while (!stopping) {
        const int n = ::epoll_wait(epollFd, events, kEventsPerWait, waitMs());
        if (n < 0 && errno != EINTR) {
            std::fprintf(stderr, "pilvanor-messenger: the event loop failed: %s\n", strerror(errno));
            return false;
        }
        for (int i = 0; i < n; ++i) {
            const int fd = events[i].data.fd;
            if (fd == wakeFd) {
                uint64_t count = 0;
                (void)!::read(wakeFd, &count, sizeof count);
                stopping = true;
            } else if (fd == tcpFd) {
                accept();
            } else if (fd == nsFd) {
                answerNameQueries();
            } else if (fd == dgmFd) {
                receiveDatagrams();
            } else if (const auto it = connections.find(fd); it != connections.end()) {
                Connection& c = *it->second;
                if (c.writing) {
                    flush(c);
                }
                readFrames(c);
            }
        }
        commit();
        sweep();
    }
    return true;
}

MessengerService::MessengerService(ServiceOptions options)
    : d(std::make_unique<Impl>(std::move(options)))
{
}

MessengerService::~MessengerService() = default;

Status MessengerService::start()
{
    return d->start();
}

const std::vector<std::string>& MessengerService::warnings() const
{
    return d->warnings;
}

uint16_t MessengerService::port() const
{
    return d->tcpPort;
}

uint16_t MessengerService::nameServicePort() const
{
    return d->nsPort;
}

uint16_t MessengerService::datagramPort() const
{
    return d->dgmPort;
}

bool MessengerService::run()
{
    return d->tcpFd >= 0 && d->run();
}

void MessengerService::stop()
{
    d->stopping = true;
    if (d->wakeFd >= 0) {
        const uint64_t one = 1;
        (void)!::write(d->wakeFd, &one, sizeof one);
    }
}

std::vector<std::string> MessengerService::names()
{
    d->refreshNames();
    return d->names;
}

} // namespace pv
