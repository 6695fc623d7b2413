"""vocarta-defaults end to end: the program as a user or a script runs it."""

import os
import shutil
import subprocess
import tempfile
import unittest

TOOL = os.path.join(os.environ.get("VOCARTA_BUILD_DIR", ""), "vocarta-defaults")


class DefaultsTool(unittest.TestCase):
    def setUp(self):
        self.assertTrue(os.access(TOOL, os.X_OK), "not built: " + TOOL)
        self.home = tempfile.mkdtemp(prefix="vocarta-defaults-")
        self.addCleanup(shutil.rmtree, self.home, True)
        self.env = dict(os.environ, HOME=self.home, VOCARTA_SHARED_DIR=self.home + "/shared",
                        **{var: os.path.join(self.home, var) for var in
                           ("XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME")})
        self.conf = os.path.join(self.env["XDG_CONFIG_HOME"], "vocarta",
                                 "com.vocarta.SoundRecorder.conf")

    def run_tool(self, *args, stdin=None):
        return subprocess.run([TOOL, *args], env=self.env, capture_output=True,
                              text=True, timeout=60, input=stdin)

    def ok(self, *args, stdin=None):
        result = self.run_tool(*args, stdin=stdin)
        self.assertEqual(result.returncode, 0, (args, result.stderr))
        return result.stdout

    def test_bad_arguments_print_usage_and_exit_2(self):
        for args in ([], ["read", "NoSlash"], ["write", "A/B"], ["write", "A/", "v"],
                     ["read", "A/B", "extra"], ["frobnicate"], ["delete-tree"],
                     ["delete", "x" * 300 + "/" + "k" * 300]):
            result = self.run_tool(*args)
            self.assertEqual(result.returncode, 2, args)
            self.assertIn("Usage: vocarta-defaults", result.stderr, args)
        self.assertFalse(os.path.exists(self.conf), "a bad command wrote the file")
        self.assertIn("Usage:", self.ok("--help"))

    def test_write_read_and_listing(self):
        # A section ending in "/" is kept as given.
        for key, value in (("Settings/Format", "3"), ("Email/Subject", "a = b & c\nsecond line"),
                           ("Settings/Empty", ""), ("Cloud/Dropbox/Account/User", "me"),
                           ("Odd//Key", "v")):
            self.ok("write", key, value)
        for key, out in (("Email/Subject", "a = b & c\nsecond line\n"), ("Settings/Empty", "\n"),
                         ("Odd//Key", "v\n")):
            self.assertEqual(self.ok("read", key), out)
        for missing in ("Settings/Nope", "Odd/Key"):
            self.assertEqual(self.run_tool("read", missing).returncode, 1, missing)
        self.assertEqual(self.ok("read").splitlines(), [
            "Cloud/Dropbox/Account/User = me",
            "Email/Subject = a = b & c\\nsecond line",
            "Odd//Key = v",
            "Settings/Empty = ",
            "Settings/Format = 3",
        ])
        with open(self.conf, encoding="utf-8") as f:
            self.assertIn("Settings/Format=3\n", f.read())

    def test_delete_takes_the_twin_and_delete_tree_keeps_to_its_sections(self):
        for key in ("DropboxV2/Token", "DropboxV2/__Token", "DropboxV2/Other",
                    "FindPlay/SaveFolder", "findplay/Sort", "FindPlay/Sub/Deep",
                    "FindPlayer/SaveFolder"):
            self.ok("write", key, "x")
        self.ok("delete", "DropboxV2/Token")
        self.assertEqual(self.run_tool("delete", "DropboxV2/Token").returncode, 1)
        self.ok("delete-tree", "FINDPLAY")
        self.assertEqual(self.run_tool("delete-tree", "FindPlay").returncode, 1)
        self.assertEqual(self.ok("read"), "DropboxV2/Other = x\nFindPlayer/SaveFolder = x\n")

    def test_passwords_come_from_standard_input_and_are_never_shown(self):
        # A password on the command line is refused: other users could read it.
        for args in (["write", "Ftp/Password", "secret"], ["write", "Email/SmtpPassword", "s"],
                     ["write-password", "Ftp/Password", "secret"],
                     ["write-password", "Ftp/__Password"]):
            self.assertEqual(self.run_tool(*args, stdin="").returncode, 2, args)
        result = self.run_tool("write-password", "Ftp/Password", stdin="pa ss=w&rd\n")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertNotIn("pa ss", result.stdout + result.stderr)
        with open(self.conf, encoding="utf-8") as f:
            stored = f.read()
        self.assertIn("Ftp/__Password=v", stored)
        self.assertNotIn("pa ss", stored)
        for key in ("Ftp/Password", "Ftp/__Password"):
            self.assertEqual(self.ok("read", key), "(protected)\n")
        # A clear password put in the file by hand is hidden too, and replaced.
        with open(self.conf, "a", encoding="utf-8") as f:
            f.write("Proxy/Password=clear-text\n")
        self.assertEqual(self.ok("read").splitlines(),
                         ["Ftp/__Password = (protected)", "Proxy/Password = (protected)"])
        self.assertEqual(self.ok("read", "Proxy/Password"), "(protected)\n")
        self.ok("write-password", "Proxy/Password", stdin="new\r\n")
        self.assertEqual(self.ok("read").splitlines(),
                         ["Ftp/__Password = (protected)", "Proxy/__Password = (protected)"])
        # More than one line, or an over-long value, is refused and changes nothing.
        for text in ("one\ntwo\n", "x" * 5000):
            self.assertEqual(self.run_tool("write-password", "Ftp/Password",
                                           stdin=text).returncode, 1)
        with open(self.conf, encoding="utf-8") as f:
            self.assertIn(stored.splitlines()[1], f.read())
        self.ok("delete", "Ftp/Password")
        self.assertEqual(self.run_tool("read", "Ftp/Password").returncode, 1)


if __name__ == "__main__":
    unittest.main()
