#pragma once

#include "messenger/codec/OemCodePage.h"

#include <QString>
#include <QStringList>

namespace pv {

// The names the message service answers to: the host name, the names given on its command line, and the aliases
// kept one per line in the file "names" of the spool folder.
class ServiceNames
{
public:
    explicit ServiceNames(QString spoolFolder);

    QString filePath() const;
    // The aliases of the file that can be NetBIOS names, upper-cased, each once, in file order.
    QStringList aliases(codec::OemCodePage codePage = codec::OemCodePage::Cp850) const;
    // NetMessageNameAdd: keeps a new alias (NetBIOS form, upper case). False with a reason when the name cannot be a
    // NetBIOS name or the file cannot be written; an alias already there is fine.
    bool add(const QString& alias, QString* error = nullptr, codec::OemCodePage codePage = codec::OemCodePage::Cp850);

    // The name as the service holds it (upper case, blanks around it dropped), or "" when it cannot be a NetBIOS
    // name in this code page.
    static QString normalized(const QString& name, codec::OemCodePage codePage = codec::OemCodePage::Cp850);

private:
    QString m_folder;
};

} // namespace pv
