#include "common/LecteurSon.h"

#include "common/Son.h"

#include <QCoreApplication>
#include <QSoundEffect>
#include <QUrl>

namespace pv {

void installLecteurSon()
{
    setLecteurSon([](const QString& fichier) {
        // One effect for the program: a new sound cuts the one still playing, as the system call did.
        static auto* effet = new QSoundEffect(QCoreApplication::instance());
        effet->stop();
        effet->setSource(QUrl::fromLocalFile(fichier));
        effet->play();
    });
}

} // namespace pv
