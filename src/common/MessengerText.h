#pragma once

#include "messenger/Spool.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <string>
#include <string_view>
#include <vector>

// The protocol library speaks UTF-8 std::string and std::chrono; the desktop program converts here, at its edge.
namespace pv {

inline QString qtext(std::string_view text)
{
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

inline std::string stdText(const QString& text)
{
    return text.toStdString();
}

inline QStringList qtexts(const std::vector<std::string>& texts)
{
    QStringList out;
    out.reserve(qsizetype(texts.size()));
    for (const std::string& text : texts) {
        out.append(qtext(text));
    }
    return out;
}

// The moment with the offset it was recorded with.
inline QDateTime qDateTime(const ArrivalTime& time)
{
    return QDateTime::fromMSecsSinceEpoch(
        time.utc.time_since_epoch().count(), Qt::OffsetFromUTC, time.utcOffsetSeconds);
}

inline ArrivalTime arrivalTime(const QDateTime& time)
{
    return {std::chrono::sys_time<std::chrono::milliseconds>(std::chrono::milliseconds(time.toMSecsSinceEpoch())),
            time.offsetFromUtc()};
}

} // namespace pv
