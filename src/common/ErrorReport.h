#pragma once

#include <QString>

#include <exception>

namespace pv {

// The three-line report of a trapped run-time error. `place` is the form or module, a point and the routine,
// as in "frmPilvanor.mEnvoyerMessage" or "modPilvanor.gVerifierNbMessageHistorique".
QString gTexteRapportErreur(const QString& place, int number, const QString& description);

// Shows the report in a box with the OK button only.
void gRapportErreur(const QString& place, int number, const QString& description);
// The number is pv::Error::number() for a pv::Error, else 0; the description is what().
void gRapportErreur(const QString& place, const std::exception& e);

} // namespace pv
