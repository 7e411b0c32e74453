// The real pilvanor-messenger under hostile peers, and under SIGKILL.
#include "Bytes.h"
#include "SmbTestClient.h"

#include "messenger/Spool.h"

#include <QDir>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <mutex>
#include <random>
#include <sys/wait.h>
#include <thread>

namespace pv {
namespace {

using test::SmbTestClient;
const auto Success = codec::SmbStatus::success();

// The service in the foreground on `port` (0: any free port), its output in `log`; sets port to the one it took.
pid_t launch(const QString& spool, uint16_t& port, const QString& log)
{
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(::open(QFile::encodeName(log).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
        ::execl(PV_BIN_DIR "/pilvanor-messenger",
                "pilvanor-messenger",
                "--foreground",
                "--bind",
                "127.0.0.1",
                "--no-udp",
                "--name",
                "BOB",
                "--spool",
                QFile::encodeName(spool).constData(),
                "--port",
                std::to_string(port).c_str(),
                nullptr);
        ::_exit(127);
    }
    for (int i = 0; i < 250; ++i) {
        QFile f(log);
        const QByteArray text = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        if (const qsizetype at = text.indexOf("TCP port "), end = text.indexOf(',', at); at >= 0 && end > 0) {
            port = uint16_t(text.mid(at + 9, end - at - 9).toUInt());
            return pid;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ADD_FAILURE() << "the service did not start";
    return pid;
}

QSet<QString> bodies(const QString& spool)
{
    QSet<QString> out;
    for (const Popup& p : PopupSpool(spool).all()) {
        out.insert(p.text.section("\r\n\r\n", 1));
    }
    return out;
}

long residentKiB(pid_t pid)
{
    QFile f(QStringLiteral("/proc/%1/status").arg(pid));
    const QByteArray status = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    const qsizetype at = status.indexOf("VmRSS:");
    return at < 0 ? -1 : status.mid(at + 6, status.indexOf('\n', at) - at - 6).trimmed().split(' ')[0].toLong();
}

TEST(Abuse, ValidMessagesGetThroughHostileConnections)
{
    QTemporaryDir dir;
    uint16_t port = 0;
    const pid_t pid = launch(dir.path() + "/spool", port, dir.path() + "/log");
    std::atomic<bool> running = true;
    std::atomic<long> peakKiB = 0;
    std::thread monitor([&] {
        for (; running; std::this_thread::sleep_for(std::chrono::milliseconds(20))) {
            peakKiB = std::max(peakKiB.load(), residentKiB(pid));
        }
    });
    // With these, more idle connections than the service keeps: it must make room for those that send.
    std::vector<std::unique_ptr<SmbTestClient>> held;
    for (int i = 0; i < 100; ++i) {
        held.push_back(std::make_unique<SmbTestClient>(port));
    }
    std::mutex lock;
    std::atomic<int> refused = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] { // 50 valid messages each, half after a session request
            for (int i = 0; i < 50; ++i) {
                SmbTestClient client(port);
                if (i % 2) {
                    client.sendBytes(*codec::buildSessionRequest({"BOB", 3, {}}, {"A", 0, {}}));
                    client.readFrame();
                }
                refused += client.sendMessage(std::to_string(t) + "-" + std::string(size_t(i) * 7, '.')) != Success;
            }
        });
        threads.emplace_back([&, t] { // 250 hostile connections each
            std::mt19937 random {uint32_t(t)};
            const auto d5 = *codec::buildSessionMessage(*codec::buildMessengerRequest({{}, "A", "B", 0, {}}));
            for (int i = 0; i < 250; ++i) {
                auto client = std::make_unique<SmbTestClient>(port, 50);
                std::vector<uint8_t> bytes(random() % 200 + 1);
                if (i % 4 == 0) { // garbage
                    std::generate(bytes.begin(), bytes.end(), [&] { return uint8_t(random()); });
                } else if (i % 4 == 1) { // a frame cut short, then silence
                    bytes.assign(d5.begin(), d5.begin() + long(random() % (d5.size() - 1) + 1));
                } else if (i % 4 == 2) { // a frame above any limit
                    bytes = codec::test::hex("00 01 FF FF");
                    bytes.resize(4000, 'x');
                } else { // silence
                    bytes.clear();
                }
                client->sendBytes(bytes);
                if (i % 2) {
                    const std::lock_guard guard(lock);
                    held.push_back(std::move(client));
                }
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    EXPECT_EQ(refused, 0);
    EXPECT_EQ(SmbTestClient(port).sendMessage("after the storm"), Success);
    running = false;
    monitor.join();

    EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), 0) << "the service ended";
    const QSet<QString> arrived = bodies(dir.path() + "/spool");
    EXPECT_EQ(arrived.size(), 201);
    for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(arrived.contains(QString::number(i % 4) + "-" + QString((i / 4) * 7, '.'))) << i;
    }
    EXPECT_GT(peakKiB, 0);
    EXPECT_LT(peakKiB, 50 * 1024) << "peak VmRSS in KiB";
    int status = -1;
    ::kill(pid, SIGTERM);
    ::waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

TEST(Abuse, AcknowledgedMessagesSurviveSigkill)
{
    QTemporaryDir dir;
    const QString spool = dir.path() + "/spool";
    uint16_t port = 0;
    pid_t pid = launch(spool, port, dir.path() + "/log");
    std::atomic<bool> sending = true;
    std::mutex lock;
    QStringList acknowledged;
    std::vector<std::thread> senders;
    for (int t = 0; t < 4; ++t) {
        senders.emplace_back([&, t] {
            for (int i = 0; sending && i < 2000; ++i) {
                const std::string text = "kill " + std::to_string(t) + "-" + std::to_string(i);
                if (SmbTestClient(port, 2000).sendMessage(text) == Success) {
                    const std::lock_guard guard(lock);
                    acknowledged << QString::fromStdString(text);
                } else {
                    std::this_thread::sleep_for(std::chrono::milliseconds(5));
                }
            }
        });
    }
    std::mt19937 random(42);
    for (int kill = 0; kill < 12; ++kill) {
        std::this_thread::sleep_for(std::chrono::milliseconds(30 + random() % 200));
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
        const uint16_t before = port;
        pid = launch(spool, port, dir.path() + QStringLiteral("/log%1").arg(kill));
        ASSERT_EQ(port, before);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    sending = false;
    for (auto& t : senders) {
        t.join();
    }
    ::kill(pid, SIGTERM);
    ::waitpid(pid, nullptr, 0);

    const QSet<QString> arrived = bodies(spool);
    EXPECT_GT(acknowledged.size(), 100);
    for (const QString& text : acknowledged) {
        EXPECT_TRUE(arrived.contains(text)) << "acknowledged but lost: " << qPrintable(text);
    }
    EXPECT_EQ(QDir(spool).entryList({"*.tmp"}, QDir::Hidden | QDir::Files), QStringList()) << "left by a crash";
}

} // namespace
} // namespace pv
