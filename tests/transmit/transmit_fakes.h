#pragma once
// Fakes for the send thread's seams - a UI that records and answers from a
// script, a context with a stop signal, a method that notes each send - and
// helpers: WAV recordings of an exact length, the queue file's expected bytes,
// and work done in a child process (optionally in a mount namespace of its
// own, where a test can mount a small or read-only tmpfs).

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/temp_dir.h"
#include "toolkit/lsignal_object.h"
#include "toolkit/process_helpers.h"
#include "toolkit/text.h"
#include "transmit/transmit_method.h"
#include "transmit/transmit_record.h"
#include "transmit/transmit_ui.h"

namespace vocarta::test {

using Said = std::pair<std::string, std::string>;  // text, caption

class FakeTransmitUi final : public TransmitUi {
  public:
    // Answers from `answers`, Yes once they run out.
    bool AskYesNo(const std::string& text, const std::string& caption) override {
        std::lock_guard<std::mutex> lock(mutex);
        questions.emplace_back(text, caption);
        const bool answer = answers.empty() || answers.front();
        if (!answers.empty()) answers.pop_front();
        return answer;
    }
    void ShowMessage(const std::string& text, const std::string& caption) override {
        Note(messages, Said(text, caption));
    }
    void SetTitle(const std::string& title) override { Note(titles, title); }
    void RestoreTitle() override { Note(titles, std::string("<usual>")); }
    void SetStatus(const std::string& text) override { Note(statuses, text); }
    void SetProgress(double fraction) override { Note(progress, fraction); }

    std::mutex mutex;
    std::deque<bool> answers;
    std::vector<Said> questions, messages;
    std::vector<std::string> titles, statuses;
    std::vector<double> progress;

  private:
    template <typename T>
    void Note(std::vector<T>& list, const T& value) {
        std::lock_guard<std::mutex> lock(mutex);
        list.push_back(value);
    }
};

class FakeContext final : public TransmitContext {
  public:
    bool ShouldStop() const override { return stop.IsSet(); }
    const LSignalObject* StopSignal() const override { return &stop; }
    void SetProgress(double fraction) override {
        progress.push_back(fraction);
        if (onProgress) onProgress(fraction);
    }
    void SetStatus(const std::string& text) override { status = text; }
    void LogError(const std::string& text) override { logged.push_back(text); }
    void SetBytesSent(int64_t bytes) override { bytesSent = bytes; }

    LSignalObject stop;
    std::optional<int64_t> bytesSent;
    std::function<void(double)> onProgress;
    std::vector<double> progress;
    std::string status;
    std::vector<std::string> logged;
};

// Notes "<name> <path>" in `journal` for each send and answers with `send`
// (Ok when not given). Its texts: "Q <name> %s", "C <name>", "L <name> %s",
// "S <name> %s"; its target "target-<name>".
class FakeMethod final : public TransmitMethod {
  public:
    using Send_ = std::function<TransmitResult(const TransmitRecord&, TransmitContext&)>;

    FakeMethod(TransmitMethodKind kind, std::vector<std::string>& journal, Send_ send = {})
        : kind_(kind), journal_(journal), send_(std::move(send)) {
        name_ = std::vector<std::string>{"email", "ftp", "folder", "run"}.at(std::size_t(kind));
        for (const char* form : {"Q %s %%s", "C %s", "L %s %%s", "S %s %%s"})
            text_.push_back(StringPrintf(form, name_.c_str()));
        texts_ = {text_[0].c_str(), text_[1].c_str(), text_[2].c_str(), text_[3].c_str()};
    }
    TransmitMethodKind Kind() const override { return kind_; }
    const char* Name() const override { return name_.c_str(); }
    bool Enabled() const override { return true; }
    std::string Target() const override { return "target-" + name_; }
    const TransmitTexts& Texts() const override { return texts_; }
    TransmitResult Send(const TransmitRecord& record, TransmitContext& context) override {
        journal_.push_back(name_ + " " + record.path);
        return send_ ? send_(record, context) : TransmitResult::Ok;
    }

  private:
    TransmitMethodKind kind_;
    std::vector<std::string>& journal_;
    Send_ send_;
    std::string name_;
    std::vector<std::string> text_;
    TransmitTexts texts_{};
};

// A 16-bit mono PCM WAV of `frames` frames at `rate` (silence).
inline void WriteWav(const std::string& path, uint32_t rate, uint32_t frames) {
    std::string wav;
    auto add = [&](const char* tag, std::initializer_list<std::pair<uint32_t, int>> fields) {
        wav += tag;
        for (auto [v, bytes] : fields)
            for (int i = 0; i < bytes; ++i) wav += char((v >> (8 * i)) & 0xff);
    };
    add("RIFF", {{36 + frames * 2, 4}});
    add("WAVEfmt ", {{16, 4}, {1, 2}, {1, 2}, {rate, 4}, {rate * 2, 4}, {2, 2}, {16, 2}});
    add("data", {{frames * 2, 4}});
    wav.append(frames * 2, '\0');
    ASSERT_TRUE(WriteFile(path, wav)) << path;
}

// One second of audio: long enough to be sent, 16 KB.
inline std::string Recording(const TempDir& dir, const std::string& name) {
    const std::string path = dir.File(name);
    WriteWav(path, 8000, 8000);
    return path;
}

// The queue file as it should be: header {1, resumeCount, 272} and the records.
inline std::string QueueBytes(uint16_t resumeCount, const std::vector<TransmitRecord>& records) {
    const auto header = EncodeSendQueueHeader({1, resumeCount, 272});
    std::string out(header.begin(), header.end());
    for (const auto& r : records) {
        const auto bytes = EncodeTransmitRecord(r);
        out.append(bytes.begin(), bytes.end());
    }
    return out;
}

// Runs `body` in a child process; "" when it passed, else what it says went
// wrong. With `ownMounts`, the child has a mount namespace of its own (a user
// namespace too when not root), so its mounts vanish with it.
inline std::string InChild(const std::function<std::string()>& body, bool ownMounts = false) {
    TestPipe report;
    const pid_t pid = ForkChild([&] {
        report.CloseRead();
        std::string failure;
        if (ownMounts &&
            (unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS) != 0 ||
             mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0))
            failure = std::string("no mount namespace: ") + std::strerror(errno);
        else
            failure = body();
        report.Send(failure);
        return 0;
    });
    report.CloseWrite();
    std::string said;
    for (int c; (c = report.ReceiveByte()) >= 0;) said += char(c);
    const int status = WaitChild(pid);
    if (status != 0) said += " (child ended with " + std::to_string(status) + ")";
    return said;
}

}  // namespace vocarta::test
