#pragma once
// Fakes for the main window's two seams: a view that records what it was asked
// and answers from a script, and a main loop whose timers and posted calls run
// only when the test says so. Plus a reader of the event log's new lines, where
// the command operations leave their trace, and settings written and checked as
// "Key=value;Key=value" text.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "app/lmain_loop.h"
#include "app/session/main_dialog_view.h"
#include "settings/settings.h"
#include "support/temp_dir.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta::test {

class FakeView final : public MainDialogView {
  public:
    void ShowWindow() override { visible = true; }
    void HideWindow() override { visible = false; }
    void BringToFront() override { visible = true; }
    bool IsWindowVisible() const override { return visible; }
    bool ShowsTime() const override { return visible && timeShown; }
    bool HasFrame() const override { return !closed; }
    void CloseWindow() override { closed = true; }
    // Answers from `answers` in order; the safe choice once they run out.
    int MessageBox(const MessageBoxRequest& request) override {
        messages.push_back(request);
        if (onMessage) onMessage();
        if (answers.empty()) return request.SafeChoice();
        const int answer = answers.front();
        answers.pop_front();
        return answer;
    }
    // Answers from `prompts`; nullopt (or none left) cancels.
    bool PromptText(const std::string& title, const std::string&, const std::string& initial,
                    std::string& answer) override {
        promptTitles.push_back(title);
        promptInitials.push_back(initial);
        std::optional<std::string> next;
        if (!prompts.empty()) next = prompts.front(), prompts.pop_front();
        answer = next.value_or("");
        return next.has_value();
    }
    void SetStatusText(const std::string& text) override { status = text; }
    void SetTimeText(const std::string& text) override { time = text; }
    void SetFormatText(const std::string& text) override { format = text; }
    void SetSessionLook(SessionLook value) override { look = value; }
    void SetButtons(const SessionButtons& value) override { buttons = value; }
    void SetLevels(const std::vector<int>& value) override { levels = value; }
    void SetRecordingIndicator(bool lit) override { indicatorLit = lit; }
    void SetTimeDimmed(bool dimmed) override { timeDimmed = dimmed; }
    void SetTrayToolTip(const std::string& text) override { toolTip = text; }
    void RecordingFinished(const std::string& path) override { finished.push_back(path); }
    void SetSendStatus(const std::string& text) override { sendStatuses.push_back(text); }
    void SetSendProgress(double fraction) override { sendProgress.push_back(fraction); }
    void SetSendTitle(const std::string& title) override { sendTitles.push_back(title); }

    SessionLook look = SessionLook::Idle;
    SessionButtons buttons;
    std::vector<int> levels;
    bool indicatorLit = false, visible = false, closed = false, timeDimmed = false;
    bool timeShown = true;  // false: "visible" without showing the time (headless)
    std::string toolTip, status, time, format;
    std::vector<std::string> finished, promptTitles, promptInitials;
    std::vector<MessageBoxRequest> messages;
    std::vector<std::string> sendStatuses, sendTitles;
    std::vector<double> sendProgress;
    std::deque<int> answers;
    std::deque<std::optional<std::string>> prompts;
    std::function<void()> onMessage;  // called as each box is shown
};

class FakeMainLoop final : public LMainLoop {
  public:
    void SetTimerHandler(TimerHandler handler) override { handler_ = std::move(handler); }
    void StartTimer(int id, int periodMs) override { timers[id] = periodMs; }
    void KillTimer(int id) override { timers.erase(id); }
    bool IsTimerRunning(int id) const override { return timers.count(id) != 0; }
    void WatchReadable(int id, int fd) override { watches[id] = fd; }
    void UnwatchReadable(int id) override { watches.erase(id); }
    // Any thread.
    void Post(std::function<void()> call) override {
        std::lock_guard<std::mutex> lock(mutex_);
        posted_.push_back(std::move(call));
        cv_.notify_all();
    }
    void Quit(int status) override { quitStatus = status; }

    void Fire(int id) {
        if (handler_) handler_(id);
    }
    // Waits up to `limitMs` for at least `count` posted calls, then runs them all;
    // returns how many ran.
    int RunPosted(std::size_t count = 0, int limitMs = 10000) {
        std::deque<std::function<void()>> calls;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            cv_.wait_for(lock, std::chrono::milliseconds(limitMs),
                         [&] { return posted_.size() >= count; });
            calls.swap(posted_);
        }
        for (auto& call : calls) call();
        return int(calls.size());
    }

    std::map<int, int> timers;   // id -> period
    std::map<int, int> watches;  // id -> descriptor
    std::optional<int> quitStatus;

  private:
    TimerHandler handler_;
    std::mutex mutex_;
    std::condition_variable cv_;
    std::deque<std::function<void()>> posted_;  // guarded by mutex_
};

// The event log's lines written since construction, without their time stamps.
class LogTail {
  public:
    explicit LogTail(std::string path = EventLogPath())
        : path_(std::move(path)), start_(ReadFile(path_).size()) {}
    std::vector<std::string> Lines() const {
        const std::string text = ReadFile(path_);
        std::istringstream in(text.size() > start_ ? text.substr(start_) : std::string());
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);)
            lines.push_back(line.size() > 20 ? line.substr(20) : line);  // "YYYY-MM-DD HH:MM:SS "
        return lines;
    }
    bool Has(const std::string& line) const {
        const auto lines = Lines();
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }
    bool HasPrefix(const std::string& prefix) const {
        for (const auto& l : Lines())
            if (l.rfind(prefix, 0) == 0) return true;
        return false;
    }
    // Only the lines of the recording operations, in order.
    std::vector<std::string> Operations() const {
        static const char* const kOps[] = {
            "Record limit=", "RecordToFile path=", "Pause",         "Restart", "Stop",
            "Play",          "AfterStop ",         "ScheduledStart"};
        std::vector<std::string> out;
        for (const auto& l : Lines())
            if (std::any_of(std::begin(kOps), std::end(kOps),
                            [&](const char* op) { return l.rfind(op, 0) == 0; }))
                out.push_back(l);
        return out;
    }
    // Waits (up to `limitMs`) for a line starting with `prefix`.
    bool WaitFor(const std::string& prefix, int limitMs = 10000) const {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
        while (!HasPrefix(prefix)) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }

  private:
    std::string path_;
    std::size_t start_;
};

inline std::vector<std::pair<std::string, std::string>> KeyValues(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> out;
    std::istringstream in(text);
    for (std::string item; std::getline(in, item, ';');)
        out.emplace_back(item.substr(0, item.find('=')), item.substr(item.find('=') + 1));
    return out;
}
inline void SetSettings(std::string_view section, const std::string& text) {
    for (const auto& [key, value] : KeyValues(text)) SetSettingString(section, key, value);
}
// Expects each key to hold its value ("<none>": not stored at all).
inline void ExpectSettings(std::string_view section, const std::string& text) {
    for (const auto& [key, value] : KeyValues(text))
        EXPECT_EQ(GetSettingString(section, key, "<none>"), value) << section << "/" << key;
}

// "H:M:S" of the local clock `offset` seconds from now, as -scheduled_launch takes it.
inline std::string ClockIn(int offset) {
    const std::time_t t = std::time(nullptr) + offset;
    std::tm tm{};
    localtime_r(&t, &tm);
    return StringPrintf("%d:%d:%d", tm.tm_hour, tm.tm_min, tm.tm_sec);
}

}  // namespace vocarta::test
