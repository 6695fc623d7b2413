#include "gui/hotkey_press_box.h"

#include <QGuiApplication>
#include <QKeyEvent>

#include "hotkeys/x11_keysyms.h"

namespace vocarta {

namespace {

constexpr const char* kPrompt = "Press a key or a key combination.";

HotkeyValue ModifiersOf(Qt::KeyboardModifiers modifiers) {
    HotkeyValue bits = 0;
    if (modifiers & Qt::ControlModifier) bits |= kHotkeyControl;
    if (modifiers & Qt::AltModifier) bits |= kHotkeyOption;
    if (modifiers & Qt::ShiftModifier) bits |= kHotkeyShift;
    if (modifiers & Qt::MetaModifier) bits |= kHotkeyCommand;  // Super
    return bits;
}

// The keys without a character, by Qt's key; function keys are counted.
HotkeyValue SpecialKey(int key) {
    static const uint8_t kFunctionCodes[] = {122, 120, 99,  118, 96,  97,  98, 100, 101, 109,
                                             103, 111, 105, 107, 113, 106, 64, 79,  80,  90};
    if (key >= Qt::Key_F1 && key <= Qt::Key_F20)
        return MakeVirtualHotkey(kFunctionCodes[key - Qt::Key_F1]);
    static const std::pair<int, uint8_t> kCodes[] = {
        {Qt::Key_Return, 36},     {Qt::Key_Tab, 48},        {Qt::Key_Backtab, 48},
        {Qt::Key_Space, 49},      {Qt::Key_Backspace, 51},  {Qt::Key_Escape, 53},
        {Qt::Key_CapsLock, 57},   {Qt::Key_NumLock, 71},    {Qt::Key_VolumeUp, 72},
        {Qt::Key_VolumeDown, 73}, {Qt::Key_VolumeMute, 74}, {Qt::Key_Enter, 76},
        {Qt::Key_Menu, 110},      {Qt::Key_Help, 114},      {Qt::Key_Insert, 114},
        {Qt::Key_Home, 115},      {Qt::Key_PageUp, 116},    {Qt::Key_Delete, 117},
        {Qt::Key_End, 119},       {Qt::Key_PageDown, 121},  {Qt::Key_Left, 123},
        {Qt::Key_Right, 124},     {Qt::Key_Down, 125},      {Qt::Key_Up, 126}};
    for (const auto& [qtKey, code] : kCodes)
        if (qtKey == key) return MakeVirtualHotkey(code);
    return 0;
}

// The modifier bit a modifier key itself stands for (0 for AltGr, which makes
// characters rather than combinations).
HotkeyValue ModifierOfKey(int key) {
    switch (key) {
        case Qt::Key_Control:
            return kHotkeyControl;
        case Qt::Key_Shift:
            return kHotkeyShift;
        case Qt::Key_Alt:
            return kHotkeyOption;
        case Qt::Key_Meta:
        case Qt::Key_Super_L:
        case Qt::Key_Super_R:
        case Qt::Key_Hyper_L:
        case Qt::Key_Hyper_R:
            return kHotkeyCommand;
        default:
            return 0;
    }
}

bool IsModifierKey(int key) {
    return ModifierOfKey(key) != 0 || key == Qt::Key_AltGr;
}

// The key part of a hot-key value for Qt's key: its code, or its character.
HotkeyValue KeyPart(int key) {
    if (HotkeyValue special = SpecialKey(key)) return special;
    if (key > 0x20 && key <= 0xFF) return MakeHotkey(UpperCaseCharacter(char16_t(key)), 0);
    return 0;
}

}  // namespace

HotkeyPressBox::HotkeyPressBox(QWidget* parent) : QLineEdit(parent) {
    setObjectName("hotkeyPressKey");
    setReadOnly(true);
    setPlaceholderText(tr(kPrompt));
    setFocusPolicy(Qt::StrongFocus);
    setContextMenuPolicy(Qt::NoContextMenu);
}

void HotkeyPressBox::SetKey(HotkeyValue key) {
    key_ = key;
    ShowKey();
    emit KeyChanged(key_);
}

void HotkeyPressBox::ShowKey() {
    setText(QString::fromStdString(HotkeyName(key_)));
}

HotkeyValue HotkeyPressBox::KeyOfEvent(const QKeyEvent& event) {
    if (IsModifierKey(event.key())) return 0;
    HotkeyValue key = 0;
    // On X11 and Wayland the native key is the keysym, which knows the layout.
    const QString platform = QGuiApplication::platformName();
    if (event.nativeVirtualKey() != 0 && (platform == "xcb" || platform.startsWith("wayland")))
        key = KeysymToHotkey(event.nativeVirtualKey());
    if (key == 0) key = KeyPart(event.key());
    if (key == 0) return 0;
    return key | ModifiersOf(event.modifiers());
}

HotkeyValue HotkeyPressBox::KeyOfCombination(QKeyCombination combination) {
    const int key = int(combination.key());
    if (IsModifierKey(key)) return 0;
    const HotkeyValue part = KeyPart(key);
    return part == 0 ? 0 : part | ModifiersOf(combination.keyboardModifiers());
}

bool HotkeyPressBox::event(QEvent* e) {
    // Tab and Backtab are keys to capture here, not a move to the next control.
    if (e->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(e);
        if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            keyPressEvent(key);
            return true;
        }
    }
    if (e->type() == QEvent::ShortcutOverride) {
        e->accept();  // Escape, Return and the window's shortcuts come here first
        return true;
    }
    return QLineEdit::event(e);
}

void HotkeyPressBox::keyPressEvent(QKeyEvent* event) {
    event->accept();
    if (event->isAutoRepeat()) return;
    if (IsModifierKey(event->key())) {
        // Whether the key's own bit is in the event's state differs between
        // platforms, so it is added here.
        const HotkeyValue held = ModifiersOf(event->modifiers()) | ModifierOfKey(event->key());
        setText(QString::fromStdString(HotkeyName(held)));
        return;
    }
    if (HotkeyValue key = KeyOfEvent(*event)) {
        SetKey(key);
        emit KeyTaken();
    }
}

void HotkeyPressBox::keyReleaseEvent(QKeyEvent* event) {
    event->accept();
    // Modifiers let go without a key: show the captured key again.
    if (!IsModifierKey(event->key())) return;
    const HotkeyValue held = ModifiersOf(event->modifiers()) & ~ModifierOfKey(event->key());
    if (held == 0)
        ShowKey();
    else
        setText(QString::fromStdString(HotkeyName(held)));
}

}  // namespace vocarta
