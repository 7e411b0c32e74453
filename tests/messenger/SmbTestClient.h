#pragma once

#include "messenger/codec/SessionFrame.h"
#include "messenger/codec/SmbMessage.h"

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

namespace pv::test {

// A blocking client (on 127.0.0.1 unless told) that speaks through the codec; every read has a time limit.
class SmbTestClient
{
public:
    explicit SmbTestClient(uint16_t port, int timeoutMs = 5000, uint32_t address = INADDR_LOOPBACK)
        : m_fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
        , m_timeoutMs(timeoutMs)
    {
        sockaddr_in a {AF_INET, htons(port), {htonl(address)}, {}};
        if (::connect(m_fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
            ::close(m_fd);
            m_fd = -1;
        }
    }
    ~SmbTestClient() { ::close(m_fd); }
    SmbTestClient(const SmbTestClient&) = delete;

    bool sendBytes(const std::vector<uint8_t>& b)
    {
        return m_fd >= 0 && ::send(m_fd, b.data(), b.size(), MSG_NOSIGNAL) == ssize_t(b.size());
    }

    // The next whole frame; empty when the service closed, said nothing in time, or sent a bad frame.
    std::vector<uint8_t> readFrame()
    {
        std::vector<uint8_t> frame;
        for (auto need = codec::sessionBytesNeeded(frame, codec::kSessionMaxLength); need && *need > 0;
             need = codec::sessionBytesNeeded(frame, codec::kSessionMaxLength)) {
            const size_t had = frame.size();
            frame.resize(had + *need);
            pollfd p {m_fd, POLLIN, 0};
            const ssize_t n = ::poll(&p, 1, m_timeoutMs) == 1 ? ::recv(m_fd, frame.data() + had, *need, 0) : -1;
            if (n <= 0) {
                return {};
            }
            frame.resize(had + size_t(n));
        }
        return codec::parseSessionFrame(frame) ? frame : std::vector<uint8_t>();
    }

    // True when the service closed this connection (end of stream or reset) within the time limit.
    bool closedByService()
    {
        uint8_t byte = 0;
        pollfd p {m_fd, POLLIN, 0};
        return ::poll(&p, 1, m_timeoutMs) == 1 && ::recv(m_fd, &byte, 1, 0) <= 0;
    }

    // One messenger request; the reply's status, or nullopt when no valid reply came.
    std::optional<codec::SmbStatus> call(codec::SmbCommand command, const std::string& text = {})
    {
        codec::MessengerRequest request {{}, "ALICE", "BOB", m_groupId, text};
        request.header.command = command;
        const auto smb = codec::buildMessengerRequest(request);
        const auto frame = smb ? codec::buildSessionMessage(*smb) : codec::CodecError::TooLong;
        if (!frame || !sendBytes(*frame)) {
            return std::nullopt;
        }
        const auto bytes = readFrame();
        const auto reply = bytes.size() > codec::kSessionHeaderSize
                               ? codec::parseMessengerReply(std::span(bytes).subspan(4), command)
                               : codec::CodecError::Truncated;
        if (!reply) {
            return std::nullopt;
        }
        m_groupId = reply->groupId.value_or(m_groupId);
        return reply->header.status;
    }

    // D5, the text in blocks of 128 bytes, D6 (or one D0): the first failing status, else that of the last reply.
    std::optional<codec::SmbStatus> sendMessage(const std::string& text, bool singleBlock = false)
    {
        using codec::SmbCommand;
        if (singleBlock) {
            return call(SmbCommand::SendMessage, text);
        }
        auto status = call(SmbCommand::SendStart);
        for (size_t at = 0; status && status->isSuccess() && at < text.size(); at += codec::kTextBlockMax) {
            status = call(SmbCommand::SendText, text.substr(at, codec::kTextBlockMax));
        }
        return status && status->isSuccess() ? call(SmbCommand::SendEnd) : status;
    }

private:
    int m_fd;
    int m_timeoutMs;
    uint16_t m_groupId = 0;
};

} // namespace pv::test
