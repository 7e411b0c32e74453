#pragma once

#include "messenger/codec/SessionFrame.h"
#include "messenger/codec/SmbMessage.h"

namespace pv::codec {

// NET_API_STATUS values that a send returns, as NetMessageBufferSend does.
namespace netapi {
inline constexpr int Success = 0;
inline constexpr int AccessDenied = 5;
inline constexpr int NotEnoughMemory = 8;
inline constexpr int NotSupported = 50;
inline constexpr int BadNetPath = 53;       // DOMAIN*: no domain, no interface, sendto failed
inline constexpr int InvalidParameter = 87; // text empty or too long, missing arguments
inline constexpr int InvalidName = 123;     // recipient that cannot become a NetBIOS name
inline constexpr int NetworkError = 2136;   // anything unexpected after connecting
inline constexpr int UseNotFound = 2250;    // display only: no protocol outcome gives it
inline constexpr int NameNotFound = 2273;   // the alias is not on the network, or takes no messages
inline constexpr int PausedRemote = 2281;
inline constexpr int BadReceive = 2282;
} // namespace netapi

// The error of an SMB reply as a result code; success gives netapi::Success.
constexpr int resultFromSmbStatus(const SmbStatus& status)
{
    if (status.isSuccess()) {
        return netapi::Success;
    }
    if (status.ntForm) {
        switch (status.ntStatus) {
        case kNtStatusRequestNotAccepted:
            return netapi::NameNotFound;
        case kNtStatusAccessDenied:
            return netapi::AccessDenied;
        case kNtStatusNotImplemented:
        case kNtStatusNotSupported:
            return netapi::NotSupported;
        default:
            return netapi::NetworkError;
        }
    }
    if (status.errorClass == kErrDos) {
        switch (status.errorCode) {
        case kErrDosReqNotAccepted: // smbd without a message command
            return netapi::NameNotFound;
        case kErrDosAccessDenied:
            return netapi::AccessDenied;
        default:
            return netapi::NetworkError;
        }
    }
    if (status.errorClass == kErrSrv) {
        switch (status.errorCode) {
        case kErrSrvMsgOff:
            return netapi::NameNotFound;
        case kErrSrvPaused:
            return netapi::PausedRemote;
        case kErrSrvNoRoom:
        case kErrSrvNoResource:
            return netapi::NotEnoughMemory;
        case kErrSrvAccess:
            return netapi::AccessDenied;
        case kErrSrvSmbCmd:
        case kErrSrvUnknownSmb:
            return netapi::NotSupported;
        default:
            return netapi::NetworkError;
        }
    }
    return netapi::NetworkError;
}

constexpr int resultFromNegativeSession(uint8_t code)
{
    switch (code) {
    case kNotListeningOnCalled:
    case kCalledNotPresent:
        return netapi::NameNotFound;
    case kNotListeningForCalling:
        return netapi::AccessDenied;
    case kInsufficientResources:
        return netapi::NotEnoughMemory;
    default:
        return netapi::NetworkError;
    }
}

} // namespace pv::codec
