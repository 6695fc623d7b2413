#include "app/running_copy.h"

#include <unistd.h>

#include <QCoreApplication>
#include <csignal>
#include <cstdio>

#include "app/instance/command_record.h"
#include "app/instance/instance_socket.h"
#include "app/qt_main_loop.h"
#include "app/session/headless_view.h"
#include "audio/playback/tone_player.h"
#include "settings/settings.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr const char* kShownAtStartupSection = "Settings";
constexpr const char* kShownAtStartupKey = "MainWindowShownAtStartup";
constexpr bool kShownAtStartupDefault = true;
constexpr int kToneWaitAtExitMs = 2000;
}  // namespace

RunningCopy::RunningCopy(QtMainLoop& loop, MainDialogView& view, InstanceSocket& socket)
    : loop_(loop), socket_(socket), dialog_(view, loop), commands_(dialog_) {}

RunningCopy::~RunningCopy() {
    if (listener_) listener_->Shutdown();
}

void RunningCopy::Start(const std::vector<std::string>& ownArgs) {
    StartListening();
    if (GetSettingBool(kShownAtStartupSection, kShownAtStartupKey, kShownAtStartupDefault))
        dialog_.ShowWindow();
    loop_.WatchTerminationSignals([this](int signal) { OnTerminationSignal(signal); });

    // The own command line takes the forwarded record's form (count and cut
    // included), so a first launch and a forwarded one behave alike.
    CommandLineRecord record;
    PackCommandLine(ownArgs, record);
    auto args = std::make_shared<std::vector<std::string>>();
    std::string why;
    if (!UnpackCommandLine(&record, sizeof record, *args, why)) return;
    loop_.Post([this, args] { commands_.HandleCommandLine(*args, int(args->size())); });
}

void RunningCopy::StartListening() {
    const int fd = socket_.TakeListenDescriptor();
    if (fd < 0) {
        LogError(
            "RunningCopy::Start: no instance socket at %s; later launches will not find "
            "this copy",
            socket_.Path().c_str());
        return;
    }
    SessionDispatcher* commands = &commands_;
    QtMainLoop* loop = &loop_;
    listener_ = std::make_unique<LPipeListenerWithThreads<LMainWindowPipeListenerThread>>(
        [commands, loop](std::shared_ptr<const std::vector<std::string>> args) {
            loop->Post([commands, args] { commands->HandleForwardedCommandLine(*args); });
        });
    listener_->Adopt(fd);
    if (listener_->Start()) LogEvent("Running copy listening on %s", socket_.Path().c_str());
}

void RunningCopy::OnTerminationSignal(int signal) {
    LogEvent("Signal %d received: closing", signal);
    // The recording is finished first, so the file is complete; then no question
    // is left for Close to ask.
    if (dialog_.IsRecordingInProgress() || dialog_.IsPausedByUser()) dialog_.AfterStop(true);
    dialog_.Close();
}

int RunningCopy::Run() {
    const int status = loop_.Exec();
    // The socket goes first, so a launch from now on becomes a running copy itself.
    socket_.Remove();
    if (listener_) listener_->Shutdown();
    // The stop tone of the recording that ended the program is still heard.
    WaitForTones(kToneWaitAtExitMs);
    ShutdownTones();
    LogEvent("Running copy ended");
    return status;
}

int RunHeadless(InstanceSocket& socket, const std::vector<std::string>& args) {
    int argc = 1;
    char program[] = "vocarta";
    char* argv[] = {program, nullptr};
    QCoreApplication application(argc, argv);
    QtMainLoop loop;
    HeadlessView view(stderr, stdout, isatty(STDOUT_FILENO) == 1);
    RunningCopy copy(loop, view, socket);
    copy.Start(args);
    return copy.Run();
}

}  // namespace vocarta
