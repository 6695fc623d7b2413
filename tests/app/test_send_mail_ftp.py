"""End to end: a recording made through the headless program is e-mailed (SMTP
with STARTTLS and AUTH LOGIN to aiosmtpd) and uploaded by FTP over TLS to
vsftpd, which requires data connections to reuse the control connection's TLS
session, byte-exact; the send log notes what each method did and how many bytes
went up by FTP. (The client against pyftpdlib: tests/transmit/ftp.)"""

import email
import email.utils
import os
import time
import unittest

from send_e2e_support import SUPPORT, SendEnv
from session_e2e_support import require_tools


class SendMailFtpTest(unittest.TestCase):
    def test_a_recording_arrives_by_mail_and_by_ftp(self):
        require_tools(self, ("pulseaudio", "pactl", "openssl", "/usr/sbin/vsftpd"))
        with SendEnv() as env:
            certs = env.make_certs()
            cert, key = os.path.join(certs, "good.pem"), os.path.join(certs, "good.key")
            store = os.path.join(env.root, "mail")
            os.makedirs(store)
            smtp = env.start_server(os.path.join(SUPPORT, "smtp_test_server.py"), "real",
                                    "--store", store, "--tls", cert, key,
                                    "--login", "ann:app password")
            folder = os.path.join(env.root, "vsftpd")
            os.chmod(env.root, 0o755)  # vsftpd's own users reach the folder through it
            ftp = env.start_server(os.path.join(SUPPORT, "vsftpd_server.py"), "--folder", folder,
                                   "--cert", cert, "--key", key)
            # As a user would set it up by script (README).
            env.write_settings("Email", UseAppleMail=0, UseSendMail=0, UseSMTPHost=1,
                               MailSMTPHost="localhost:%d" % smtp, SMTPUserName="ann",
                               UseSSL=1, SendDirect=0, ReplyToEmail="me@mail.test",
                               To="rcpt@mail.test")
            env.write_password("Email/SMTPPassword", "app password")
            env.write_settings("Ftp", Server="localhost:%d" % ftp, UserName="anonymous",
                               Directory="/upload", TlsMode=2)
            env.write_password("Ftp/Password", "rec@example.net")
            env.write_settings("Settings", SendEmail=1, SendFtp=1)

            env.start()
            take = env.record_and_stop()
            env.wait_sent(2)
            with open(take, "rb") as f:
                original = f.read()

            def kept(what):
                with open(os.path.join(store, "1." + what), "rb") as f:
                    return f.read()
            self.assertTrue(os.path.exists(os.path.join(store, "1.done")), env.describe())
            self.assertEqual(kept("meta").decode(),
                             "from=me@mail.test\nto=rcpt@mail.test\nsecure=1\nauthenticated=1\n")
            self.assertEqual(kept("subject").decode(),
                             "Vocarta Sound Recorder - Emailed Recording Untitled 000.wav")
            self.assertEqual(kept("0.name").decode(), "Untitled 000.wav")
            self.assertTrue(kept("text").decode().startswith(
                "Attached is a recording made by Vocarta Sound Recorder.\r\n\r\n"
                "  File Name: Untitled 000.wav\r\n"), kept("text"))
            sent_at = email.utils.parsedate_to_datetime(
                email.message_from_bytes(kept("eml"))["Date"]).timestamp()
            self.assertLess(abs(sent_at - time.time()), 300, "Date is not the time of sending")
            self.assertTrue(kept("0.part") == original, "the attachment differs")

            with open(os.path.join(folder, "root", "upload", "Untitled 000.wav"), "rb") as f:
                self.assertTrue(f.read() == original, "the upload differs")
            log = env.sent()
            self.assertEqual(log[0][2:], ["email", "rcpt@mail.test", "Ok"], env.describe())
            self.assertEqual(log[1][2:], ["ftp", "localhost:%d" % ftp, "Ok", str(len(original))])


if __name__ == "__main__":
    unittest.main()
