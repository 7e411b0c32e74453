#pragma once

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
    QStringList aliases() const;
    // NetMessageNameAdd: keeps a new alias (NetBIOS form, upper case). False with a reason when the name cannot be a
    // NetBIOS name or the file cannot be written; an alias already there is fine.
    bool add(const QString& alias, QString* error = nullptr);

private:
    QString m_folder;
};

} // namespace pv
