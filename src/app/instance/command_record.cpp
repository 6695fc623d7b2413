#include "app/instance/command_record.h"

#include <cstring>

#include "toolkit/text.h"

namespace vocarta {

void PackCommandLine(const std::vector<std::string>& args, CommandLineRecord& record) {
    record = CommandLineRecord{};
    const std::size_t count =
        args.size() < std::size_t(kMaxForwardedArgs) ? args.size() : std::size_t(kMaxForwardedArgs);
    record.count = int32_t(count);
    for (std::size_t i = 0; i < count; ++i) CopyText(record.args[i], kForwardedArgSize, args[i]);
}

bool UnpackCommandLine(const void* bytes, std::size_t size, std::vector<std::string>& args,
                       std::string& why) {
    args.clear();
    if (size != sizeof(CommandLineRecord)) {
        why = StringPrintf("record of %zu bytes, expected %zu", size, sizeof(CommandLineRecord));
        return false;
    }
    // Copied out rather than cast: the buffer carries no alignment promise.
    int32_t count = 0;
    std::memcpy(&count, bytes, sizeof count);
    if (count < 1 || count > kMaxForwardedArgs) {
        why = StringPrintf("argument count %d outside 1..%d", int(count), kMaxForwardedArgs);
        return false;
    }
    const char* slots = static_cast<const char*>(bytes) + sizeof(int32_t);
    for (int i = 0; i < count; ++i) {
        const char* slot = slots + std::size_t(i) * kForwardedArgSize;
        const void* end = std::memchr(slot, '\0', kForwardedArgSize);
        if (!end) {
            why = StringPrintf("argument %d is not terminated", i);
            args.clear();
            return false;
        }
        args.emplace_back(slot, static_cast<const char*>(end) - slot);
    }
    return true;
}

}  // namespace vocarta
