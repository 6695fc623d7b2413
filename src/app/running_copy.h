#pragma once
// What the running copy does once it has won the election, the same with or
// without windows: listen for forwarded command lines, create the main window's
// controller, show the window, hand its own arguments to the controller through
// the main loop, take up the send queue left by an earlier run, and clean up at
// the end (sending stops; what is unsent stays queued).
//
// Threading contract: main thread, except the listener's threads, which reach
// the controller only through LMainLoop::Post.

#include <memory>
#include <string>
#include <vector>

#include "app/instance/pipe_listener.h"
#include "app/session/main_dialog.h"
#include "app/session/session_dispatcher.h"

namespace vocarta {

class InstanceSocket;
class MainDialogView;
class QtMainLoop;
class RecordingSender;

class RunningCopy {
  public:
    // `headless`: no window exists (the view writes to the terminal).
    RunningCopy(QtMainLoop& loop, MainDialogView& view, InstanceSocket& socket,
                bool headless = false);
    ~RunningCopy();

    MainDialog& Dialog() { return dialog_; }
    SessionDispatcher& Commands() { return commands_; }

    // Listener, window, own arguments (posted, so they run once the loop runs).
    void Start(const std::vector<std::string>& ownArgs);
    // Runs the main loop; then stops listening and removes the socket.
    int Run();

  private:
    void StartListening();
    void HandleOwnCommandLine(const std::vector<std::string>& args);
    void OnTerminationSignal(int signal);

    QtMainLoop& loop_;
    InstanceSocket& socket_;
    const bool headless_;
    // Before the session, whose after-recording steps hand it every kept file.
    std::unique_ptr<RecordingSender> sender_;
    MainDialog dialog_;
    SessionDispatcher commands_;
    std::unique_ptr<LPipeListenerWithThreads<LMainWindowPipeListenerThread>> listener_;
};

// Beside the instance socket while the running copy has no window.
std::string HeadlessMarkerPath(const std::string& socketPath);

// The program without windows: QCoreApplication and the headless view.
int RunHeadless(InstanceSocket& socket, const std::vector<std::string>& args);

}  // namespace vocarta
