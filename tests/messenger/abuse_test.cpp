// The real pilvanor-messenger under hostile peers, and under SIGKILL.
#include "Bytes.h"
#include "SmbTestClient.h"

#include "messenger/Spool.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <random>
#include <thread>

namespace pv {
namespace {

using namespace codec::test;
using test::SmbTestClient;
const auto Success = codec::SmbStatus::success();

class Abuse : public ::testing::Test
{
protected:
    // Starts the service on `port` (0: any free port), its messages in `log`; port becomes the one it took.
    void launch(const QString& log)
    {
        service.setStandardErrorFile(dir.filePath(log));
        const QString options = QStringLiteral("--foreground --bind 127.0.0.1 --no-udp --name BOB --port %1").arg(port);
        service.start(PV_BIN_DIR "/pilvanor-messenger", options.split(u' ') << "--spool" << spool);
        QRegularExpressionMatch started;
        for (int i = 0; i < 250 && !started.hasMatch(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            QFile f(dir.filePath(log));
            started = QRegularExpression("TCP port (\\d+),").match(f.open(QIODevice::ReadOnly) ? f.readAll() : "");
        }
        ASSERT_TRUE(started.hasMatch()) << "the service did not start";
        port = started.captured(1).toUShort();
    }
    // The text of each pop-up in the spool.
    QSet<QString> bodies() const
    {
        QSet<QString> out;
        for (const Popup& p : PopupSpool(spool).all()) {
            out.insert(p.text.section("\r\n\r\n", 1));
        }
        return out;
    }

    void SetUp() override { launch("log"); }

    QTemporaryDir dir;
    QString spool = dir.filePath("spool");
    uint16_t port = 0;
    QProcess service;
    std::mutex lock;
};

TEST_F(Abuse, ValidMessagesGetThroughHostileConnections)
{
    // With these, more idle connections than the service keeps: it must make room for those that send.
    std::vector<std::unique_ptr<SmbTestClient>> held;
    std::generate_n(std::back_inserter(held), 100, [&] { return std::make_unique<SmbTestClient>(port); });
    std::atomic<int> refused = 0;
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] { // 50 valid messages each, half after a session request
            for (int i = 0; i < 50; ++i) {
                SmbTestClient client(port);
                if (i % 2 && client.sendBytes(*codec::buildSessionRequest({"BOB", 3, {}}, {"A", 0, {}}))) {
                    client.readFrame();
                }
                refused += client.sendMessage(std::to_string(t) + "-" + std::string(size_t(i) * 7, '.')) != Success;
            }
        });
        threads.emplace_back([&, t] { // 250 hostile connections each, half of them kept open
            std::mt19937 random {uint32_t(t)};
            const auto d5 = *codec::buildSessionMessage(*codec::buildMessengerRequest({{}, "A", "B", 0, {}}));
            const Bytes huge = cat({hex("00 01 FF FF"), Bytes(3996, 'x')});
            for (int i = 0; i < 250; ++i) {
                auto client = std::make_unique<SmbTestClient>(port, 50);
                Bytes garbage(random() % 200 + 1); // or a frame cut short, one above any limit, silence
                std::generate(garbage.begin(), garbage.end(), [&] { return uint8_t(random()); });
                const Bytes cut(d5.begin(), d5.begin() + 1 + long(garbage.size() % (d5.size() - 1)));
                client->sendBytes(i % 4 == 0 ? garbage : i % 4 == 1 ? cut : i % 4 == 2 ? huge : Bytes());
                if (i % 2) {
                    const std::lock_guard guard(lock);
                    held.push_back(std::move(client));
                }
            }
        });
    }
    threads.clear();
    EXPECT_EQ(refused, 0);
    EXPECT_EQ(SmbTestClient(port).sendMessage("after the storm"), Success);

    QFile status(QStringLiteral("/proc/%1/status").arg(service.processId()));
    EXPECT_TRUE(status.open(QIODevice::ReadOnly));
    const long peakKiB = QRegularExpression("VmHWM:\\s*(\\d+)").match(status.readAll()).captured(1).toLong();
    EXPECT_TRUE(peakKiB > 0 && peakKiB < 50 * 1024) << "peak resident memory: " << peakKiB << " KiB";
    QSet<QString> sent {"after the storm"};
    for (int i = 0; i < 200; ++i) {
        sent.insert(QString::number(i % 4) + "-" + QString((i / 4) * 7, '.'));
    }
    EXPECT_TRUE(bodies() == sent) << (sent - bodies()).size() << " lost, " << (bodies() - sent).size() << " made up";
    service.terminate();
    EXPECT_TRUE(service.waitForFinished() && service.exitStatus() == QProcess::NormalExit && service.exitCode() == 0);
}

TEST_F(Abuse, AcknowledgedMessagesSurviveSigkill)
{
    std::atomic<bool> sending = true;
    QStringList acknowledged;
    std::vector<std::jthread> senders;
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
        service.kill(); // SIGKILL
        service.waitForFinished();
        launch(QStringLiteral("log%1").arg(kill)); // on the same port
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    sending = false;
    senders.clear();
    service.terminate();
    service.waitForFinished();

    EXPECT_GT(acknowledged.size(), 100);
    const QSet<QString> lost = QSet<QString>(acknowledged.begin(), acknowledged.end()) - bodies();
    EXPECT_TRUE(lost.isEmpty()) << "acknowledged but lost: "
                                << QStringList(lost.begin(), lost.end()).join(' ').toStdString();
    EXPECT_EQ(QDir(spool).entryList({"*.tmp"}, QDir::Hidden | QDir::Files), QStringList()) << "left by a crash";
}

} // namespace
} // namespace pv
