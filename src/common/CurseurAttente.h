#pragma once

#include <QApplication>

namespace pv {

// The wait cursor for as long as the guard lives: every way out of the scope, an exception included, gives the
// cursor back, once. A wait that outlives a call (an answer awaited from another thread) keeps one in a
// std::optional member, emplaced when the wait begins and reset when it ends.
class CurseurAttente
{
public:
    CurseurAttente() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~CurseurAttente() { QApplication::restoreOverrideCursor(); }
    CurseurAttente(const CurseurAttente&) = delete;
    CurseurAttente& operator=(const CurseurAttente&) = delete;
};

} // namespace pv
