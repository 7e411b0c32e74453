#include "messenger/Names.h"

#include "messenger/Interfaces.h"
#include "messenger/codec/NetbiosName.h"
#include "messenger/codec/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace pv {

Status makeFolders(const std::string& path)
{
    for (size_t at = path.find('/', 1);; at = path.find('/', at + 1)) {
        const std::string part = path.substr(0, at);
        if (!part.empty() && ::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
            return Failure {errno, "cannot create " + part + ": " + systemErrorText(errno)};
        }
        if (at == std::string::npos) {
            break;
        }
    }
    struct stat st
    {
    };
    if (::stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        return Failure {ENOTDIR, "cannot create " + path + ": not a folder"};
    }
    return success();
}

Status writeFileAtomically(const std::string& path, std::string_view bytes)
{
    const std::string temporary = path + ".tmp-" + std::to_string(::getpid());
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        return Failure {errno, "cannot write " + path + ": " + systemErrorText(errno)};
    }
    bool written = true;
    while (written && !bytes.empty()) {
        const ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n > 0) {
            bytes.remove_prefix(size_t(n));
        } else if (n < 0 && errno != EINTR) {
            written = false;
        }
    }
    const bool done = written && ::fsync(fd) == 0;
    const int error = errno;
    ::close(fd);
    if (!done || ::rename(temporary.c_str(), path.c_str()) != 0) {
        const int why = done ? errno : error;
        ::unlink(temporary.c_str());
        return Failure {why, "cannot write " + path + ": " + systemErrorText(why)};
    }
    return success();
}

ServiceNames::ServiceNames(std::string spoolFolder)
    : m_folder(std::move(spoolFolder))
{
}

std::string ServiceNames::filePath() const
{
    return m_folder + "/names";
}

std::string ServiceNames::normalized(std::string_view name, codec::OemCodePage codePage)
{
    const auto netbios = codec::netbiosNameFromText(codec::trimmedText(name), codec::kSuffixMessenger, codePage);
    return netbios ? codec::decodeOemText(netbios->name, codePage) : std::string();
}

std::vector<std::string> ServiceNames::aliases(codec::OemCodePage codePage) const
{
    std::vector<std::string> out;
    std::ifstream f(filePath(), std::ios::binary);
    if (!f) {
        return out;
    }
    // A hand-edited file may hold blanks, empty lines, duplicates and names that cannot be NetBIOS names; a huge
    // one is read in part, so that it cannot stall the service.
    std::string head(size_t(64) * 1024, '\0');
    f.read(head.data(), std::streamsize(head.size()));
    head.resize(size_t(f.gcount()));
    for (size_t start = 0; start < head.size();) {
        const size_t end = std::min(head.find('\n', start), head.size());
        const std::string name = normalized(std::string_view(head).substr(start, end - start), codePage);
        if (!name.empty() && std::find(out.begin(), out.end(), name) == out.end()) {
            out.push_back(name);
        }
        start = end + 1;
    }
    return out;
}

Status ServiceNames::add(std::string_view alias, codec::OemCodePage codePage)
{
    const std::string name = normalized(alias, codePage);
    if (name.empty()) {
        return Failure {EINVAL, "\"" + std::string(alias) + "\" cannot be a NetBIOS name"};
    }
    std::vector<std::string> names = aliases(codePage);
    if (std::find(names.begin(), names.end(), name) != names.end()) {
        return success();
    }
    names.push_back(name);
    if (Status made = makeFolders(m_folder); !made) {
        return made;
    }
    std::string bytes;
    for (const std::string& n : names) {
        bytes += n + '\n';
    }
    return writeFileAtomically(filePath(), bytes);
}

} // namespace pv
