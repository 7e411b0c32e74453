#include "messenger/codec/CodecError.h"

namespace pv::codec {

const char* codecErrorText(CodecError error)
{
    switch (error) {
    case CodecError::Truncated:
        return "data ends inside a field";
    case CodecError::TooLong:
        return "length above the allowed maximum";
    case CodecError::BadType:
        return "unknown packet type or command";
    case CodecError::BadName:
        return "malformed or invalid NetBIOS name";
    case CodecError::BadSignature:
        return "not an SMB (bad signature)";
    case CodecError::BadWordCount:
        return "wrong SMB word count";
    case CodecError::BadByteCount:
        return "SMB byte count past the end of the packet";
    case CodecError::BadBufferFormat:
        return "wrong SMB buffer format";
    case CodecError::BadLength:
        return "length field disagrees with the data";
    case CodecError::BadFlags:
        return "flags not allowed here";
    case CodecError::BadString:
        return "unterminated string or string holding a NUL";
    case CodecError::BadOffset:
        return "offset outside the packet";
    case CodecError::BadCount:
        return "record count does not fit the packet";
    case CodecError::BadMailslot:
        return "not a write to the messenger mailslot";
    case CodecError::Unrepresentable:
        return "character not representable in the code page";
    }
    return "unknown codec error";
}

} // namespace pv::codec
