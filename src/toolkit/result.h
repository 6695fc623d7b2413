#pragma once
// A value or an error, for every operation that can fail in a way its caller
// must tell apart or show: a code to branch on and a message that the log and
// the user can read as it stands ("certificate has expired", "needs 35 MB,
// 1 MB free on /mnt/x"). No exception crosses a library boundary; this does.
//
//   LResult<int> Parse(const std::string& text);
//   LStatus Connect(...);               // LResult<void>
//   if (!r) LogError("...: %s", r.Error().Message().c_str());
//
// Threading: a plain value; safe to move between threads.

#include <cassert>
#include <optional>
#include <string>
#include <utility>

#include "toolkit/text.h"

namespace vocarta {

// What went wrong, coarse enough that callers far apart agree on it.
enum class LErrorCode : int {
    kFailed = 1,   // anything not covered below
    kCancelled,    // a stop request or a user's "Cancel": not a fault
    kTimedOut,     // a deadline passed
    kInvalid,      // bad input: an argument, a setting, a file's content
    kNotFound,     // no such file, host, device or key
    kExists,       // the target is already there and must not be replaced
    kIo,           // a read or write of a file failed
    kNoSpace,      // the disk is full
    kNetwork,      // a connection could not be made or was lost
    kTls,          // a TLS handshake or certificate check failed
    kProtocol,     // a peer answered outside the protocol or with an error
    kUnsupported,  // the operation is not possible on this system or file
};

// The name of a code, for logs and tests ("timed out").
const char* ErrorCodeName(LErrorCode code);

class LError {
  public:
    LError(LErrorCode code, std::string message) : code_(code), message_(std::move(message)) {}

    LErrorCode Code() const { return code_; }
    const std::string& Message() const { return message_; }
    bool IsCancelled() const { return code_ == LErrorCode::kCancelled; }

    // The same error with "context: " in front of its message.
    LError Within(const std::string& context) const {
        return LError(code_, context.empty() ? message_ : context + ": " + message_);
    }

  private:
    LErrorCode code_;
    std::string message_;
};

// printf-style message.
LError MakeError(LErrorCode code, const char* format, ...) __attribute__((format(printf, 2, 3)));

template <class T>
class [[nodiscard]] LResult {
  public:
    LResult(T value) : value_(std::move(value)) {}
    LResult(LError error) : error_(std::move(error)) {}

    bool Ok() const { return value_.has_value(); }
    explicit operator bool() const { return Ok(); }

    // Only on success.
    T& Value() & {
        assert(Ok());
        return *value_;
    }
    const T& Value() const& {
        assert(Ok());
        return *value_;
    }
    T&& Value() && {
        assert(Ok());
        return std::move(*value_);
    }
    T ValueOr(T fallback) const { return Ok() ? *value_ : std::move(fallback); }

    // Only on failure.
    const LError& Error() const {
        assert(!Ok());
        return *error_;
    }

  private:
    std::optional<T> value_;
    std::optional<LError> error_;
};

template <>
class [[nodiscard]] LResult<void> {
  public:
    LResult() = default;
    LResult(LError error) : error_(std::move(error)) {}
    static LResult Success() { return LResult(); }

    bool Ok() const { return !error_.has_value(); }
    explicit operator bool() const { return Ok(); }
    const LError& Error() const {
        assert(!Ok());
        return *error_;
    }

  private:
    std::optional<LError> error_;
};

using LStatus = LResult<void>;

}  // namespace vocarta
