#include "transmit/mail/mail_request.h"

#include "toolkit/lsignal_object.h"
#include "transmit/mail/mail_settings.h"

namespace vocarta {

std::vector<std::vector<std::string>> MailRequest::Groups() const {
    if (!recipientGroups.empty()) return recipientGroups;
    return {SplitAddressList(recipients)};
}

StopFlag StopFlagFor(const MailContext& context) {
    if (const LSignalObject* signal = context.StopSignal()) return StopFlag::FromSignal(*signal);
    return StopFlag::FromFunction([&context] { return context.ShouldStop(); });
}

std::vector<std::string> SplitAddressList(std::string_view list) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (start < list.size()) {
        const std::size_t end = list.find_first_of(" \t,", start);
        const std::size_t stop = end == std::string_view::npos ? list.size() : end;
        if (stop > start) pieces.emplace_back(list.substr(start, stop - start));
        start = stop + 1;
    }
    return pieces;
}

std::string AddressDomain(std::string_view address) {
    const std::size_t at = address.rfind('@');
    return at == std::string_view::npos ? std::string() : std::string(address.substr(at + 1));
}

MailRequest MailRequestFromSettings() {
    MailRequest request;
    request.sender = mail_settings::ReplyToEmail();
    request.host = mail_settings::MailSmtpHost();
    request.userName = mail_settings::SmtpUserName();
    request.password = mail_settings::SmtpPassword();
    request.sendDirect = mail_settings::SendDirect();
    request.useTls = mail_settings::UseSsl();
    return request;
}

}  // namespace vocarta
