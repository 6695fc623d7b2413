#pragma once
// The dispatcher: runs the enabled transmit methods for one recording, in the
// fixed order e-mail, FTP, folder, run program, with the length limit, the
// questions (when "bPromptTransmit" is on), the window title while a method
// runs, and the logged and shown texts of a failed method. The send queue's
// thread and the recordings browser's "Send" both call TransmitFile.
//
// Threading contract: TransmitFile runs on the calling send thread, takes no
// lock while a method runs, and may run for several records at once on several
// threads. `ui` gets its calls on that thread (see TransmitUi).

#include <memory>
#include <string>
#include <vector>

#include "transmit/transmit_method.h"
#include "transmit/transmit_ui.h"

namespace vocarta {

inline constexpr const char* kTransmitWindowTitle = "Vocarta Sound Recorder v 9.00";
inline constexpr const char* kTransmitErrorCaption = "Transmit error";

class TransmitDispatcher {
  public:
    // The methods are put in their fixed order, whatever order they come in.
    explicit TransmitDispatcher(std::vector<std::unique_ptr<TransmitMethod>> methods);
    TransmitDispatcher(TransmitDispatcher&&) = default;

    // Every method this program has, in the fixed order.
    static TransmitDispatcher Default();

    // 1. A recording of no more seconds than "RecordingLengthLimit" gives Ok at
    //    once and runs nothing (a length that cannot be read counts as 0).
    // 2. Before each method: a stop request gives Cancelled.
    // 3. For each enabled method: the question (cut to 259 characters) when
    //    prompting is on, "No" going on with the next method; the title
    //    "Vocarta Sound Recorder v 9.00" while it runs when the record has an
    //    owner; Cancelled ends the dispatch; Failed logs the method's logged text
    //    and shows its shown text under "Transmit error", and goes on.
    // 4. Progress 1.0; the result of the last method that ran (Ok when none did).
    // Each method run adds a line to the send log.
    TransmitResult TransmitFile(const TransmitRecord& record, TransmitContext& context,
                                TransmitUi& ui) const;

    const std::vector<std::unique_ptr<TransmitMethod>>& Methods() const { return methods_; }

  private:
    std::vector<std::unique_ptr<TransmitMethod>> methods_;
};

// The recording's length in seconds as its decoder reads it; 0 (logged) when the
// file is missing or cannot be read.
double RecordingLengthSeconds(const std::string& path);

// `text` with its one "%s" replaced by `value` (the texts of the methods hold
// exactly one; user text never acts as a format).
std::string FormatTransmitText(const char* text, const std::string& value);

}  // namespace vocarta
