// SendBySmtp: reaching a server (the configured mail host, else each
// recipient's mail exchanger), then the dialogue of smtp_dialogue.h.

#include <poll.h>

#include "net/socket_address.h"
#include "net/wait.h"
#include "toolkit/log.h"
#include "toolkit/text.h"
#include "transmit/mail/mail_resolver.h"
#include "transmit/mail/mail_sender.h"
#include "transmit/mail/smtp_dialogue.h"

namespace vocarta {

namespace {

LError Failure(MailContext& context, const std::string& text) {
    context.LogError(text);
    return LError(LErrorCode::kNetwork, text);
}

// Waits `ms` unless a stop request comes first; false then.
bool PauseUnlessStopped(int ms, const StopFlag& stop) {
    const Deadline deadline(ms);
    while (!deadline.Passed()) {
        if (stop.Requested()) return false;
        pollfd p{stop.Descriptor(), POLLIN, 0};
        poll(&p, p.fd >= 0 ? 1 : 0, std::min(kWaitSliceMs, deadline.RemainingMs()));
    }
    return !stop.Requested();
}

class SmtpSend {
  public:
    SmtpSend(const MailRequest& request, MailContext& context, const SmtpOptions& options)
        : request_(request),
          context_(context),
          options_(options),
          channel_(StopFlagFor(context), options.timeouts) {}

    // The steps in their order; `hostFailed` skips the mail host that a send to
    // several recipients already found unreachable.
    LStatus Run(bool hostFailed) {
        if (SplitAddressList(request_.recipients).empty())
            return Failure(context_, "No recipients listed to receive email.");
        context_.SetStatus("Connecting to server");
        context_.SetProgress(0);
        if (!request_.host.empty()) {
            auto name = ParseServerName(request_.host, 0);
            hostName_ = name ? name.Value().host : request_.host;
        }
        if (!request_.host.empty() && !hostFailed) {
            LStatus reached = ConnectToHost();
            if (reached) return Converse(true, hostName_);
            if (reached.Error().IsCancelled()) return reached;
            if (!request_.sendDirect)
                return Failure(context_,
                               StringPrintf("Unable to connect to mail server \"%s\" "
                                            "when sending an email to \"%s\".",
                                            request_.host.c_str(), request_.recipients.c_str()));
        }
        return SendDirect();
    }

  private:
    // Port 587 unless the host names one; a host without a port is tried on 25
    // when 587 fails, one with a port only on that port.
    LStatus ConnectToHost() {
        auto name = ParseServerName(request_.host, 0);
        if (!name) {
            LogEvent("SMTP: the mail host \"%s\": %s", request_.host.c_str(),
                     name.Error().Message().c_str());
            return name.Error();
        }
        const bool portGiven = name.Value().port != 0;
        const uint16_t port = portGiven ? name.Value().port : options_.submissionPort;
        LStatus connected = channel_.Connect(hostName_, port, options_.connectTimeoutMs);
        if (connected || connected.Error().IsCancelled() || portGiven) return connected;
        return channel_.Connect(hostName_, options_.fallbackPort, options_.connectTimeoutMs);
    }

    LStatus SendDirect() {
        const std::vector<std::string> recipients = SplitAddressList(request_.recipients);
        if (recipients.size() > 1) return SendToEach(recipients);
        const std::string domain = AddressDomain(recipients.front());
        if (domain.empty())
            return Failure(context_, StringPrintf("Invalid email address to send to: %s",
                                                  request_.recipients.c_str()));
        const std::string exchanger = options_.lookUpExchanger ? options_.lookUpExchanger(domain)
                                                               : LookUpMailExchanger(domain);
        LStatus connected;
        for (int attempt = 0; attempt < options_.directAttempts; ++attempt) {
            if (attempt > 0 && !PauseUnlessStopped(options_.directRetryWaitMs, channel_.Stop()))
                return StoppedError();
            connected = channel_.Connect(exchanger.empty() ? domain : exchanger,
                                         options_.exchangerPort, options_.connectTimeoutMs);
            if (connected) break;
            if (connected.Error().IsCancelled()) return connected;
        }
        if (!connected) {
            if (request_.host.empty())
                return Failure(context_, StringPrintf("Unable to connect to mail server \"%s\".",
                                                      domain.c_str()));
            return Failure(context_, StringPrintf("Unable to connect to either mail server \"%s\" "
                                                  "or the mail server at \"%s\".",
                                                  request_.host.c_str(), domain.c_str()));
        }
        return Converse(false, hostName_.empty() ? domain : hostName_);
    }

    // The whole message once per recipient, each to its own exchanger.
    LStatus SendToEach(const std::vector<std::string>& recipients) {
        LStatus result;
        for (const std::string& address : recipients) {
            MailRequest single = request_;
            single.recipients = address;
            single.recipientGroups = {{address}};
            LStatus sent = SmtpSend(single, context_, options_).Run(true);
            if (!sent && sent.Error().IsCancelled()) return sent;
            if (!sent) result = sent;
        }
        return result;
    }

    LStatus Converse(bool configuredHost, const std::string& senderDomain) {
        SmtpDialogue dialogue(request_, context_, channel_, SmtpPeer{configuredHost, senderDomain},
                              options_);
        return dialogue.Run();
    }

    const MailRequest& request_;
    MailContext& context_;
    const SmtpOptions& options_;
    SmtpChannel channel_;
    std::string hostName_;
};

}  // namespace

LStatus SendBySmtp(const MailRequest& request, MailContext& context, const SmtpOptions& options) {
    return SmtpSend(request, context, options).Run(false);
}

}  // namespace vocarta
