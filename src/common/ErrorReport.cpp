#include "common/ErrorReport.h"

#include "common/Error.h"
#include "common/Language.h"

namespace pv {

QString gTexteRapportErreur(const QString& place, int number, const QString& description)
{
    return QStringLiteral("Module\t: ") + place + QStringLiteral("\r\nErreur\t: ") + QString::number(number)
           + QStringLiteral("\r\nDesc.\t: ") + description;
}

void gRapportErreur(const QString& place, int number, const QString& description)
{
    showMessageBox(gTexteRapportErreur(place, number, description), MsgStyle::Ok | MsgStyle::Exclamation);
}

void gRapportErreur(const QString& place, const std::exception& e)
{
    if (const auto* error = dynamic_cast<const Error*>(&e)) {
        gRapportErreur(place, error->number(), error->text());
        return;
    }
    gRapportErreur(place, 0, QString::fromUtf8(e.what()));
}

} // namespace pv
