// The real pilvanor-messenger under hostile peers, and under SIGKILL.
#include "Bytes.h"
#include "SmbTestClient.h"
#include "TempDir.h"

#include "messenger/Spool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <random>
#include <regex>
#include <set>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace pv {
namespace {

using namespace codec::test;
using test::SmbTestClient;
using test::TempDir;
const auto Success = codec::SmbStatus::success();

std::string fileText(const std::string& path)
{
    std::ifstream f(path);
    return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
}

// A child process with its standard error in a file.
class Process
{
public:
    ~Process() { stop(SIGKILL); }

    void start(std::vector<std::string> args, const std::string& errorFile)
    {
        m_pid = ::fork();
        if (m_pid == 0) {
            const int fd = ::open(errorFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            ::dup2(fd, STDERR_FILENO);
            std::vector<char*> argv;
            for (std::string& arg : args) {
                argv.push_back(arg.data());
            }
            argv.push_back(nullptr);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
    }
    pid_t pid() const { return m_pid; }
    // Signals it and waits for its end: its wait status, or -1.
    int stop(int signal)
    {
        if (m_pid <= 0) {
            return -1;
        }
        ::kill(m_pid, signal);
        int status = -1;
        ::waitpid(m_pid, &status, 0);
        m_pid = -1;
        return status;
    }

private:
    pid_t m_pid = -1;
};

class Abuse : public ::testing::Test
{
protected:
    // Starts the service on `port` (0: any free port), its messages in `log`; port becomes the one it took.
    void launch(const std::string& log)
    {
        service.start({PV_BIN_DIR "/pilvanor-messenger",
                       "--foreground",
                       "--bind",
                       "127.0.0.1",
                       "--no-udp",
                       "--name",
                       "BOB",
                       "--port",
                       std::to_string(port),
                       "--spool",
                       spool},
                      dir.filePath(log));
        std::smatch started;
        std::string text;
        for (int i = 0; i < 250 && started.empty(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            text = fileText(dir.filePath(log));
            std::regex_search(text, started, std::regex("TCP port (\\d+),"));
        }
        ASSERT_FALSE(started.empty()) << "the service did not start";
        port = uint16_t(std::stoi(started[1]));
    }
    // The text of each pop-up in the spool.
    std::set<std::string> bodies() const
    {
        std::set<std::string> out;
        for (const Popup& p : PopupSpool(spool).all()) {
            const size_t body = p.text.find("\r\n\r\n");
            out.insert(body == std::string::npos ? std::string() : p.text.substr(body + 4));
        }
        return out;
    }

    void SetUp() override { launch("log"); }

    TempDir dir;
    std::string spool = dir.filePath("spool");
    uint16_t port = 0;
    Process service;
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

    const std::string status = fileText("/proc/" + std::to_string(service.pid()) + "/status");
    std::smatch peak;
    ASSERT_TRUE(std::regex_search(status, peak, std::regex("VmHWM:\\s*(\\d+)")));
    const long peakKiB = std::stol(peak[1]);
    EXPECT_TRUE(peakKiB > 0 && peakKiB < 50 * 1024) << "peak resident memory: " << peakKiB << " KiB";
    std::set<std::string> sent {"after the storm"};
    for (int i = 0; i < 200; ++i) {
        sent.insert(std::to_string(i % 4) + "-" + std::string(size_t(i / 4) * 7, '.'));
    }
    EXPECT_EQ(bodies(), sent);
    const int end = service.stop(SIGTERM);
    EXPECT_TRUE(WIFEXITED(end) && WEXITSTATUS(end) == 0);
}

TEST_F(Abuse, AcknowledgedMessagesSurviveSigkill)
{
    std::atomic<bool> sending = true;
    std::vector<std::string> acknowledged;
    std::vector<std::jthread> senders;
    for (int t = 0; t < 4; ++t) {
        senders.emplace_back([&, t] {
            for (int i = 0; sending && i < 2000; ++i) {
                const std::string text = "kill " + std::to_string(t) + "-" + std::to_string(i);
                if (SmbTestClient(port, 2000).sendMessage(text) == Success) {
                    const std::lock_guard guard(lock);
                    acknowledged.push_back(text);
                } else {
                    std::this_thread::sleep_for(std::chrono::milliseconds(5));
                }
            }
        });
    }
    std::mt19937 random(42);
    for (int kill = 0; kill < 12; ++kill) {
        std::this_thread::sleep_for(std::chrono::milliseconds(30 + random() % 200));
        service.stop(SIGKILL);
        launch("log" + std::to_string(kill)); // on the same port
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    sending = false;
    senders.clear();
    service.stop(SIGTERM);

    EXPECT_GT(acknowledged.size(), 100u);
    const std::set<std::string> kept = bodies();
    std::string lost;
    for (const std::string& text : acknowledged) {
        lost += kept.count(text) ? "" : text + ' ';
    }
    EXPECT_EQ(lost, "") << "acknowledged but lost";
    for (const auto& entry : std::filesystem::directory_iterator(spool)) {
        EXPECT_FALSE(entry.path().string().ends_with(".tmp")) << "left by a crash: " << entry.path();
    }
}

} // namespace
} // namespace pv
