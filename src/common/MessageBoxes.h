#pragma once

namespace pv {

// Shows the program's message boxes with QMessageBox from now on. Called once the QApplication exists.
void installMessageBoxes();

} // namespace pv
