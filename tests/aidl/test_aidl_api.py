#!/usr/bin/env python3
# Tests of tools/aidl-api: that its dump has the layout the device build writes, that its hash is
# the one the build's shell pipeline computes, and that its check fails on every kind of drift
# the device build fails on. The drift cases run on a scratch copy of the tree, never on it.

import importlib.machinery
import re
import shutil
import subprocess
import sys
import tempfile
import types
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TOOL = ROOT / "tools" / "aidl-api"
NAME = "vendor.vyr.plim.modem"
SRC = Path("aidl/vendor/vyr/plim/modem")
API = Path("aidl_api") / NAME

# The tool is a script without a .py name, so it is loaded by hand.
tool = types.ModuleType("aidl_api")
tool.__file__ = str(TOOL)
importlib.machinery.SourceFileLoader("aidl_api", str(TOOL)).exec_module(tool)


def build_pipeline_hash(directory, word):
    """The hash exactly as the device build's shell pipeline computes it."""
    command = ('find ./ -name "*.aidl" -print0 | LC_ALL=C sort -z | xargs -0 sha1sum && '
               f'echo {word}')
    out = subprocess.run(["bash", "-c", f"({command}) | sha1sum | cut -d ' ' -f 1"],
                         cwd=directory, check=True, capture_output=True, text=True)
    return out.stdout.strip()


def render_all(sources):
    """Dumps {qualified name: source text} the way dump_sources does for files on disk."""
    docs = [tool.parse(text, name) for name, text in sources.items()]
    known = {d.qualified_name for d in docs}
    return {d.qualified_name: tool.render(d, known) for d in docs}


PARCEL = "package a.b; @VintfStability @JavaDerive parcelable P { int x; @nullable String s; }"


class DumpLayout(unittest.TestCase):
    def test_interface_layout(self):
        source = """// first line
/* second */
package a.b;
import a.b.P;
/** Doc comments never reach the dump. */
@VintfStability
oneway interface ICb {
    /** Nor do member docs. */
    void one(in @nullable P p, int plain, in String[] names, in List<String> l);
    void two();
}
"""
        dump = render_all({"ICb": source, "P": PARCEL})["a.b.ICb"]
        expected = ("// first line\n/* second */\n" + tool.BANNER + "package a.b;\n"
                    "@VintfStability\n"
                    "interface ICb {\n"
                    "  oneway void one(in @nullable a.b.P p, int plain, in String[] names, "
                    "in List<String> l);\n"
                    "  oneway void two();\n"
                    "}\n")
        self.assertEqual(dump, expected,
                         "interface dump layout: leading comments kept, docs dropped, oneway moved "
                         "from the interface onto each method, 'in' only where written, our types "
                         "fully qualified, two-space indent")

    def test_parcelable_layout_sorts_annotations(self):
        dump = render_all({"P": PARCEL})["a.b.P"]
        self.assertEqual(dump, tool.BANNER + "package a.b;\n@JavaDerive @VintfStability\n"
                         "parcelable P {\n  int x;\n  @nullable String s;\n}\n",
                         "a parcelable dump must list its fields in order and its annotations "
                         "sorted, with no leading comment when the source has none")

    def test_leading_block_comment_gets_its_own_line(self):
        dump = render_all({"I": "/* (c) */ package a; interface I {}"})["a.I"]
        self.assertTrue(dump.startswith("/* (c) */\n" + tool.BANNER),
                        "a leading block comment must be followed by a newline before the banner")
        self.assertTrue(dump.endswith("package a;\ninterface I {\n}\n"),
                        "an empty interface must still be written as an opening and closing line")

    def test_doc_comments_do_not_change_the_dump(self):
        text = (ROOT / SRC / "IModem.aidl").read_text()
        no_docs = re.sub(r"/\*\*.*?\*/", "", text, flags=re.S)
        self.assertNotEqual(text, no_docs, "the source was expected to carry doc comments")
        sources = {n: (ROOT / SRC / f"{n}.aidl").read_text()
                   for n in ("IModemResponse", "IModemIndication", "ResponseInfo")}
        with_docs = render_all({**sources, "IModem": text})
        without = render_all({**sources, "IModem": no_docs})
        self.assertEqual(with_docs, without,
                         "editing documentation alone must not change the frozen API dump")

    def test_unsupported_constructs_are_refused(self):
        cases = {
            "'enum' declarations": "package a; enum E { A }",
            "'const' members": "package a; interface I { const int K = 1; }",
            "default values": "package a; parcelable P { int x = 1; }",
            "method ids": "package a; interface I { void f() = 3; }",
            "@hide": "package a; /** @hide */ interface I { }",
            "annotation parameters": "package a; @Backing(type=\"int\") interface I { }",
            "fixed-size arrays": "package a; parcelable P { int[3] x; }",
            "only structured parcelables": "package a; parcelable P;",
        }
        for what, source in cases.items():
            with self.assertRaisesRegex(tool.ApiError, re.escape(what),
                                        msg=f"a source with {what} must be refused, not "
                                        "dumped in a form the device build would not write"):
                render_all({"X": source})

    def test_unknown_type_is_refused(self):
        with self.assertRaises(tool.ApiError, msg="a type that no source defines must be an "
                               "error, as it is for the device build"):
            render_all({"I": "package a; interface I { void f(in Missing m); }"})


class Hash(unittest.TestCase):
    def test_matches_the_build_pipeline_on_the_frozen_dump(self):
        directory = ROOT / API / "1"
        self.assertEqual(tool.api_hash(directory, "latest-version"),
                         build_pipeline_hash(directory, "latest-version"),
                         "the tool's hash must be byte-for-byte the build's shell pipeline")

    def test_matches_the_build_pipeline_on_awkward_names(self):
        with tempfile.TemporaryDirectory() as tmp:
            # C-locale order puts upper case, '-' and '.' before '/', unlike a natural sort.
            for name in ("b.aidl", "B.aidl", "a/z.aidl", "a-b.aidl", "a.aidl", "a/A/x.aidl",
                         "skip.txt"):
                path = Path(tmp) / name
                path.parent.mkdir(parents=True, exist_ok=True)
                path.write_text(f"content of {name}\n")
            for word in ("latest-version", "3"):
                self.assertEqual(tool.api_hash(tmp, word), build_pipeline_hash(tmp, word),
                                 f"hash with word {word} must follow the build's file order "
                                 "and line format")


class Check(unittest.TestCase):
    def setUp(self):
        self._tmp = tempfile.TemporaryDirectory()
        self.root = Path(self._tmp.name)
        shutil.copy(ROOT / "Android.bp", self.root)
        shutil.copytree(ROOT / SRC, self.root / SRC)
        shutil.copytree(ROOT / API, self.root / API)

    def tearDown(self):
        self._tmp.cleanup()

    def run_tool(self, *args):
        return subprocess.run([sys.executable, str(TOOL), "--root", str(self.root), *args],
                              capture_output=True, text=True)

    def edit(self, rel, old, new):
        path = self.root / rel
        text = path.read_text()
        self.assertIn(old, text, f"test setup: {old!r} not found in {rel}")
        path.write_text(text.replace(old, new, 1))

    def assert_check(self, ok, why, *expected_words):
        result = self.run_tool("check")
        self.assertEqual(result.returncode, 0 if ok else 1, f"{why}\n{result.stderr}")
        for word in expected_words:
            self.assertIn(word, result.stderr, f"{why}: the report should say {word!r}")

    def test_unaltered_copy_passes(self):
        self.assert_check(True, "the tree as it is must pass, or every failure below means "
                          "nothing")

    def test_changed_source_method_fails(self):
        self.edit(SRC / "IModem.aidl", "void getBuildId(int serial);",
                  "void getBuildId(int serial, int extra);")
        self.assert_check(False, "a source that no longer matches the dumps must fail",
                          "current", "frozen: true")

    def test_edited_frozen_dump_fails(self):
        self.edit(API / "1" / SRC.relative_to("aidl") / "IModem.aidl",
                  "  void rebootModem(int serial);\n", "")
        self.assert_check(False, "a hand-edited frozen dump must fail its hash", ".hash")

    def test_edited_hash_fails(self):
        self.edit(API / "1" / ".hash", "a", "b")
        self.assert_check(False, "a .hash that does not match the dump must fail", ".hash")

    def test_stale_current_fails(self):
        self.edit(API / "current" / SRC.relative_to("aidl") / "ResponseInfo.aidl",
                  "  int error;\n", "")
        self.assert_check(False, "current/ that lags the sources must fail", "ResponseInfo")

    def test_version_not_in_android_bp_fails(self):
        bp = self.root / "Android.bp"
        bp.write_text(re.sub(r"versions_with_info: \[.*?\n    \],", "versions_with_info: [],",
                             bp.read_text(), flags=re.S))
        self.assert_check(False, "a frozen version that Android.bp does not list must fail",
                          "does not list version 1")

    def test_frozen_false_without_changes_fails(self):
        self.edit("Android.bp", "frozen: true", "frozen: false")
        self.assert_check(False, "frozen: false with nothing to freeze must fail, as the "
                          "device build refuses it", "frozen: false")

    def test_developer_adds_a_method_and_freezes_version_2(self):
        self.edit(SRC / "IModem.aidl", "    void informScreenState(int serial, boolean on);\n",
                  "    void informScreenState(int serial, boolean on);\n    void ping(int s);\n")
        self.edit("Android.bp", "frozen: true", "frozen: false")
        self.assert_check(False, "after a source change, current/ is stale until updated")

        self.assertEqual(self.run_tool("update").returncode, 0, "update must succeed")
        self.assertFalse((self.root / API / "current" / ".hash").exists(),
                         "current/ carries no .hash, as in the device build")
        self.assert_check(True, "after update, an unfrozen change must pass")

        result = self.run_tool("freeze")
        self.assertEqual(result.returncode, 0, f"freeze must succeed\n{result.stderr}")
        v2 = self.root / API / "2"
        self.assertEqual(tool.read_hash(v2 / ".hash"), build_pipeline_hash(v2, "1"),
                         "version 2 must be hashed with the word '1', as the build does")
        self.assertEqual(tool.read_dump(v2), tool.read_dump(self.root / API / "current"),
                         "a frozen version must hold the same dump as current/")
        self.assert_check(False, "a new version must be listed in Android.bp", "version 2")

        self.edit("Android.bp", 'version: "1",\n            imports: [],\n        },',
                  'version: "1",\n            imports: [],\n        },\n'
                  '        {\n            version: "2",\n            imports: [],\n        },')
        self.edit("Android.bp", "frozen: false", "frozen: true")
        self.assert_check(True, "version 2 listed and frozen: the tree must pass again")
        self.assertIn("no change", self.run_tool("freeze").stdout,
                      "freezing with no change since the last version must do nothing")
        self.assertFalse((self.root / API / "3").exists(), "no empty version 3 may be made")


if __name__ == "__main__":
    unittest.main(verbosity=2)
