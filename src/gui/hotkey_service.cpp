#include "gui/hotkey_service.h"

#include <QAction>
#include <QDialog>

#include "app/lmain_loop.h"
#include "app/session/main_dialog_view.h"
#include "app/session/session_dispatcher.h"
#include "gui/hotkey_options_page.h"
#include "gui/hotkey_press_box.h"
#include "gui/options_dialog.h"
#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr const char* kRefusedTitle = "Hot-Key Not Available";

std::string Joined(const std::vector<std::string>& lines, const char* separator) {
    std::string out;
    for (const auto& line : lines) out += (out.empty() ? "" : separator) + line;
    return out;
}
}  // namespace

std::optional<SessionCommandKind> SessionCommandOfHotkey(HotkeyCommand command) {
    switch (command) {
        case HotkeyCommand::kRecord:
            return SessionCommandKind::kRecord;
        case HotkeyCommand::kPause:
            return SessionCommandKind::kPause;
        case HotkeyCommand::kStop:
            return SessionCommandKind::kStop;
        case HotkeyCommand::kRetake:
            return SessionCommandKind::kRestart;
        case HotkeyCommand::kPlay:
            return SessionCommandKind::kPlay;
        case HotkeyCommand::kShowWindow:
            return SessionCommandKind::kBringToFront;
        case HotkeyCommand::kNone:
            break;
    }
    return std::nullopt;
}

std::vector<WindowShortcut> WindowShortcuts(const SessionActions& a) {
    std::vector<WindowShortcut> keys;
    for (const QAction* action : {a.record, a.pause, a.stop, a.retake, a.play, a.showWindow,
                                  a.options, a.resetAutoNumber, a.quit}) {
        if (!action) continue;
        // The menu's text without its mnemonic and trailing dots.
        QString command = action->text().remove(QLatin1Char('&'));
        while (command.endsWith(QLatin1Char('.'))) command.chop(1);
        for (const QKeySequence& sequence : action->shortcuts()) {
            // A hot-key is one combination; a sequence of several is never taken by one.
            if (sequence.count() != 1) continue;
            if (HotkeyValue key = HotkeyPressBox::KeyOfCombination(sequence[0]))
                keys.push_back({command.toStdString(), key});
        }
    }
    return keys;
}

HotkeyService::HotkeyService(LMainLoop& loop, MainDialogView& view, SessionDispatcher& commands,
                             RegistrarFactory create)
    : loop_(loop), view_(view), commands_(commands), create_(std::move(create)) {}

HotkeyService::~HotkeyService() {
    // Stops the registrar's thread first: it reads alive_ while it runs.
    registrar_.reset();
}

void HotkeyService::Start() {
    Apply();
}

bool HotkeyService::EnsureRegistrar() {
    if (registrar_) return true;
    if (unavailable_) return false;  // the desktop does not change while we run
    auto made = create_(*this);
    if (!made) {
        unavailable_ = made.Error();
        LogEvent("Hot-keys: %s", made.Error().Message().c_str());
        return false;
    }
    registrar_ = std::move(made.Value());
    LogEvent("Hot-keys through %s", registrar_->ServiceName().c_str());
    return true;
}

void HotkeyService::Apply() {
    const bool wanted = HotkeysEnabled() && !capturing_;
    if (!wanted) {
        if (active_ && registrar_) registrar_->UnregisterAll();
        if (active_)
            LogEvent(capturing_ ? "Hot-keys released while a key is chosen" : "Hot-keys off");
        active_ = false;
        registered_.clear();
        refusalTexts_.clear();
        ShowStatus();
        return;
    }
    const std::vector<HotkeyBinding> bindings = ReadHotkeyBindings();
    if (active_ && bindings == registered_) return;
    if (!EnsureRegistrar()) {
        ShowStatus();
        return;
    }
    const std::vector<HotkeyRefusal> refusals = registrar_->RegisterAll(bindings);
    active_ = true;
    registered_ = bindings;
    LogEvent("Hot-keys registered: %zu of %zu", bindings.size() - refusals.size(), bindings.size());
    ReportRefusals(bindings, refusals);
    ShowStatus();
}

// Every refusal goes to the log; only those not reported before reach a
// message box, all in one, so that registering again does not nag.
void HotkeyService::ReportRefusals(const std::vector<HotkeyBinding>& bindings,
                                   const std::vector<HotkeyRefusal>& refusals) {
    std::set<std::pair<int, HotkeyValue>> standing;
    std::vector<std::string> fresh;
    refusalTexts_.clear();
    for (const HotkeyRefusal& refusal : refusals) {
        HotkeyBinding binding;
        for (const auto& b : bindings)
            if (b.id == refusal.bindingId) binding = b;
        const std::string command = HotkeyCommandName(binding.Command());
        const std::string text = (command.empty() ? "" : command + ": ") + refusal.error.Message();
        LogEvent("Hot-key not registered: %s", text.c_str());
        refusalTexts_.push_back(text);
        standing.insert({refusal.bindingId, binding.key});
        if (!shown_.count({refusal.bindingId, binding.key})) fresh.push_back(text);
    }
    shown_ = std::move(standing);
    if (!fresh.empty())
        ShowMessage(view_, Joined(fresh, "\n\n"), kRefusedTitle, MessageBoxRequest::Icon::Warning);
}

std::string HotkeyService::StatusText() const {
    std::string text;
    if (registrar_)
        text = HotkeyServiceStatusText(LResult<std::string>(registrar_->ServiceName()));
    else if (unavailable_)
        text = HotkeyServiceStatusText(LResult<std::string>(*unavailable_));
    for (const auto& refusal : refusalTexts_) text += "\n" + refusal;
    return text;
}

void HotkeyService::ShowStatus() {
    // Before any registrar was tried the page keeps what it found out itself.
    if (page_ && (registrar_ || unavailable_))
        page_->ShowServiceStatus(QString::fromStdString(StatusText()));
}

void HotkeyService::AttachOptions(OptionsDialog& options,
                                  const std::vector<WindowShortcut>& shortcuts) {
    HotkeyOptionsPage& page = options.HotkeyPage();
    page_ = &page;
    page.SetWindowShortcuts(shortcuts);
    page.SetKeyDescriber(
        [this](int id) { return registrar_ ? registrar_->ShownKey(id) : std::string(); });
    ShowStatus();
    QObject::connect(&page, &HotkeyOptionsPage::KeyCaptureChanged, &page,
                     [this](bool capturing) { SetCapturing(capturing); });
    QObject::connect(&page, &HotkeyOptionsPage::BindingsChanged, &page, [this] { Apply(); });
    // After the page has stored "Enabled" (connected first, so called first).
    QObject::connect(&options, &QDialog::accepted, &page, [this] { Apply(); });
}

void HotkeyService::SetCapturing(bool capturing) {
    capturing_ = capturing;
    Apply();
}

// Registrar's thread.
void HotkeyService::HotKeyPressed(HotkeyCommand command, int bindingId) {
    loop_.Post([alive = std::weak_ptr<int>(alive_), this, command, bindingId] {
        if (!alive.expired()) RunCommand(command, bindingId);
    });
}

// Registrar's thread. Every command has acted on the press.
void HotkeyService::HotKeyReleased(HotkeyCommand, int) {}

void HotkeyService::RunCommand(HotkeyCommand command, int bindingId) {
    // A press still on its way when the keys were released is not acted on.
    if (!active_) return;
    const auto kind = SessionCommandOfHotkey(command);
    if (!kind) {
        LogEvent("Hot-key %d has no command to run", bindingId);
        return;
    }
    commands_.Dispatch(SessionCommand::Of(*kind), CommandSource::kHotKey);
}

}  // namespace vocarta
