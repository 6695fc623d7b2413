#pragma once
// The LAME MP3 encoder, opened at run time with dlopen and resolved by name.
// The library is optional: without it every other format still records, and MP3
// recording fails with a message that names the package to install.
//
// The library file is "libmp3lame.so.0", found by the dynamic loader's search;
// the environment variable VOCARTA_LAME_LIBRARY names another file to open instead
// (a LAME built elsewhere, or a test's incomplete library).

#include <cstddef>
#include <string>
#include <type_traits>

namespace vocarta {

// LAME's handle; only ever passed back to the library.
struct LameGlobalFlags;
using LameHandle = LameGlobalFlags*;

// LAME's enumerations, as its ABI defines them.
enum LameMode : int { kLameStereo = 0, kLameJointStereo = 1, kLameMono = 3 };
enum LameVbrMode : int { kLameVbrOff = 0, kLameVbrAbr = 3, kLameVbrMtrh = 4 };

// The encoder's function table. The first 34 entries are looked up in this order;
// the last two (low-pass and the LAME/Xing tag written at the end of a file)
// follow them. Every one must be found, or none is used.
#define VOCARTA_LAME_FUNCTIONS(X)                                      \
    X(lame_init, LameHandle (*)())                                     \
    X(lame_close, int (*)(LameHandle))                                 \
    X(get_lame_short_version, const char* (*)())                       \
    X(lame_set_num_channels, int (*)(LameHandle, int))                 \
    X(lame_get_num_channels, int (*)(const LameGlobalFlags*))          \
    X(lame_set_mode, int (*)(LameHandle, int))                         \
    X(lame_get_mode, int (*)(const LameGlobalFlags*))                  \
    X(lame_set_force_ms, int (*)(LameHandle, int))                     \
    X(lame_get_force_ms, int (*)(const LameGlobalFlags*))              \
    X(lame_set_error_protection, int (*)(LameHandle, int))             \
    X(lame_get_error_protection, int (*)(const LameGlobalFlags*))      \
    X(lame_set_compression_ratio, int (*)(LameHandle, float))          \
    X(lame_get_compression_ratio, float (*)(const LameGlobalFlags*))   \
    X(lame_set_brate, int (*)(LameHandle, int))                        \
    X(lame_get_brate, int (*)(const LameGlobalFlags*))                 \
    X(lame_set_quality, int (*)(LameHandle, int))                      \
    X(lame_get_quality, int (*)(const LameGlobalFlags*))               \
    X(lame_set_VBR, int (*)(LameHandle, int))                          \
    X(lame_get_VBR, int (*)(const LameGlobalFlags*))                   \
    X(lame_set_VBR_min_bitrate_kbps, int (*)(LameHandle, int))         \
    X(lame_get_VBR_min_bitrate_kbps, int (*)(const LameGlobalFlags*))  \
    X(lame_set_VBR_max_bitrate_kbps, int (*)(LameHandle, int))         \
    X(lame_get_VBR_max_bitrate_kbps, int (*)(const LameGlobalFlags*))  \
    X(lame_set_VBR_q, int (*)(LameHandle, int))                        \
    X(lame_get_VBR_q, int (*)(const LameGlobalFlags*))                 \
    X(lame_set_VBR_mean_bitrate_kbps, int (*)(LameHandle, int))        \
    X(lame_get_VBR_mean_bitrate_kbps, int (*)(const LameGlobalFlags*)) \
    X(lame_set_in_samplerate, int (*)(LameHandle, int))                \
    X(lame_get_in_samplerate, int (*)(const LameGlobalFlags*))         \
    X(lame_set_out_samplerate, int (*)(LameHandle, int))               \
    X(lame_get_out_samplerate, int (*)(const LameGlobalFlags*))        \
    X(lame_init_params, int (*)(LameHandle))                           \
    X(lame_encode_flush, int (*)(LameHandle, unsigned char*, int))     \
    X(lame_encode_buffer_interleaved_ieee_float,                       \
      int (*)(LameHandle, const float*, int, unsigned char*, int))     \
    X(lame_set_lowpassfreq, int (*)(LameHandle, int))                  \
    X(lame_get_lametag_frame, size_t (*)(const LameGlobalFlags*, unsigned char*, size_t))

struct LameFunctions {
#define VOCARTA_LAME_MEMBER(name, type) std::type_identity_t<type> name = nullptr;
    VOCARTA_LAME_FUNCTIONS(VOCARTA_LAME_MEMBER)
#undef VOCARTA_LAME_MEMBER
};

inline constexpr const char* kLameLibraryName = "libmp3lame.so.0";
inline constexpr const char* kLamePackage = "libmp3lame0";

// Resolves the table from `path`, all or nothing: on failure `table` is left as
// it was and `error` names the file or the first missing function. A library
// that was opened stays loaded (its functions are in use). Any thread.
bool ResolveLameLibrary(const std::string& path, LameFunctions& table, std::string* error);

// The library the MP3 sink uses: VOCARTA_LAME_LIBRARY when set, else
// "libmp3lame.so.0".
std::string Mp3LibraryPath();

// Loads Mp3LibraryPath() once per distinct path and keeps the outcome (a failed
// load is retried on the next call, so installing the package needs no restart).
// False when the library or any function is missing; no partial table is used.
// Thread-safe.
bool LoadMp3Library();
// The loaded table, or nullptr with `error` set to a text a user can act on.
const LameFunctions* Mp3Functions(std::string* error);
// "3.100" from the loaded library, or empty when it cannot be loaded.
std::string Mp3LibraryVersion();

}  // namespace vocarta
