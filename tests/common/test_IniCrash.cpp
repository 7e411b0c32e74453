// Writers killed with SIGKILL at random moments never leave a torn file or lose a write that had returned.
#include "common/IniFile.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

using namespace pv;

namespace {

const QString Padding(120, QLatin1Char('p'));

// Writes keys "w<writer>-<n>" one by one and reports each n on the pipe once its write has returned.
[[noreturn]] void writerLoop(const QString& path, int writer, int first, int fd)
{
    IniFile ini(path);
    for (int n = first;; ++n) {
        const QString key = QStringLiteral("w%1-%2").arg(writer).arg(n);
        ini.writeString(QStringLiteral("Data"), key, key + Padding);
        if (::write(fd, &n, sizeof n) != sizeof n) {
            _exit(1);
        }
    }
}

struct Writer
{
    pid_t pid;
    int readFd;
};

Writer startWriter(const QString& path, int writer, int first)
{
    int fds[2];
    EXPECT_EQ(::pipe(fds), 0);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        writerLoop(path, writer, first, fds[1]);
    }
    ::close(fds[1]);
    return {pid, fds[0]};
}

// The numbers whose write had returned before the kill.
QList<int> acknowledged(int fd)
{
    QList<int> out;
    int n;
    while (::read(fd, &n, sizeof n) == sizeof n) {
        out.append(n);
    }
    ::close(fd);
    return out;
}

} // namespace

TEST(IniCrash, KilledWritersLoseNothingAcknowledged)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("Pilvanor.pv");
    std::mt19937 rng(12345);
    std::uniform_int_distribution<int> delayUs(500, 40000);
    QSet<QString> mustHave;
    const QRegularExpression lineShape(QStringLiteral("^w([01])-(\\d+)=w\\1-\\2p{120}$"));

    constexpr int Rounds = 25;
    for (int round = 0; round < Rounds; ++round) {
        // Two writers at once: the lock must keep their edits from overwriting each other.
        Writer writers[2] = {startWriter(path, 0, round * 100000), startWriter(path, 1, round * 100000)};
        ::usleep(static_cast<useconds_t>(delayUs(rng)));
        for (const Writer& w : writers) {
            ::kill(w.pid, SIGKILL);
        }
        for (int i = 0; i < 2; ++i) {
            int status = 0;
            ::waitpid(writers[i].pid, &status, 0);
            ASSERT_TRUE(WIFSIGNALED(status)) << "writer ended on its own: " << status;
            for (int n : acknowledged(writers[i].readFd)) {
                mustHave.insert(QStringLiteral("w%1-%2").arg(i).arg(n));
            }
        }

        QFile f(path);
        if (!f.exists()) {
            ASSERT_TRUE(mustHave.isEmpty());
            continue;
        }
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        const QStringList lines = QString::fromUtf8(f.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        ASSERT_FALSE(lines.isEmpty());
        EXPECT_EQ(lines.first(), "[Data]");
        QSet<QString> present;
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const auto m = lineShape.match(lines[i]);
            ASSERT_TRUE(m.hasMatch()) << "torn line after round " << round << ": " << lines[i].left(80).toStdString();
            present.insert(lines[i].section(QLatin1Char('='), 0, 0));
        }
        for (const QString& key : mustHave) {
            ASSERT_TRUE(present.contains(key))
                << "lost acknowledged write " << key.toStdString() << " in round " << round;
        }
    }
    EXPECT_GT(mustHave.size(), Rounds) << "the writers should have completed writes between kills";
    // Temporary files of killed writers are cleared by the next write.
    IniFile(path).writeString("Data", "last", "1");
    const QStringList leftovers = QDir(dir.path()).entryList({".Pilvanor.pv.tmp-*"}, QDir::Files | QDir::Hidden);
    EXPECT_TRUE(leftovers.isEmpty()) << leftovers.join(' ').toStdString();
}
