#pragma once

#include <QString>

#include <functional>

namespace pv {

// What plays a sound file without waiting for it. The program installs the real player (installLecteurSon);
// tests install one that records. None installed plays nothing.
using LecteurSon = std::function<void(const QString& fichier)>;
void setLecteurSon(LecteurSon lecteur);

// Plays the sound file of the settings when "JouerFichierSon" is on. A missing file plays nothing: there is no
// default sound.
void gJouerFichierSon();
// Plays a given file (the preferences' test button); a missing file plays nothing.
void gJouerSon(const QString& fichier);

} // namespace pv
