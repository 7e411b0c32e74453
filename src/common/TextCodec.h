#pragma once

#include <QByteArray>
#include <QString>

namespace pv {

// Files are UTF-8 on disk. A file that is not valid UTF-8 (one brought from Windows) is read as Windows-1252.
bool isValidUtf8(const QByteArray& bytes);
QString decodeWindows1252(const QByteArray& bytes);
QString decodeTextFile(const QByteArray& bytes);

} // namespace pv
