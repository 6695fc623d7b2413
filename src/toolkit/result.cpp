#include "toolkit/result.h"

#include <cstdarg>
#include <cstdio>

namespace vocarta {

const char* ErrorCodeName(LErrorCode code) {
    switch (code) {
        case LErrorCode::kFailed:
            return "failed";
        case LErrorCode::kCancelled:
            return "cancelled";
        case LErrorCode::kTimedOut:
            return "timed out";
        case LErrorCode::kInvalid:
            return "invalid";
        case LErrorCode::kNotFound:
            return "not found";
        case LErrorCode::kExists:
            return "exists";
        case LErrorCode::kIo:
            return "input/output error";
        case LErrorCode::kNoSpace:
            return "no space";
        case LErrorCode::kNetwork:
            return "network error";
        case LErrorCode::kTls:
            return "TLS error";
        case LErrorCode::kProtocol:
            return "protocol error";
        case LErrorCode::kUnsupported:
            return "unsupported";
    }
    return "unknown";
}

LError MakeError(LErrorCode code, const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string message(length > 0 ? size_t(length) : 0, '\0');
    if (length > 0) std::vsnprintf(message.data(), size_t(length) + 1, format, args);
    va_end(args);
    return LError(code, std::move(message));
}

}  // namespace vocarta
