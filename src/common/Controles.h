#pragma once

#include <QString>

#include <utility>

class QWidget;

namespace pv {

// A control whose objectName is its name, so that the language file reaches it.
template<typename T, typename... Args>
T* gCreerControle(QWidget* parent, const char* nom, Args&&... args)
{
    auto* c = new T(std::forward<Args>(args)..., parent);
    c->setObjectName(QLatin1String(nom));
    return c;
}

} // namespace pv
