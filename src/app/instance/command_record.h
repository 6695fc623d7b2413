#pragma once
// The forwarded command line: one fixed record of 33284 bytes in native byte
// order, sent by a second launch to the running copy (and built by the running
// copy for its own arguments, so both take the same path).
//
//   offset 0   int32 count   arguments, the program's path included; at most 128
//   offset 4   128 x 260     argument i in slot i, NUL-terminated, cut to 259 bytes

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vocarta {

inline constexpr int kMaxForwardedArgs = 128;
inline constexpr std::size_t kForwardedArgSize = 260;

struct CommandLineRecord {
    int32_t count = 0;
    char args[kMaxForwardedArgs][kForwardedArgSize] = {};
};
static_assert(sizeof(CommandLineRecord) == 33284, "the record size is part of the protocol");

// Fills `record` from `args` (args[0] is the program): count capped at 128, each
// argument cut to 259 bytes, every unused byte zero.
void PackCommandLine(const std::vector<std::string>& args, CommandLineRecord& record);

// Checks a received record and returns its first `count` arguments. Refuses (false,
// with the reason in `why`) a size other than the record's, a count below 1 or
// above 128, and a used slot without its terminating NUL.
bool UnpackCommandLine(const void* bytes, std::size_t size, std::vector<std::string>& args,
                       std::string& why);

}  // namespace vocarta
