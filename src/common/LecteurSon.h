#pragma once

namespace pv {

// Plays sounds with Qt Multimedia from now on. Called once the QApplication exists.
void installLecteurSon();

} // namespace pv
