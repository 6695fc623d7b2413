#include "hotkeys/x11_keysyms.h"

#include <X11/XF86keysym.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace vocarta {

namespace {

struct KeysymOfCode {
    uint8_t code;
    Keysym keysym;
};

// Every code of the name table, with the keysym an X keyboard gives that key.
constexpr KeysymOfCode kCodeKeysyms[] = {
    {36, XK_Return},
    {48, XK_Tab},
    {49, XK_space},
    {51, XK_BackSpace},
    {53, XK_Escape},
    {57, XK_Caps_Lock},
    {64, XK_F17},
    {71, XK_Num_Lock},
    {72, XF86XK_AudioRaiseVolume},
    {73, XF86XK_AudioLowerVolume},
    {74, XF86XK_AudioMute},
    {76, XK_KP_Enter},
    {79, XK_F18},
    {80, XK_F19},
    {90, XK_F20},
    {96, XK_F5},
    {97, XK_F6},
    {98, XK_F7},
    {99, XK_F3},
    {100, XK_F8},
    {101, XK_F9},
    {103, XK_F11},
    {105, XK_F13},
    {106, XK_F16},
    {107, XK_F14},
    {109, XK_F10},
    {110, XK_Menu},
    {111, XK_F12},
    {113, XK_F15},
    {114, XK_Help},
    {115, XK_Home},
    {116, XK_Prior},
    {117, XK_Delete},
    {118, XK_F4},
    {119, XK_End},
    {120, XK_F2},
    {121, XK_Next},
    {122, XK_F1},
    {123, XK_Left},
    {124, XK_Right},
    {125, XK_Down},
    {126, XK_Up},
};

// Keysyms that other keys or levels give for the same key: Shift+Tab, the
// PC keyboard's Insert where Help sits, the keypad's arrows and pages.
constexpr KeysymOfCode kAlternateKeysyms[] = {
    {48, XK_ISO_Left_Tab}, {114, XK_Insert},  {115, XK_KP_Home}, {116, XK_KP_Prior},
    {117, XK_KP_Delete},   {119, XK_KP_End},  {121, XK_KP_Next}, {123, XK_KP_Left},
    {124, XK_KP_Right},    {125, XK_KP_Down}, {126, XK_KP_Up},
};

constexpr Keysym kUnicodeKeysymBase = 0x01000000;

}  // namespace

Keysym VirtualKeyToKeysym(uint8_t code) {
    for (const auto& k : kCodeKeysyms)
        if (k.code == code) return k.keysym;
    return 0;
}

std::vector<Keysym> VirtualKeyKeysyms(uint8_t code) {
    std::vector<Keysym> keysyms;
    if (Keysym first = VirtualKeyToKeysym(code)) keysyms.push_back(first);
    for (const auto& k : kAlternateKeysyms)
        if (k.code == code && k.keysym != XK_ISO_Left_Tab) keysyms.push_back(k.keysym);
    return keysyms;
}

Keysym CharacterToKeysym(char16_t c) {
    if (c == 0) return 0;
    if (c >= u'A' && c <= u'Z') return Keysym(c) + 0x20;
    // Latin-1 capitals (but not the multiplication sign) to the small letters.
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7) return Keysym(c) + 0x20;
    if ((c >= 0x20 && c <= 0x7E) || (c >= 0xA0 && c <= 0xFF)) return Keysym(c);
    if (c < 0x20 || c == 0x7F || (c >= 0xD800 && c <= 0xDFFF)) return 0;
    return kUnicodeKeysymBase | c;
}

Keysym HotkeyKeysym(HotkeyValue key) {
    if (char16_t c = HotkeyCharacter(key)) return CharacterToKeysym(c);
    return VirtualKeyToKeysym(HotkeyVirtualKey(key));
}

HotkeyValue KeysymToHotkey(Keysym keysym) {
    for (const auto& k : kCodeKeysyms)
        if (k.keysym == keysym) return MakeVirtualHotkey(k.code);
    for (const auto& k : kAlternateKeysyms)
        if (k.keysym == keysym) return MakeVirtualHotkey(k.code);
    if ((keysym > 0x20 && keysym <= 0x7E) || (keysym >= 0xA0 && keysym <= 0xFF))
        return MakeHotkey(UpperCaseCharacter(char16_t(keysym)), 0);
    if (keysym >= (kUnicodeKeysymBase | 0xA0) && keysym <= (kUnicodeKeysymBase | 0xFFFF)) {
        char16_t c = char16_t(keysym & 0xFFFF);
        if (c < 0xD800 || c > 0xDFFF) return MakeHotkey(UpperCaseCharacter(c), 0);
    }
    return 0;
}

std::string KeysymName(Keysym keysym) {
    const char* name = XKeysymToString(keysym);
    return name ? name : "";
}

}  // namespace vocarta
