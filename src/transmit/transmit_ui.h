#pragma once
// What the send thread needs from the program's face: questions, error
// messages, the window title while a method runs, and the send status and
// progress. Three implementations:
//   - the program's own (the main window or the headless view), which runs on
//     the main thread only;
//   - PostedTransmitUi, which the send thread talks to: it posts each call to
//     the main thread and, for questions and messages, waits for the answer;
//   - HeadlessTransmitUi, for a process without a main loop to post to: a
//     question takes its unattended answer (Yes: send) and a message goes to a
//     stream (standard error) and the log.
//
// Threading contract: whoever calls a TransmitUi must be allowed to block in
// AskYesNo and ShowMessage until they return; every implementation states which
// threads may call it. StopWaiting may be called from any thread.

#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace vocarta {

class TransmitUi {
  public:
    virtual ~TransmitUi() = default;

    // A Yes/No question (`caption` is the box's title); true for Yes. Returns
    // once answered (or, for an implementation that waits on another thread,
    // once StopWaiting was called: then false).
    virtual bool AskYesNo(const std::string& text, const std::string& caption) = 0;
    // An error message with one "OK"; returns once it was dismissed (or
    // StopWaiting was called).
    virtual void ShowMessage(const std::string& text, const std::string& caption) = 0;
    // The main window's title while a method runs, and its usual one again.
    virtual void SetTitle(const std::string& title) = 0;
    virtual void RestoreTitle() = 0;
    // The status line while sending ("" when nothing is being sent).
    virtual void SetStatus(const std::string& text) = 0;
    // 0.0 to 1.0; 0 also when nothing is being sent.
    virtual void SetProgress(double fraction) = 0;
    // The program is ending: a pending or later question returns false, a
    // message returns at once, and nothing more reaches the screen.
    virtual void StopWaiting() {}
};

// Forwards every call to `mainUi` on the main thread through `post` (which runs
// a call later on the main thread, in posting order, like LMainLoop::Post).
// AskYesNo and ShowMessage block the calling thread until the main thread has
// answered, or until StopWaiting. The other calls return at once.
//
// Threading contract: the TransmitUi calls from any thread but the main thread
// (waiting for the main thread on the main thread would never end); StopWaiting
// from any thread, typically the main thread at exit before it waits for the
// send thread. `mainUi` must live as long as calls posted through `post` can run;
// once StopWaiting has been called, posted calls no longer touch it.
class PostedTransmitUi final : public TransmitUi {
  public:
    using Poster = std::function<void(std::function<void()> call)>;

    PostedTransmitUi(TransmitUi& mainUi, Poster post);
    ~PostedTransmitUi() override;

    bool AskYesNo(const std::string& text, const std::string& caption) override;
    void ShowMessage(const std::string& text, const std::string& caption) override;
    void SetTitle(const std::string& title) override;
    void RestoreTitle() override;
    void SetStatus(const std::string& text) override;
    void SetProgress(double fraction) override;
    void StopWaiting() override;

  private:
    struct Shared;
    // Posts `call` (run with the main UI) and, when `wait`, blocks until it ran
    // or the waits were stopped; true when it ran.
    bool Run(std::function<void(TransmitUi&)> call, bool wait);

    std::shared_ptr<Shared> shared_;
    Poster post_;
};

// For a process without a main loop to post to. AskYesNo answers Yes (the
// question is whether to send; sending is what the user set up) and says so in
// the event log; ShowMessage writes "caption: text" to `messages` and the error
// event log, as the headless view shows messages. Each change of status or
// progress gives `onStatus` both, when given (a terminal status line).
//
// Threading contract: any thread; `onStatus` is called on the caller's thread.
class HeadlessTransmitUi final : public TransmitUi {
  public:
    using StatusSink = std::function<void(const std::string& status, double progress)>;

    explicit HeadlessTransmitUi(std::FILE* messages = stderr, StatusSink onStatus = nullptr);

    bool AskYesNo(const std::string& text, const std::string& caption) override;
    void ShowMessage(const std::string& text, const std::string& caption) override;
    void SetTitle(const std::string&) override {}
    void RestoreTitle() override {}
    void SetStatus(const std::string& text) override;
    void SetProgress(double fraction) override;

  private:
    std::FILE* messages_;
    StatusSink onStatus_;
    std::mutex mutex_;
    std::string status_;     // guarded by mutex_
    double progress_ = 0.0;  // guarded by mutex_
};

}  // namespace vocarta
