#pragma once
// What a caller hands the mail sender (a MailRequest) and what the sender needs
// from the calling send thread (a MailContext): its stop request, progress,
// status line and log.
//
// Threading contract: a request is a plain value. A context's calls come from
// the one thread that runs the send; only what ShouldStop and StopSignal look
// at is set by other threads.

#include <string>
#include <string_view>
#include <vector>

#include "net/stop_flag.h"

namespace vocarta {

class LSignalObject;

struct MailRequest {
    // Addresses separated by blanks, tabs or commas.
    std::string recipients;
    // The reply-to address; may be empty.
    std::string sender;
    std::string subject;
    std::string body;  // UTF-8
    std::vector<std::string> attachments;
    // The SMTP fields, copied from the settings.
    std::string host;  // "host" or "host:port"; empty: straight to the recipient's server
    std::string userName;
    std::string password;
    bool sendDirect = true;
    bool useTls = false;
    // One RCPT group per list, the "To" list first; each must have an accepted
    // address. Empty: the recipients form the one group.
    std::vector<std::vector<std::string>> recipientGroups;

    // The groups to send RCPT for: recipientGroups, or the split recipients.
    std::vector<std::vector<std::string>> Groups() const;
};

class MailContext {
  public:
    virtual ~MailContext() = default;

    // True once the send thread has been asked to stop.
    virtual bool ShouldStop() const = 0;
    // Set together with ShouldStop, so that waits wake at once; may be null.
    virtual const LSignalObject* StopSignal() const { return nullptr; }
    virtual void SetProgress(double fraction) = 0;
    virtual void SetStatus(const std::string& text) = 0;
    // A line for the log of the window the send runs for.
    virtual void LogError(const std::string& text) = 0;
};

// The stop flag the sockets and child processes of a send watch: the context's
// signal when it has one (a stop wakes every wait at once), else its question,
// asked every 200 ms at least. `context` must outlive the flag.
StopFlag StopFlagFor(const MailContext& context);

// A list of addresses split at blanks, tabs and commas, empty pieces dropped.
std::vector<std::string> SplitAddressList(std::string_view list);

// The part after the last "@", or empty when there is none.
std::string AddressDomain(std::string_view address);

// A request from the "Email" settings: host (when UseSMTPHost), user name,
// password, the send-direct and TLS flags and the reply-to address as sender.
MailRequest MailRequestFromSettings();

}  // namespace vocarta
