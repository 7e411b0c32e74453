#pragma once

#include <QObject>
#include <QString>

#include <utility>

class QWidget;

namespace pv {

// Names an object made elsewhere (a menu from addMenu, a timer, an action): its objectName is its name, so that
// the language file and the tests reach it.
template<typename T>
T* gNommer(T* objet, const char* nom)
{
    objet->setObjectName(QLatin1String(nom));
    return objet;
}

// A control whose objectName is its name.
template<typename T, typename... Args>
T* gCreerControle(QWidget* parent, const char* nom, Args&&... args)
{
    return gNommer(new T(std::forward<Args>(args)..., parent), nom);
}

} // namespace pv
