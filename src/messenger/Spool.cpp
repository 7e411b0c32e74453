#include "messenger/Spool.h"

#include "messenger/Interfaces.h"
#include "messenger/Names.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace pv {

namespace {

using namespace std::chrono;

constexpr std::string_view kSuffix = ".popup";

bool endsWith(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

// Header fields are single lines: names and addresses from the network never carry a line break into the file.
std::string oneLine(std::string value)
{
    std::replace(value.begin(), value.end(), '\r', ' ');
    std::replace(value.begin(), value.end(), '\n', ' ');
    return value;
}

Failure systemError(const std::string& what)
{
    return Failure {errno, what + ": " + systemErrorText(errno)};
}

struct LocalFields
{
    year_month_day date;
    hh_mm_ss<milliseconds> time;
};

LocalFields localFields(const ArrivalTime& t)
{
    const auto local = t.utc + seconds(t.utcOffsetSeconds);
    const auto day = floor<days>(local);
    return {year_month_day(day), hh_mm_ss<milliseconds>(local - day)};
}

// Reads `width` digits at `at`.
std::optional<int> digits(std::string_view text, size_t at, size_t width)
{
    if (at + width > text.size()) {
        return std::nullopt;
    }
    int value = 0;
    for (size_t i = at; i < at + width; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return std::nullopt;
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

} // namespace

ArrivalTime ArrivalTime::now()
{
    const auto instant = floor<milliseconds>(system_clock::now());
    const time_t t = system_clock::to_time_t(instant);
    tm local {};
    ::localtime_r(&t, &local);
    return {instant, int(local.tm_gmtoff)};
}

std::string ArrivalTime::isoText() const
{
    const LocalFields f = localFields(*this);
    const int offset = std::abs(utcOffsetSeconds) / 60;
    char text[48];
    std::snprintf(text,
                  sizeof text,
                  "%04d-%02u-%02uT%02d:%02d:%02d.%03d%c%02d:%02d",
                  int(f.date.year()),
                  unsigned(f.date.month()),
                  unsigned(f.date.day()),
                  int(f.time.hours().count()),
                  int(f.time.minutes().count()),
                  int(f.time.seconds().count()),
                  int(f.time.subseconds().count()),
                  utcOffsetSeconds < 0 ? '-' : '+',
                  offset / 60,
                  offset % 60);
    return text;
}

std::optional<ArrivalTime> ArrivalTime::fromIsoText(std::string_view text)
{
    const auto y = digits(text, 0, 4), mo = digits(text, 5, 2), d = digits(text, 8, 2);
    const auto h = digits(text, 11, 2), mi = digits(text, 14, 2), s = digits(text, 17, 2);
    if (!y || !mo || !d || !h || !mi || !s || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':'
        || text[16] != ':' || *h > 23 || *mi > 59 || *s > 59) {
        return std::nullopt;
    }
    const year_month_day date {year(*y), month(unsigned(*mo)), day(unsigned(*d))};
    if (!date.ok()) {
        return std::nullopt;
    }
    size_t at = 19;
    int ms = 0;
    if (at < text.size() && text[at] == '.') {
        size_t end = at + 1;
        while (end < text.size() && text[end] >= '0' && text[end] <= '9') {
            ++end;
        }
        if (end == at + 1) {
            return std::nullopt;
        }
        const std::string fraction = std::string(text.substr(at + 1, std::min<size_t>(end - at - 1, 3))) + "00";
        const auto fractionMs = digits(fraction, 0, 3);
        if (!fractionMs) {
            return std::nullopt;
        }
        ms = *fractionMs;
        at = end;
    }
    const auto local = sys_days(date) + hours(*h) + minutes(*mi) + seconds(*s) + milliseconds(ms);
    const std::string_view zone = text.substr(at);
    if (zone == "Z") {
        return ArrivalTime {local, 0};
    }
    if (zone.size() == 6 && (zone[0] == '+' || zone[0] == '-') && zone[3] == ':') {
        const auto oh = digits(zone, 1, 2), om = digits(zone, 4, 2);
        if (!oh || !om || *oh > 23 || *om > 59) { // a wider offset could not be written back
            return std::nullopt;
        }
        const int offset = (zone[0] == '-' ? -1 : 1) * (*oh * 3600 + *om * 60);
        return ArrivalTime {local - seconds(offset), offset};
    }
    if (!zone.empty()) {
        return std::nullopt;
    }
    // A local time: the zone of this machine says which instant it was.
    tm fields {};
    fields.tm_year = *y - 1900;
    fields.tm_mon = *mo - 1;
    fields.tm_mday = *d;
    fields.tm_hour = *h;
    fields.tm_min = *mi;
    fields.tm_sec = *s;
    fields.tm_isdst = -1;
    const time_t t = ::mktime(&fields);
    // Not system_clock::from_time_t: its nanoseconds hold only the years 1678 to 2262.
    return ArrivalTime {sys_seconds(seconds(t)) + milliseconds(ms), int(fields.tm_gmtoff)};
}

std::string ArrivalTime::headerText() const
{
    const LocalFields f = localFields(*this);
    char text[32];
    std::snprintf(text,
                  sizeof text,
                  "%02u/%02u/%04d %02d:%02d:%02d",
                  unsigned(f.date.day()),
                  unsigned(f.date.month()),
                  int(f.date.year()),
                  int(f.time.hours().count()),
                  int(f.time.minutes().count()),
                  int(f.time.seconds().count()));
    return text;
}

PopupSpool::PopupSpool(std::string folder)
    : m_folder(std::move(folder))
{
}

std::string PopupSpool::defaultFolder()
{
    const char* state = std::getenv("XDG_STATE_HOME");
    std::string base;
    if (state != nullptr && state[0] == '/') {
        base = state;
    } else {
        const char* home = std::getenv("HOME");
        if (home == nullptr || *home == '\0') {
            return {};
        }
        base = std::string(home) + "/.local/state";
    }
    while (base.size() > 1 && base.back() == '/') {
        base.pop_back();
    }
    return base + "/pilvanor/popups";
}

/*
 * File format, UTF-8:
 *
 *   Pilvanor-Popup: 1
 *   Title: Messenger Service ␠
 *   From: ALICE
 *   To: BOB
 *   Peer: 10.77.1.2
 *   Arrived: 2026-11-21T09:15:00.123+01:00
 *   <empty line>
 *   <text, CR LF line breaks, to the end of the file>
 */
std::string PopupSpool::serialize(const Popup& popup)
{
    std::string out = "Pilvanor-Popup: 1\n";
    out += "Title: " + oneLine(popup.title) + '\n';
    out += "From: " + oneLine(popup.from) + '\n';
    out += "To: " + oneLine(popup.to) + '\n';
    out += "Peer: " + oneLine(popup.peer) + '\n';
    out += "Arrived: " + (popup.arrived ? popup.arrived->isoText() : std::string()) + "\n\n";
    return out + popup.text;
}

std::optional<Popup> PopupSpool::parse(std::string_view bytes)
{
    constexpr std::string_view kMagic = "Pilvanor-Popup: 1\n";
    const size_t end = bytes.find("\n\n");
    if (bytes.substr(0, kMagic.size()) != kMagic || end == std::string_view::npos) {
        return std::nullopt;
    }
    Popup p;
    for (size_t start = 0; start < end;) {
        const size_t stop = std::min(bytes.find('\n', start), end);
        const std::string_view line = bytes.substr(start, stop - start);
        start = stop + 1;
        const size_t colon = line.find(": ");
        if (colon == std::string_view::npos) {
            continue;
        }
        const std::string_view key = line.substr(0, colon);
        const std::string value(line.substr(colon + 2));
        if (key == "Title") {
            p.title = value;
        } else if (key == "From") {
            p.from = value;
        } else if (key == "To") {
            p.to = value;
        } else if (key == "Peer") {
            p.peer = value;
        } else if (key == "Arrived") {
            p.arrived = ArrivalTime::fromIsoText(value);
        }
    }
    p.text = bytes.substr(end + 2);
    return p;
}

Status PopupSpool::write(const Popup& popup)
{
    SpoolWrite done = write(std::span(&popup, 1));
    if (done.durable.front()) {
        return success();
    }
    return Failure {EIO, done.error};
}

SpoolWrite PopupSpool::write(std::span<const Popup> popups)
{
    SpoolWrite result {std::vector<bool>(popups.size(), false), {}};
    if (Status made = makeFolders(m_folder); !made) {
        result.error = made.error().text;
        return result;
    }
    struct File
    {
        std::string tmp;
        std::string final;
        int fd = -1;
    };
    std::vector<File> files(popups.size());
    auto drop = [&](File& f, const char* what) {
        result.error = systemError(what).text;
        if (f.fd >= 0) {
            ::close(f.fd);
            f.fd = -1;
        }
        ::unlink(f.tmp.c_str());
        f.tmp.clear();
    };
    for (size_t i = 0; i < files.size(); ++i) {
        // Name order is arrival order: wall-clock nanoseconds, then a per-writer sequence for equal clocks.
        timespec now {};
        clock_gettime(CLOCK_REALTIME, &now);
        char name[80];
        std::snprintf(name,
                      sizeof name,
                      "%011lld%09ld-%08llu-%d.popup",
                      static_cast<long long>(now.tv_sec),
                      static_cast<long>(now.tv_nsec),
                      static_cast<unsigned long long>(++m_sequence),
                      int(::getpid()));
        File& f = files[i];
        f.final = m_folder + '/' + name;
        f.tmp = m_folder + "/." + name + ".tmp";
        f.fd = ::open(f.tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (f.fd < 0) {
            drop(f, "cannot create a spool file");
            continue;
        }
        const std::string bytes = serialize(popups[i]);
        for (size_t at = 0; at < bytes.size();) {
            const ssize_t n = ::write(f.fd, bytes.data() + at, bytes.size() - at);
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n <= 0) {
                drop(f, "cannot write a spool file");
                break;
            }
            at += size_t(n);
        }
        if (f.fd >= 0) {
            // Starts the write-back of every file before the first fsync waits, so that one journal commit
            // tends to carry them all.
            ::sync_file_range(f.fd, 0, 0, SYNC_FILE_RANGE_WRITE);
        }
    }
    for (File& f : files) {
        if (f.fd < 0) {
            continue;
        }
        const bool synced = ::fsync(f.fd) == 0;
        const int syncErrno = errno;
        const bool closed = ::close(f.fd) == 0;
        f.fd = -1;
        if (!synced || !closed) {
            errno = synced ? errno : syncErrno;
            drop(f, "cannot sync a spool file");
        }
    }
    bool any = false;
    for (size_t i = 0; i < files.size(); ++i) {
        if (files[i].tmp.empty()) {
            continue;
        }
        if (::rename(files[i].tmp.c_str(), files[i].final.c_str()) != 0) {
            drop(files[i], "cannot name a spool file");
            continue;
        }
        result.durable[i] = any = true;
    }
    if (!any) {
        return result;
    }
    // The new names are durable only once the folder is.
    const int dir = ::open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = dir >= 0 && ::fsync(dir) == 0;
    if (!synced) {
        result.error = systemError("cannot sync the spool folder").text;
        result.durable.assign(result.durable.size(), false);
    }
    if (dir >= 0) {
        ::close(dir);
    }
    return result;
}

size_t PopupSpool::count() const
{
    return fileNames().size();
}

void PopupSpool::removeTemporaries() const
{
    DIR* dir = ::opendir(m_folder.c_str());
    if (dir == nullptr) {
        return;
    }
    while (const dirent* entry = ::readdir(dir)) {
        const std::string_view name = entry->d_name;
        if (name.size() > 1 && name.front() == '.' && endsWith(name, std::string(kSuffix) + ".tmp")) {
            ::unlinkat(::dirfd(dir), entry->d_name, 0);
        }
    }
    ::closedir(dir);
}

std::vector<std::string> PopupSpool::fileNames() const
{
    std::vector<std::string> names;
    DIR* dir = ::opendir(m_folder.c_str());
    if (dir == nullptr) {
        return names;
    }
    while (const dirent* entry = ::readdir(dir)) {
        const std::string_view name = entry->d_name;
        if (name.front() != '.' && name.size() > kSuffix.size() && endsWith(name, kSuffix)
            && (entry->d_type == DT_REG || entry->d_type == DT_UNKNOWN)) {
            names.emplace_back(name);
        }
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<Popup> PopupSpool::read(const std::string& name) const
{
    if (name.empty() || name.find('/') != std::string::npos) {
        return std::nullopt;
    }
    std::ifstream f(m_folder + '/' + name, std::ios::binary);
    if (!f) {
        return std::nullopt;
    }
    const std::string bytes {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
    auto p = parse(bytes);
    if (p) {
        p->id = name;
    }
    return p;
}

std::optional<Popup> PopupSpool::oldestWithTitle(std::string_view title) const
{
    for (const std::string& name : fileNames()) {
        if (auto p = read(name); p && p->title == title) {
            return p;
        }
    }
    return std::nullopt;
}

std::optional<Popup> PopupSpool::newest() const
{
    const std::vector<std::string> names = fileNames();
    for (auto it = names.crbegin(); it != names.crend(); ++it) {
        if (auto p = read(*it)) {
            return p;
        }
    }
    return std::nullopt;
}

std::vector<Popup> PopupSpool::all() const
{
    std::vector<Popup> out;
    for (const std::string& name : fileNames()) {
        if (auto p = read(name)) {
            out.push_back(std::move(*p));
        }
    }
    return out;
}

Status PopupSpool::remove(const Popup& popup) const
{
    if (popup.id.empty() || popup.id.find('/') != std::string::npos) {
        return Failure {EINVAL, "not a pop-up of the spool"};
    }
    if (::unlink((m_folder + '/' + popup.id).c_str()) != 0) {
        return systemError("cannot remove " + popup.id);
    }
    return success();
}

} // namespace pv
