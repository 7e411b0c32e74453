#pragma once

#include <QObject>
#include <QString>

namespace pv {

// The message service keeps running after the desktop program quits, as a system service would. At start-up
// the program starts it when no service serves this user's pop-up spool yet.
class LanceurService : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // True when a service holds the spool's lock.
    static bool serviceActif(const QString& spool);
    static QString programmeService();

    // Starts the service unless one runs or PILVANOR_MESSENGER is "off"; the outcome comes as a signal.
    void demarrer();

Q_SIGNALS:
    void receptionImpossible(const QString& raison);
};

} // namespace pv
