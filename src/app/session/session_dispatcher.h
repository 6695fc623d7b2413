#pragma once
// The one way in for session commands: the command line of the first launch and
// of forwarded launches, the window's buttons and menus, the tray, hot-keys,
// schedules and the recordings browser all hand a SessionCommand to Dispatch,
// which carries it out on the session. What a command's values mean (the
// format word and encoder options, a scheduled end) is settled here, so the
// session only sees values: a recording spec, a limit in milliseconds.
//
// Threading contract: main thread only.

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "app/session/session_command.h"

namespace vocarta {

class MainDialog;

class SessionDispatcher {
  public:
    explicit SessionDispatcher(MainDialog& dialog);

    void Dispatch(const SessionCommand& command, CommandSource source);

    // The switches of a command line from index 1 (args[0] is the program); only
    // the first `count` arguments are read. Problems are logged; the rest is
    // carried out, as far as the window stays open. True when the line asked for
    // a recording to start.
    bool HandleCommandLine(const std::vector<std::string>& args, int count);
    // A command line received from a second launch: a bare launch brings the
    // window to the front, anything else goes to HandleCommandLine.
    void HandleForwardedCommandLine(const std::vector<std::string>& args);

    // For tests: the clock of scheduled ends, in whole seconds.
    void SetClock(std::function<std::time_t()> now) {
        nowMs_ = [now = std::move(now)] { return int64_t(now()) * 1000; };
    }

  private:
    void Record(const SessionCommand& command);
    void RecordToFile(const SessionCommand& command);
    void ScheduledLaunch(const SessionCommand& command);

    MainDialog& dialog_;
    // Milliseconds: a limit from whole seconds would end up to a second late.
    std::function<int64_t()> nowMs_;
};

}  // namespace vocarta
