#include "app/session/headless_view.h"

#include <algorithm>
#include <chrono>

#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
// Message texts may carry Windows line ends; a terminal wants plain ones.
std::string PlainLines(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text)
        if (c != '\r') out += c;
    return out;
}

constexpr int64_t kClockRedrawMs = 50;

int64_t SteadyMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// "-12 -14 dB"; silence reads "-inf".
std::string LevelsText(const std::vector<int>& levelsDb) {
    std::string out;
    for (std::size_t i = 0; i < levelsDb.size() && i < 2; ++i) {
        if (!out.empty()) out += ' ';
        out += levelsDb[i] <= -127 ? std::string("-inf") : StringPrintf("%d", levelsDb[i]);
    }
    return out.empty() ? out : out + " dB";
}
}  // namespace

HeadlessView::HeadlessView(std::FILE* messages, std::FILE* status, bool statusLine)
    : messages_(messages), status_(status), statusLineOn_(statusLine && status != nullptr) {}

void HeadlessView::CloseWindow() {
    visible_ = false;
    closed_ = true;
    ClearStatusLine();
}

int HeadlessView::MessageBox(const MessageBoxRequest& request) {
    const int choice = request.UnattendedChoice();
    std::string answer;
    if (request.buttons.size() > 1 && choice >= 0 && choice < int(request.buttons.size()))
        answer = " [answered \"" + request.buttons[size_t(choice)] + "\"]";
    const std::string text = PlainLines(request.text);
    ClearStatusLine();
    std::fprintf(messages_, "%s: %s%s\n", request.title.c_str(), text.c_str(), answer.c_str());
    std::fflush(messages_);
    LogEvent("Message \"%s\": %s%s", request.title.c_str(), text.c_str(), answer.c_str());
    DrawStatusLine();
    return choice;
}

bool HeadlessView::PromptText(const std::string& title, const std::string& label,
                              const std::string& initial, std::string& answer) {
    // Nobody can type an answer here: the suggestion is taken, which keeps the
    // command going and changes nothing the user made. Without one it cancels.
    ClearStatusLine();
    if (initial.empty()) {
        std::fprintf(messages_, "%s: %s [cancelled: no window to ask in]\n", title.c_str(),
                     label.c_str());
        LogEvent("Prompt \"%s\" cancelled: no window to ask in", title.c_str());
    } else {
        std::fprintf(messages_, "%s: %s [answered \"%s\": no window to ask in]\n", title.c_str(),
                     label.c_str(), initial.c_str());
        LogEvent("Prompt \"%s\" answered with \"%s\": no window to ask in", title.c_str(),
                 initial.c_str());
    }
    std::fflush(messages_);
    DrawStatusLine();
    answer = initial;
    return !initial.empty();
}

void HeadlessView::SetStatusText(const std::string& text) {
    statusText_ = text;
    DrawStatusLine();
}

void HeadlessView::SetTimeText(const std::string& text) {
    timeText_ = text;
    DrawStatusLine(true);
}

void HeadlessView::SetSessionLook(SessionLook look) {
    paused_ = look == SessionLook::Paused;
    DrawStatusLine();
}

void HeadlessView::SetLevels(const std::vector<int>& levelsDb) {
    levelsText_ = LevelsText(levelsDb);
    DrawStatusLine(true);
}

void HeadlessView::SetFormatText(const std::string& text) {
    formatText_ = text;
    DrawStatusLine();
}

std::string HeadlessView::StatusLine() const {
    // A pause keeps the status of the recording; the line says what the window's
    // look would show.
    const bool showPaused = paused_ && statusText_ == "Recording...";
    std::string line = (showPaused ? std::string("Paused") : statusText_) + "  " + timeText_;
    if (!levelsText_.empty()) line += "  " + levelsText_;
    line += "  " + formatText_;
    if (!sendText_.empty()) line += "  " + sendText_;
    if (!sendText_.empty() || sendPercent_ > 0) line += StringPrintf(" %d%%", sendPercent_);
    return line;
}

void HeadlessView::SetSendStatus(const std::string& text) {
    if (text == sendText_) return;
    sendText_ = text;
    DrawStatusLine();
}

void HeadlessView::SetSendProgress(double fraction) {
    const int percent = int(std::clamp(fraction, 0.0, 1.0) * 100.0);
    if (percent == sendPercent_) return;
    sendPercent_ = percent;
    // The ends are always drawn, so the line never keeps a stale figure.
    DrawStatusLine(percent != 0 && percent != 100);
}

void HeadlessView::ClearStatusLine() {
    if (!statusLineOn_ || !lineShown_) return;
    std::fputs("\r\033[K", status_);
    std::fflush(status_);
    lineShown_ = false;
}

void HeadlessView::DrawStatusLine(bool clock) {
    if (!statusLineOn_) return;
    const int64_t now = SteadyMs();
    if (clock && lineShown_ && now - lastDrawMs_ < kClockRedrawMs) return;
    lastDrawMs_ = now;
    std::fprintf(status_, "\r%s\033[K", StatusLine().c_str());
    std::fflush(status_);
    lineShown_ = true;
}

}  // namespace vocarta
