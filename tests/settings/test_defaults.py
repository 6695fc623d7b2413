"""vocarta-defaults end to end: the program as a user or a script runs it."""

import os
import shutil
import subprocess
import tempfile
import unittest

BUILD_DIR = os.environ.get("VOCARTA_BUILD_DIR", "")
TOOL = os.path.join(BUILD_DIR, "vocarta-defaults")


class DefaultsTool(unittest.TestCase):
    def setUp(self):
        self.assertTrue(os.access(TOOL, os.X_OK), "not built: " + TOOL)
        self.home = tempfile.mkdtemp(prefix="vocarta-defaults-")
        self.env = dict(os.environ, HOME=self.home,
                        XDG_CONFIG_HOME=os.path.join(self.home, "config"),
                        XDG_DATA_HOME=os.path.join(self.home, "data"),
                        XDG_CACHE_HOME=os.path.join(self.home, "cache"),
                        VOCARTA_SHARED_DIR=os.path.join(self.home, "shared"))
        self.conf = os.path.join(self.home, "config", "vocarta",
                                 "com.vocarta.SoundRecorder.conf")

    def tearDown(self):
        shutil.rmtree(self.home, ignore_errors=True)

    def run_tool(self, *args):
        return subprocess.run([TOOL, *args], env=self.env, capture_output=True,
                              text=True, timeout=60)

    def ok(self, *args):
        result = self.run_tool(*args)
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
        self.ok("write", "Settings/Format", "3")
        self.ok("write", "Email/Subject", "a = b & c\nsecond line")
        self.ok("write", "Cloud/Dropbox/Account/User", "me")
        self.ok("write", "Settings/Empty", "")
        self.assertEqual(self.ok("read", "Settings/Format"), "3\n")
        self.assertEqual(self.ok("read", "Email/Subject"), "a = b & c\nsecond line\n")
        self.assertEqual(self.ok("read", "Settings/Empty"), "\n")
        missing = self.run_tool("read", "Settings/Nope")
        self.assertEqual(missing.returncode, 1)
        self.assertEqual(missing.stdout, "")
        self.assertEqual(self.ok("read").splitlines(), [
            "Cloud/Dropbox/Account/User = me",
            "Email/Subject = a = b & c\\nsecond line",
            "Settings/Empty = ",
            "Settings/Format = 3",
        ])
        with open(self.conf, encoding="utf-8") as f:
            self.assertIn("Settings/Format=3\n", f.read())

    def test_section_ending_in_slash_is_kept_as_given(self):
        self.ok("write", "Odd//Key", "v")
        self.assertEqual(self.ok("read", "Odd//Key"), "v\n")
        self.assertEqual(self.run_tool("read", "Odd/Key").returncode, 1)
        self.ok("delete", "Odd//Key")
        self.assertEqual(self.ok("read"), "")

    def test_delete_takes_the_protected_twin_along(self):
        self.ok("write", "DropboxV2/Token", "plain")
        self.ok("write", "DropboxV2/__Token", "v0011")
        self.ok("write", "DropboxV2/Other", "kept")
        self.ok("delete", "DropboxV2/Token")
        self.assertEqual(self.ok("read"), "DropboxV2/Other = kept\n")
        self.assertEqual(self.run_tool("delete", "DropboxV2/Token").returncode, 1)

    def test_delete_tree_ignores_case_but_not_section_boundaries(self):
        for key in ("FindPlay/SaveFolder", "findplay/Sort", "FindPlay/Sub/Deep",
                    "FindPlayer/SaveFolder"):
            self.ok("write", key, "x")
        self.ok("delete-tree", "FINDPLAY")
        self.assertEqual(self.ok("read"), "FindPlayer/SaveFolder = x\n")
        self.assertEqual(self.run_tool("delete-tree", "FindPlay").returncode, 1)

    def test_concurrent_tools_lose_no_write(self):
        procs = []
        for w in range(5):
            script = "; ".join(f'"{TOOL}" write Writer{w}/Key{i} {i} || exit 1'
                               for i in range(15))
            procs.append(subprocess.Popen(["/bin/sh", "-c", script], env=self.env))
        for p in procs:
            self.assertEqual(p.wait(timeout=120), 0)
        lines = self.ok("read").splitlines()
        self.assertEqual(len(lines), 75)
        for w in range(5):
            for i in range(15):
                self.assertIn(f"Writer{w}/Key{i} = {i}", lines)


if __name__ == "__main__":
    unittest.main()
