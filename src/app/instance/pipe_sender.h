#pragma once
// The sending side of the single running copy: a second launch hands its
// command line to the running copy over the connected socket.

#include <cstddef>
#include <string>
#include <vector>

#include "app/instance/command_record.h"
#include "toolkit/lsignal_object.h"
#include "toolkit/lthread.h"

namespace vocarta {

enum class SendResult { Sent, Failed, Cancelled };

// The send loop over a non-blocking socket. `budget` counts half-waits, not
// milliseconds: each 200 ms wait for writability that times out takes 2 from it,
// and one that times out with 2 or less left fails (5000 allows 2499 waits).
// That is how the product has always counted it, and it is kept. `stop` ends the
// loop with Cancelled. `waits`, when given, receives the number of timed-out waits.
SendResult SendWithBudget(int fd, const void* data, std::size_t size, int budget,
                          const LSignalObject& stop, int* waits = nullptr);

inline constexpr int kSendBudget = 5000;
inline constexpr int kSendWaitMs = 200;
// How long a second launch waits for its send thread.
inline constexpr int kSendThreadWaitMs = 10000;

// Thread "LMainWindowSendThread": packs the arguments into one record and sends
// it with a budget of 5000. Owns the socket and closes it when destroyed.
// Threading contract: created, started and collected by one thread; Result()
// may be read once the thread has ended.
class LMainWindowSendThread final : public LThread {
  public:
    LMainWindowSendThread(int fd, const std::vector<std::string>& args);
    ~LMainWindowSendThread() override;

    SendResult Result() const { return result_; }

  protected:
    void Run() override;

  private:
    int fd_;
    CommandLineRecord record_;
    SendResult result_ = SendResult::Failed;  // written by Run, read after it ends
};

// Sends `args` over `fd` (connected to the running copy; taken over and closed)
// and waits for the send thread at most 10000 ms. True when the record went out.
bool SendCommandLineToRunningInstance(int fd, const std::vector<std::string>& args);

}  // namespace vocarta
