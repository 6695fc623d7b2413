#include "hotkeys/hotkey_key.h"

#include <cstring>

namespace vocarta {

namespace {

struct NamedKey {
    uint8_t code;
    const char* name;
};

constexpr NamedKey kKeyNames[] = {
    {36, "↩"},         {48, "⇥"},     {49, "␣"},        {51, "⌫"},         {53, "⎋"},
    {57, "Caps Lock"}, {64, "F17"},   {71, "Num Lock"}, {72, "Volume Up"}, {73, "Volume Down"},
    {74, "Mute"},      {76, "⌤"},     {79, "F18"},      {80, "F19"},       {90, "F20"},
    {96, "F5"},        {97, "F6"},    {98, "F7"},       {99, "F3"},        {100, "F8"},
    {101, "F9"},       {103, "F11"},  {105, "F13"},     {106, "F16"},      {107, "F14"},
    {109, "F10"},      {110, "Menu"}, {111, "F12"},     {113, "F15"},      {114, "Help"},
    {115, "↖"},        {116, "⇞"},    {117, "⌦"},       {118, "F4"},       {119, "↘"},
    {120, "F2"},       {121, "⇟"},    {122, "F1"},      {123, "←"},        {124, "→"},
    {125, "↓"},        {126, "↑"},
};

// The keyboard's shifted punctuation and the key that carries it.
constexpr char kShifted[] = "~!@#$%^&*()_+{}|:\"<>?";
constexpr char kUnshifted[] = "`1234567890-=[]\\;',./";

void AppendUtf8(std::string& out, char16_t c) {
    uint32_t cp = c;
    if (cp >= 0xD800 && cp <= 0xDFFF) cp = 0xFFFD;  // a lone surrogate is no character
    if (cp < 0x80) {
        out += char(cp);
    } else if (cp < 0x800) {
        out += char(0xC0 | (cp >> 6));
        out += char(0x80 | (cp & 0x3F));
    } else {
        out += char(0xE0 | (cp >> 12));
        out += char(0x80 | ((cp >> 6) & 0x3F));
        out += char(0x80 | (cp & 0x3F));
    }
}

}  // namespace

char16_t UpperCaseCharacter(char16_t c) {
    if (c >= u'a' && c <= u'z') return char16_t(c - 0x20);
    if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return char16_t(c - 0x20);
    return c;
}

bool IsShiftedCharacter(char16_t c) {
    return UnshiftedCharacter(c) != 0;
}

char16_t UnshiftedCharacter(char16_t c) {
    if (c == 0 || c > 0x7F) return 0;
    const char* at = std::strchr(kShifted, char(c));
    return at ? char16_t(kUnshifted[at - kShifted]) : 0;
}

std::string VirtualKeyName(uint8_t code) {
    for (const auto& k : kKeyNames)
        if (k.code == code) return k.name;
    return "Unknown";
}

std::vector<uint8_t> NamedVirtualKeys() {
    std::vector<uint8_t> codes;
    for (const auto& k : kKeyNames) codes.push_back(k.code);
    return codes;
}

std::string HotkeyName(HotkeyValue key) {
    std::string name;
    const char16_t character = HotkeyCharacter(key);
    if (key & kHotkeyControl) name += "⌃";
    if (key & kHotkeyOption) name += "⌥";
    if ((key & kHotkeyShift) && !IsShiftedCharacter(character)) name += "⇧";
    if (key & kHotkeyCommand) name += "⌘";
    if (character != 0) {
        AppendUtf8(name, UpperCaseCharacter(character));
    } else if (HotkeyVirtualKey(key) != 0) {
        name += VirtualKeyName(HotkeyVirtualKey(key));
    }
    return name;
}

HotkeyValue NormalizedHotkey(HotkeyValue key) {
    key &= ~kHotkeyCapsLock;
    const char16_t character = HotkeyCharacter(key);
    if (char16_t base = UnshiftedCharacter(character)) {
        key = (key & ~kHotkeyCharacterMask) | base | kHotkeyShift;
    } else if (character != 0) {
        key = (key & ~kHotkeyCharacterMask) | UpperCaseCharacter(character);
    }
    return key;
}

bool SameHotkey(HotkeyValue a, HotkeyValue b) {
    return NormalizedHotkey(a) == NormalizedHotkey(b);
}

int32_t HotkeyToStored(HotkeyValue key) {
    return int32_t(key);
}

HotkeyValue HotkeyFromStored(int32_t stored) {
    return HotkeyValue(stored);
}

}  // namespace vocarta
