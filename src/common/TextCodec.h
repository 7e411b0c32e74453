#pragma once

#include <QByteArray>
#include <QString>

namespace pv {

// Files are UTF-8 on disk. A line that is not valid UTF-8 (a file brought from Windows, a hand edit in another
// encoding) is read as Windows-1252; the other lines of the file stay UTF-8.
bool isValidUtf8(const QByteArray& bytes);
QString decodeWindows1252(const QByteArray& bytes);
QString decodeTextFile(const QByteArray& bytes);

} // namespace pv
