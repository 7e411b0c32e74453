// Load client of bench_receive.sh: sends COUNT messages to NAME<03> at IP:139 from THREADS threads, each message on
// a connection of its own after a session request (as pilvanor-send does, less the process start-up). Prints one
// line per acknowledged message.
#include "../tests/messenger/SmbTestClient.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

int main(int argc, char** argv)
{
    in_addr ip {};
    if (argc != 5 || ::inet_pton(AF_INET, argv[1], &ip) != 1) {
        std::fprintf(stderr, "usage: bench_receive_client IP NAME COUNT THREADS\n");
        return 2;
    }
    const pv::codec::NetbiosName called {argv[2], pv::codec::kSuffixMessenger, {}};
    const int count = std::atoi(argv[3]);
    std::atomic<int> next = 0;
    std::mutex output;
    std::vector<std::thread> threads;
    for (int t = 0; t < std::atoi(argv[4]); ++t) {
        threads.emplace_back([&] {
            for (int i = next++; i < count; i = next++) {
                pv::test::SmbTestClient client(139, 10'000, ntohl(ip.s_addr));
                const std::string text = "bench message " + std::to_string(i);
                if (client.sendBytes(*pv::codec::buildSessionRequest(called, {"BENCH", 0, {}}))
                    && client.readFrame() == std::vector<uint8_t> {0x82, 0, 0, 0}
                    && client.sendMessage(text).value_or(pv::codec::SmbStatus::dos(1, 1)).isSuccess()) {
                    const std::lock_guard lock(output);
                    std::printf("%s\n", text.c_str());
                }
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    return 0;
}
