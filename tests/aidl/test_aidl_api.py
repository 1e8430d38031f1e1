#!/usr/bin/env python3
# Tests of tools/aidl-api: its dump has the device build's layout, its hash is the one the build's
# shell pipeline computes, and its check fails on every drift the device build fails on. Drifts
# are made on scratch copies of the tree, never on it.

import importlib.machinery
import shutil
import subprocess
import sys
import tempfile
import types
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TOOL = ROOT / "tools" / "aidl-api"
SRC = Path("aidl/vendor/vyr/plim/modem")
API = Path("aidl_api/vendor.vyr.plim.modem")
DUMP = SRC.relative_to("aidl")  # where a source sits inside a dump

# The tool is a script without a .py name, so it is loaded by hand.
tool = types.ModuleType("aidl_api")
importlib.machinery.SourceFileLoader("aidl_api", str(TOOL)).exec_module(tool)


def build_pipeline_hash(directory, word):
    """The hash exactly as the device build's shell pipeline computes it."""
    command = (f'(find ./ -name "*.aidl" -print0 | LC_ALL=C sort -z | xargs -0 sha1sum && '
               f"echo {word}) | sha1sum | cut -d ' ' -f 1")
    return subprocess.run(["bash", "-c", command], cwd=directory, check=True, capture_output=True,
                          text=True).stdout.strip()


class Dump(unittest.TestCase):
    def test_layout_matches_the_device_dumper(self):
        sources = {
            "ICb": "// first line\n/* second */\npackage a.b;\nimport a.b.P;\n/** Doc. */\n"
                   "@VintfStability\noneway interface ICb {\n    /** Doc. */\n"
                   "    void one(in @nullable P p, int plain, in String[] names, in List<String> l)"
                   ";\n    void two();\n}\n",
            "P": "package a.b;@VintfStability @JavaDerive parcelable P{int x; @nullable String s;}",
        }
        docs = [tool.parse(text, name) for name, text in sources.items()]
        known = {d.qualified_name for d in docs}
        dumps = {d.qualified_name: tool.render(d, known) for d in docs}
        self.assertEqual(dumps["a.b.ICb"], "// first line\n/* second */\n" + tool.BANNER +
                         "package a.b;\n@VintfStability\ninterface ICb {\n"
                         "  oneway void one(in @nullable a.b.P p, int plain, in String[] names, "
                         "in List<String> l);\n  oneway void two();\n}\n",
                         "leading comments kept, docs dropped (editing them must freeze nothing), "
                         "oneway moved onto each method, 'in' only where written, our types fully "
                         "qualified, two-space indent")
        self.assertEqual(dumps["a.b.P"], tool.BANNER + "package a.b;\n@JavaDerive @VintfStability"
                         "\nparcelable P {\n  int x;\n  @nullable String s;\n}\n",
                         "a parcelable lists its fields in order and its annotations sorted")


class Hash(unittest.TestCase):
    def test_matches_the_build_pipeline(self):
        with tempfile.TemporaryDirectory() as tmp:
            # C-locale order puts upper case, '-' and '.' before '/', unlike a natural sort.
            for name in ("b.aidl", "B.aidl", "a/z.aidl", "a-b.aidl", "a.aidl", "a/A/x.aidl", "t"):
                (Path(tmp) / name).parent.mkdir(parents=True, exist_ok=True)
                (Path(tmp) / name).write_text(f"content of {name}\n")
            for directory, word in ((ROOT / API / "1", "latest-version"), (tmp, "3")):
                self.assertEqual(tool.api_hash(directory, word),
                                 build_pipeline_hash(directory, word),
                                 f"hash of {directory} with {word!r} must follow the build's file "
                                 "order and line format byte for byte")


class Check(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.scratch = Path(scratch.name)
        self.root = self.copy_tree()

    def copy_tree(self):
        root = Path(tempfile.mkdtemp(dir=self.scratch))
        shutil.copy(ROOT / "Android.bp", root)
        shutil.copytree(ROOT / SRC, root / SRC)
        shutil.copytree(ROOT / API, root / API)
        return root

    def run_tool(self, *args):
        return subprocess.run([sys.executable, str(TOOL), "--root", str(self.root), *args],
                              capture_output=True, text=True)

    def edit(self, rel, old, new):
        path = self.root / rel
        self.assertIn(old, path.read_text(), f"test setup: {old!r} not found in {rel}")
        path.write_text(path.read_text().replace(old, new, 1))

    def assert_check(self, ok, why, *words):
        result = self.run_tool("check")
        self.assertEqual(result.returncode, 0 if ok else 1, f"{why}\n{result.stderr}")
        for word in words:
            self.assertIn(word, result.stderr, f"{why}: the report should say {word!r}")

    def test_each_drift_fails_as_in_the_device_build(self):
        self.assert_check(True, "the tree as it is must pass, or the failures below mean nothing")
        for rel, old, new, why, word in [
                (SRC / "IModem.aidl", "(int serial);", "(int serial, int extra);",
                 "a changed source", "frozen: true"),
                (API / "1" / DUMP / "IModem.aidl", "  void rebootModem(int serial);\n", "",
                 "a hand-edited frozen dump", ".hash"),
                (API / "1" / ".hash", "a", "b", "an edited .hash", ".hash"),
                (API / "current" / DUMP / "ResponseInfo.aidl", "  int error;\n", "",
                 "a current/ that lags the sources", "ResponseInfo"),
                ("Android.bp", 'version: "1"', 'version: "2"', "a frozen version that Android.bp "
                 "does not list", "does not list version 1"),
                ("Android.bp", "frozen: true", "frozen: false", "frozen: false with nothing new",
                 "frozen: false")]:
            with self.subTest(why):
                self.root = self.copy_tree()
                self.edit(rel, old, new)
                self.assert_check(False, f"{why} must fail", word)

    def test_developer_adds_a_method_updates_and_freezes_version_2(self):
        self.edit(SRC / "IModem.aidl", "(int serial, boolean on);\n",
                  "(int serial, boolean on);\n    void ping(int s);\n")
        self.edit("Android.bp", "frozen: true", "frozen: false")
        self.assert_check(False, "after a source change, current/ is stale until updated")
        self.assertEqual(self.run_tool("update").returncode, 0, "update must succeed")
        self.assert_check(True, "after update, an unfrozen change must pass")
        self.assertEqual(self.run_tool("freeze").returncode, 0, "freeze must succeed")
        v2 = self.root / API / "2"
        self.assertEqual(tool.read_hash(v2 / ".hash"), build_pipeline_hash(v2, "1"),
                         "version 2 must be hashed with the word '1', as the build does")
        self.assertEqual(tool.read_dump(v2), tool.read_dump(self.root / API / "current"),
                         "a frozen version must hold the same dump as current/")
        self.assert_check(False, "a new version must be listed in Android.bp", "version 2")
        self.edit("Android.bp", 'version: "1",', 'version: "1",\n        }, {\n version: "2",')
        self.edit("Android.bp", "frozen: false", "frozen: true")
        self.assert_check(True, "version 2 listed and frozen: the tree must pass again")


if __name__ == "__main__":
    unittest.main(verbosity=2)
