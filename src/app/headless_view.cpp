#include "app/headless_view.h"

#include "toolkit/log.h"

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
}  // namespace

HeadlessView::HeadlessView(std::FILE* messages, std::FILE* status, bool statusLine)
    : messages_(messages), status_(status), statusLineOn_(statusLine && status != nullptr) {}

void HeadlessView::CloseWindow() {
    visible_ = false;
    closed_ = true;
    ClearStatusLine();
}

int HeadlessView::MessageBox(const MessageBoxRequest& request) {
    const int choice = request.SafeChoice();
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
    // Nobody can type an answer here: cancelling is the safe choice.
    ClearStatusLine();
    std::fprintf(messages_, "%s: %s [cancelled: no window to ask in]\n", title.c_str(),
                 label.c_str());
    std::fflush(messages_);
    LogEvent("Prompt \"%s\" cancelled: no window to ask in", title.c_str());
    DrawStatusLine();
    answer.clear();
    return false;
}

void HeadlessView::SetStatusText(const std::string& text) {
    statusText_ = text;
    DrawStatusLine();
}

void HeadlessView::SetTimeText(const std::string& text) {
    timeText_ = text;
    DrawStatusLine();
}

void HeadlessView::SetFormatText(const std::string& text) {
    formatText_ = text;
    DrawStatusLine();
}

std::string HeadlessView::StatusLine() const {
    return statusText_ + "  " + timeText_ + "  " + formatText_;
}

void HeadlessView::ClearStatusLine() {
    if (!statusLineOn_ || !lineShown_) return;
    std::fputs("\r\033[K", status_);
    std::fflush(status_);
    lineShown_ = false;
}

void HeadlessView::DrawStatusLine() {
    if (!statusLineOn_) return;
    std::fprintf(status_, "\r%s\033[K", StatusLine().c_str());
    std::fflush(status_);
    lineShown_ = true;
}

}  // namespace vocarta
