#include "app/running_copy.h"

#include <unistd.h>

#include <QCoreApplication>
#include <csignal>
#include <cstdio>

#include "app/instance/command_record.h"
#include "app/instance/instance_socket.h"
#include "app/qt_main_loop.h"
#include "app/recording_sender.h"
#include "app/session/headless_view.h"
#include "audio/playback/tone_player.h"
#include "settings/settings.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr const char* kShownAtStartupSection = "Settings";
constexpr const char* kShownAtStartupKey = "MainWindowShownAtStartup";
constexpr bool kShownAtStartupDefault = true;
constexpr int kToneWaitAtExitMs = 2000;
}  // namespace

RunningCopy::RunningCopy(QtMainLoop& loop, MainDialogView& view, InstanceSocket& socket,
                         bool headless)
    : loop_(loop),
      socket_(socket),
      headless_(headless),
      sender_(std::make_unique<RecordingSender>(view, loop)),
      dialog_(view, loop, DefaultSessionServices(&sender_->Thread())),
      commands_(dialog_) {}

RunningCopy::~RunningCopy() {
    if (listener_) listener_->Shutdown();
    if (headless_) unlink(HeadlessMarkerPath(socket_.Path()).c_str());
}

void RunningCopy::Start(const std::vector<std::string>& ownArgs) {
    StartListening();
    if (GetSettingBool(kShownAtStartupSection, kShownAtStartupKey, kShownAtStartupDefault))
        dialog_.ShowWindow();
    loop_.WatchTerminationSignals([this](int signal) { OnTerminationSignal(signal); });
    // A settings file found damaged was restored from its backup: the user is
    // told once, here, since the auto number and every choice depend on it.
    const std::string damage = TakeSettingsDamageNotice();
    if (!damage.empty()) dialog_.ShowNotice(damage);
    sender_->Resume();

    // The own command line takes the forwarded record's form (count and cut
    // included), so a first launch and a forwarded one behave alike.
    CommandLineRecord record;
    PackCommandLine(ownArgs, record);
    auto args = std::make_shared<std::vector<std::string>>();
    std::string why;
    if (!UnpackCommandLine(&record, sizeof record, *args, why)) return;
    loop_.Post([this, args] { HandleOwnCommandLine(*args); });
}

// A script that asked for a recording must not be left waiting on a program that
// could not start one: without a window (or when it was to end with the
// recording anyway) the program says why and ends with status 1.
void RunningCopy::HandleOwnCommandLine(const std::vector<std::string>& args) {
    const bool askedToRecord = commands_.HandleCommandLine(args, int(args.size()));
    const auto& failure = dialog_.StartFailure();
    if (!askedToRecord || !failure || dialog_.IsClosed()) return;
    if (!headless_ && !dialog_.ExitWhenStopped()) return;
    std::fprintf(stderr, "vocarta: the recording could not start: %s\n", failure->c_str());
    LogEvent("Ending: the recording asked for could not start (%s)", failure->c_str());
    dialog_.SetExitStatus(1);
    dialog_.Close();
}

std::string HeadlessMarkerPath(const std::string& socketPath) {
    return socketPath + ".nogui";
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
    // A bare second launch cannot bring a window forward that does not exist:
    // this file lets it say so.
    if (headless_) {
        LFile marker;
        if (marker.Open(HeadlessMarkerPath(socket_.Path()), LFile::Mode::CreateTruncate, 0600,
                        true)) {
            const std::string pid = std::to_string(getpid()) + "\n";
            marker.Write(pid.data(), int64_t(pid.size()));
        }
    }
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
    sender_->Shutdown();
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
    RunningCopy copy(loop, view, socket, true);
    copy.Start(args);
    return copy.Run();
}

}  // namespace vocarta
