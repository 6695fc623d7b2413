// "Email Settings", offscreen: what it shows when it opens, the provider list,
// the refusals with their captions in order, and what OK saves.

#include "gui/email_settings_dialog.h"

#include <QComboBox>
#include <QLineEdit>

#include "gui/gui_test_support.h"
#include "settings/settings.h"
#include "transmit/mail/mail_request.h"
#include "transmit/mail/mail_settings.h"

using namespace vocarta;
using namespace vocarta::test;

TEST(EmailSettingsDialogTest, RefusesInOrderThenSavesWhatTheSenderReads) {
    EnsureApplication();
    DeleteSettingTree(mail_settings::kSection);
    SetSettingBool(mail_settings::kSection, mail_settings::kUseDesktopMailKey, false);
    FakeView view;
    EmailSettingsDialog dialog(view);
    dialog.show();
    EXPECT_EQ(dialog.windowTitle(), "Email Settings");
    // Nothing chosen yet: direct sending, as the sender would do.
    ExpectShown(dialog, "emailDirect=1;emailSmtp=0;emailHost.enabled=0;emailReplyTo=");
    auto* host = Child<QComboBox>(dialog, "emailHost");
    ASSERT_TRUE(host);
    EXPECT_EQ(Items(host).first(), "--Most Popular--");
    EXPECT_EQ(Items(host).size(), 13);

    Enter(dialog, "emailSmtp=1");
    ExpectShown(dialog, "emailHost.enabled=1;emailPassword.enabled=1");
    const char* const captions[] = {"Reply Email Required", "Reply Email Required",
                                    "Mail host required", "User Name Required",
                                    "Password Required"};
    const char* const entries[] = {"emailReplyTo=me@", "emailReplyTo=me@mail.test",
                                   "emailHost=Gmail [smtp.gmail.com:587]", "emailUserName=me",
                                   "emailPassword=s3cret"};
    for (int i = 0; i < 5; ++i) {
        const std::size_t before = view.messages.size();
        dialog.accept();
        ASSERT_EQ(view.messages.size(), before + 1) << i;
        EXPECT_EQ(view.messages.back().title, captions[i]);
        EXPECT_TRUE(dialog.isVisible());
        Enter(dialog, entries[i]);
    }
    Enter(dialog, "emailUseTls=1");
    const std::size_t before = view.messages.size();
    dialog.accept();
    EXPECT_EQ(view.messages.size(), before);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);

    const MailRequest request = MailRequestFromSettings();
    EXPECT_EQ(request.host, "smtp.gmail.com:587");
    EXPECT_EQ(request.userName, "me");
    EXPECT_EQ(request.password, "s3cret");
    EXPECT_EQ(request.sender, "me@mail.test");
    EXPECT_TRUE(request.useTls);
    EXPECT_FALSE(request.sendDirect);

    // Opened again, it shows what was saved; the password stays hidden.
    EmailSettingsDialog again(view);
    ExpectShown(again, "emailSmtp=1;emailHost=smtp.gmail.com:587;emailUserName=me;emailUseTls=1");
    EXPECT_EQ(Child<QLineEdit>(again, "emailPassword")->echoMode(), QLineEdit::Password);
}
