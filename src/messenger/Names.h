#pragma once

#include "messenger/Expected.h"
#include "messenger/codec/OemCodePage.h"

#include <string>
#include <string_view>
#include <vector>

namespace pv {

// The names the message service answers to: the host name, the names given on its command line, and the aliases
// kept one per line in the file "names" of the spool folder.
class ServiceNames
{
public:
    explicit ServiceNames(std::string spoolFolder);

    std::string filePath() const;
    // The aliases of the file that can be NetBIOS names, upper-cased, each once, in file order.
    std::vector<std::string> aliases(codec::OemCodePage codePage = codec::OemCodePage::Cp850) const;
    // NetMessageNameAdd: keeps a new alias (NetBIOS form, upper case). An error when the name cannot be a NetBIOS
    // name or the file cannot be written; an alias already there is fine.
    Status add(std::string_view alias, codec::OemCodePage codePage = codec::OemCodePage::Cp850);

    // The name as the service holds it (upper case, blanks around it dropped), or "" when it cannot be a NetBIOS
    // name in this code page.
    static std::string normalized(std::string_view name, codec::OemCodePage codePage = codec::OemCodePage::Cp850);

private:
    std::string m_folder;
};

// Writes a whole file under a temporary name, syncs it and renames it over `path`: a reader sees the old file or
// the new one, never a part.
Status writeFileAtomically(const std::string& path, std::string_view bytes);

// mkdir -p.
Status makeFolders(const std::string& path);

} // namespace pv
