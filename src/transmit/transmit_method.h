#pragma once
// A transmit method: one way of passing a finished recording on (e-mail, FTP,
// mirror folder, external program). Each is one class in its own file; the
// dispatcher (TransmitDispatcher) runs the enabled ones in a fixed order with
// the method's own question, logged and shown texts.
//
// Threading contract: Send runs on the calling send thread (the queue's thread,
// or the recordings browser's) and reports through `context` on that thread. A
// method holds no state between calls and reads its settings when asked, so one
// object may serve several send threads at once.

#include <cstdint>
#include <string>

#include "transmit/transmit_record.h"

namespace vocarta {

class LSignalObject;

// What the send thread offers a running method.
class TransmitContext {
  public:
    virtual ~TransmitContext() = default;

    // True once the thread has been asked to stop; a method then returns
    // Cancelled at its next safe point.
    virtual bool ShouldStop() const = 0;
    // Set together with ShouldStop, for waits that must end at a stop request
    // (LSignalObject::WaitEither, or poll on its descriptor); null when the
    // caller cannot be stopped.
    virtual const LSignalObject* StopSignal() const = 0;
    // Progress of the running method, 0.0 to 1.0.
    virtual void SetProgress(double fraction) = 0;
    // The status text shown while the method runs.
    virtual void SetStatus(const std::string& text) = 0;
    // A line for the log of the window the method runs for.
    virtual void LogError(const std::string& text) = 0;
    // The bytes the method put on the wire in this run, for the send log; a
    // method that does not count them never calls it.
    virtual void SetBytesSent(int64_t bytes) {}
};

// The fixed order the methods run in.
enum class TransmitMethodKind { Email = 0, Ftp = 1, Folder = 2, Run = 3 };

// The texts of a method. %s of `question` and `shown`: the method's target; %s
// of `logged`: the recording's path. They differ from method to method on
// purpose and are used as they stand.
struct TransmitTexts {
    const char* question;
    const char* questionCaption;
    const char* logged;
    const char* shown;
};

class TransmitMethod {
  public:
    virtual ~TransmitMethod() = default;

    virtual TransmitMethodKind Kind() const = 0;
    // Short name for the send log: "email", "ftp", "folder", "run".
    virtual const char* Name() const = 0;
    // Whether the user turned the method on (read from the settings now).
    virtual bool Enabled() const = 0;
    // Where it sends to, as the question and the send log name it.
    virtual std::string Target() const = 0;
    virtual const TransmitTexts& Texts() const = 0;
    virtual TransmitResult Send(const TransmitRecord& record, TransmitContext& context) = 0;
};

}  // namespace vocarta
