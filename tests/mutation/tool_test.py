#!/usr/bin/env python3
"""tool_test.py BUILD SANITIZED: does tools/mutate find the places, call out weak tests, and keep what it runs from the
machine?

Both build folders hold the target nas_mutation_samples, the second one with sanitizers."""

import json
from pathlib import Path
import subprocess
import sys
import tempfile
import unittest

ROOT = Path(__file__).resolve().parents[2]
TOOL = ROOT / "tools/mutate"
sys.path.insert(0, str(TOOL))

import confine  # noqa: E402
import places  # noqa: E402
import report  # noqa: E402
from literals import changed_literals  # noqa: E402

SAMPLE = ROOT / "tests/mutation/sample"
EQUIVALENT = """\
# A comment.
at: sample/part/sample.cpp sample_limit
line: if (value < 0 || value > most)
change: 0 => (-1)
why: -1 is the answer for -1 anyway

at: sample/part/sample.cpp sample_steps
line: while (steps != count)
change: steps != count => steps < count
why: steps begins at 0 and never passes count
"""
UNSEEN = ("sample_copy", "1 => 2")
UNSEEN_ENTRY = """
at: sample/part/sample.cpp sample_copy
line: char *copy = static_cast<char *>(malloc(strlen(text) + 1));
change: 1 => 2
why: one byte more than is needed
"""
MEMORY_ERRORS = {("sample_copy", "1 => 0"), ("sample_copy", "leave out free(copy)")}
WRONG = """
at: sample/part/sample.cpp sample_copy
line: free(copy);
change: leave out free(copy)
why: none
"""


class Literals(unittest.TestCase):
    def test_numbers_keep_their_form(self):
        self.assertEqual(changed_literals("7"), ["8", "6", "0"])
        self.assertEqual(changed_literals("0"), ["1", "(-1)"])
        self.assertEqual(changed_literals("0644"), ["0645", "0643", "0"])
        self.assertEqual(changed_literals("0x7f"), ["0x80", "0x7e", "0"])
        self.assertEqual(changed_literals("3U"), ["4U", "2U", "0U"])

    def test_characters(self):
        self.assertEqual(changed_literals("'a'"), ["'b'", "'\\0'"])
        self.assertEqual(changed_literals("'\\0'"), ["'\\x01'"])
        self.assertEqual(changed_literals("'['"), ["'\\\\'", "'\\0'"])

    def test_conversions_and_escapes_stay_whole(self):
        self.assertEqual(changed_literals('"%d\\n"'), ['"%d#"', '""'])
        self.assertEqual(changed_literals('"a%s"'), ['"b%s"', '""'])
        self.assertEqual(changed_literals('""'), ['"x"'])

    def test_sets_lose_each_character(self):
        self.assertEqual(changed_literals('" \\t,"')[1:], ['""', '"\\t,"', '" ,"', '" \\t"'])


class Places(unittest.TestCase):
    def changes(self, body, kind):
        """What is changed in the function f."""
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "a.cpp"
            path.write_text("#include <cstdlib>\n#include <cstring>\n#include <unistd.h>\n"
                            "extern int b; extern char *name; int is_open(int), check_is_open(int);\n"
                            "int g(int, const char *, const char *); enum { SIZE = 9 };\n"
                            f"int f(int a, bool on, char *p)\n{{\n{body}\n}}\n", encoding="utf-8")
            found = places.find_mutants(places.parse(path, ["-std=c++20"]), path, "a.cpp")
        return [mutant.change for mutant in found if mutant.kind == kind and mutant.function == "f"]

    def test_conditions(self):
        self.assertEqual(self.changes("if (a == 1) g(a, p, p); return a;", "condition"), [
            "a == 1 => !(a == 1)", "a == 1 => false", "a == 1 => true", "a == 1 => a != 1", "a == 1 => a <= 1",
            "a == 1 => a >= 1"])
        self.assertEqual(self.changes("return on && p == nullptr && a;", "condition"), [
            "on && p == nullptr => on", "on && p == nullptr => p == nullptr",
            "on && p == nullptr && a => on && p == nullptr",
            "on && p == nullptr => on || p == nullptr", "p == nullptr => p != nullptr",
            "on && p == nullptr && a => on && p == nullptr || a"])

    def test_limits(self):
        self.assertEqual(self.changes("char t[SIZE]; if (a < 3) return sizeof t; return a + 2;", "limit"), [
            "SIZE => (SIZE + 1)", "SIZE => (SIZE - 1)", "a < 3 => a <= 3", "sizeof t => (sizeof t + 1)",
            "sizeof t => (sizeof t - 1)", "a + 2 => a - 2"])

    def test_orders(self):
        self.assertEqual(self.changes('a = 2; g(a, p, "x"); return 0;', "order"), [
            'swap a = 2; <=> g(a, p, "x");', 'swap p <=> "x"'])

    def test_orders_that_do_not_matter(self):
        for body in ("char t[4]; t[0] = 'x'; return t[0];", "g(a, p, p); int b = 7; return b;",
                     "int b = a; if (on) return 1; return b;", "struct { int x, y; } s; s.x = a; s.y = 2; return s.x;",
                     "struct S { int x, y; } &s = *(S *)p; s.x = a; s.y = 2; return s.x;",
                     "return strcmp(p, X) == 0;"):
            self.assertEqual(self.changes(body.replace("X", '"x"'), "order"), [], body)

    def test_orders_that_matter(self):
        for body in ("int b = g(a, p, 0); g(3, 0, p); return b;", "int b = a; a = 2; return b;",
                     "a = b; b = 2; return a;",
                     "int c = b; g(c + a, 0, p); return c;", "int c = *p; g(a, p, 0); return c;",
                     "if (a) return 1; if (b) return 2; return 3;", "int &r = a; r = 1; b = a; return b;",
                     "struct S { int x, y; } &s = *(S *)p; b = s.x; s.x = 2; return b;"):
            self.assertTrue(any(change.startswith("swap ") for change in self.changes(body, "order")), body)
        self.assertEqual(self.changes("return strcmp(p, name) < 0;", "order"), ["swap p <=> name"])

    def test_answers_of_yes_and_no(self):
        for call in ("is_open(a)", "access(p, 0)"):
            found = self.changes(f"if ({call} == 0) return 1; return 2;", "condition")
            self.assertEqual(found, [
                f"{call} == 0 => {new}" for new in (f"!({call} == 0)", "false", "true", f"{call} != 0")])
        for call in ("g(a, p, p)", "check_is_open(a)", "strcmp(p, name)", "system(p)"):
            found = self.changes(f"if ({call} == 0) return 1; return 2;", "condition")
            self.assertIn(f"{call} == 0 => {call} <= 0", found)

    def test_statements(self):
        self.assertEqual(self.changes("if (on) g(1, p, p); else a = 3; return a;", "statement"), [
            "leave out g(1, p, p)", "leave out a = 3", "a => (a) + 1", "a => 0"])
        self.assertEqual(self.changes("while (on) { if (a) break; a--; } return 1;", "statement"), [
            "leave out break", "leave out a--"])

    def test_comments_directives_and_templates_are_left_alone(self):
        body = "#define N 5\n// 7 < 8\nint x[] = {static_cast<int>(a)}; return x[0];"
        self.assertEqual(self.changes(body, "literal"), ["0 => (-1)", "0 => 1"])
        self.assertEqual(self.changes(body, "limit"), [])


class Sample(unittest.TestCase):
    def mutate(self, tests, equivalent="", files=("sample.cpp", "sample.h"), more=()):
        with tempfile.TemporaryDirectory() as folder:
            listed = Path(folder) / "equivalent.txt"
            listed.write_text(equivalent, encoding="utf-8")
            command = [sys.executable, "-B", TOOL / "mutate.py", "--build", BUILD, "--sources", SAMPLE, "--out", OUT,
                       "--library", "tests/mutation/libnas_mutation_sample.so", "--equivalent", listed, "--workers=2",
                       "--tests", f"tests/mutation/nas_mutation_{tests}_test"]
            command += [*more, *(SAMPLE / "part" / file for file in files)]
            done = subprocess.run(command, text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        return done.returncode, done.stdout + done.stderr

    def with_outcome(self, wanted):
        """Of the sample's changes."""
        return {change for change, outcome in self.outcomes("sample.cpp").items() if outcome == wanted}

    def outcomes(self, file):
        results = json.loads((OUT / f"sample-part-{file}.json").read_text(encoding="utf-8"))
        return {(result["function"], result["change"]): result["outcome"] for result in results}

    def test_strong_tests_notice_everything(self):
        said = self.mutate("strong", EQUIVALENT)[1]
        code, header = self.outcomes("sample.cpp"), self.outcomes("sample.h")
        self.assertEqual(code["sample_limit", "value < 0 => value <= 0"], "killed")
        self.assertEqual(code["sample_limit", "0 => (-1)"], "equivalent")
        self.assertEqual(code["sample_limit", "0 => 1"], "same as another")
        self.assertEqual(code["sample_steps", "steps != count => true"], "timed out")
        self.assertEqual(code["-", "4 => 5"], "did not build")
        self.assertEqual(header["sample_next", "value + 1 => value - 1"], "killed")
        self.assertEqual(self.with_outcome("survived"), MEMORY_ERRORS | {UNSEEN}, said)

    def test_sanitizers_see_more(self):
        status, said = self.mutate("strong", EQUIVALENT, ["sample.cpp"])
        self.assertEqual(status, 1, said)
        status, said = self.mutate("strong", EQUIVALENT + WRONG, ["sample.cpp"], SEEN_AGAIN)
        self.assertEqual(status, 1, said)
        self.assertIn("but LeakSanitizer notices it:" + WRONG.split("why")[0], said)
        self.assertEqual(self.with_outcome(report.SANITIZERS), MEMORY_ERRORS, said)
        self.assertEqual(self.with_outcome("survived"), {UNSEEN}, said)
        status, said = self.mutate("strong", EQUIVALENT + UNSEEN_ENTRY, ["sample.cpp"], SEEN_AGAIN)
        self.assertEqual(status, 0, said)
        self.assertNotIn("Survivors", said)

    def test_weak_tests_are_called_out(self):
        status, said = self.mutate("weak")
        self.assertEqual(status, 1, said)
        self.assertIn("sample/part/sample.cpp:12\n" + EQUIVALENT.split("why")[0].split("\n", 1)[1], said)
        code = self.outcomes("sample.cpp")
        self.assertEqual(code["sample_word", '"file" => ""'], "survived")
        self.assertEqual(code["sample_limit", "value > most => value >= most"], "survived")
        self.assertEqual(code["sample_limit", "value => 0"], "killed")

    def test_survivors_are_tried_again(self):
        status, said = self.mutate("weak", files=["sample.h"])
        self.assertEqual(status, 1, said)
        self.assertEqual(list(self.outcomes("sample.h").values()).count("survived"), 4)
        status, said = self.mutate("strong", files=["sample.h"], more=["--again"])
        self.assertEqual(status, 0, said)
        self.assertEqual(list(self.outcomes("sample.h").values()).count("killed"), 4)
        self.assertEqual(len(self.outcomes("sample.h")), 8)

    def test_list_of_equivalent_changes_must_be_right(self):
        entry = "at: sample/part/sample.h sample_next\nline: return value + 1;\nchange: {}\nwhy: none\n"
        status, said = self.mutate("strong", entry.format("1 => 0"), ["sample.h"])
        self.assertEqual(status, 1, said)
        self.assertIn("Sample.NotesStandInOrder notices it", said)
        status, said = self.mutate("strong", entry.format("1 => 9"), ["sample.h"])
        self.assertEqual(status, 1, said)
        self.assertIn("there is no such change", said)
        status, said = self.mutate("strong", entry.replace("sample.h", "gone.h").format("1 => 0"), ["sample.h"])
        self.assertEqual(status, 1, said)
        self.assertIn("there is no such change:\nat: sample/part/gone.h sample_next\n", said)

    def test_tests_that_cannot_run_kill_nothing(self):
        status, said = self.mutate("strong", more=["--see=/nonexistent"])
        self.assertEqual(status, 2, said)
        self.assertIn("cannot confine", said)


class Confinement(unittest.TestCase):
    def run_inside(self, script, seconds=20):
        with tempfile.TemporaryDirectory() as folder:
            root, seen, job = Path(folder) / "root", Path(folder) / "seen", Path(folder) / "job.json"
            root.mkdir()
            seen.mkdir()
            Path(folder).chmod(0o755)
            job.write_text(json.dumps({
                "root": str(root), "memory": 1 << 30, "see": [str(seen)],
                "environment": {"PATH": "/usr/bin:/bin", "SEEN": str(seen)},
                "programs": [{"command": ["/bin/sh", "-c", script], "processor_seconds": 2, "seconds": seconds}],
            }), encoding="utf-8")
            done = subprocess.run([sys.executable, "-I", "-S", "-B", confine.__file__, job], text=True, check=False,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            return done.returncode, done.stdout, list(seen.iterdir())

    def test_nothing_can_be_written_but_tmp(self):
        status, said, left = self.run_inside(
            'echo x > "$SEEN/a"; echo x > /usr/a; echo x > /etc/a; echo x > /a; mount -o remount,rw /usr;'
            'echo x > /proc/sys/kernel/panic; echo x > /proc/sysrq-trigger; echo x > /tmp/a && echo tmp only')
        self.assertEqual((status, left), (0, []), said)
        self.assertEqual(said.count("Read-only file system"), 4, said)
        self.assertIn("tmp only", said)

    def test_machine_is_out_of_sight(self):
        status, said, _ = self.run_inside(f'ls {ROOT} /home /root; ls /dev; ls -d /proc/[0-9]*; cat /proc/net/dev')
        self.assertEqual(status, 0, said)
        self.assertEqual(said.count("No such file or directory"), 3, said)
        self.assertEqual(said.split("/proc/1\n")[0].split()[-5:], ["full", "null", "random", "urandom", "zero"])
        self.assertNotIn("eth", said)
        self.assertLess(said.count("/proc/"), 5, said)

    def test_hogs_are_stopped(self):
        self.assertEqual(self.run_inside("while :; do :; done")[0], confine.TIMED_OUT)
        self.assertEqual(self.run_inside("sleep 30", seconds=1)[0], confine.TIMED_OUT)
        self.assertEqual(self.run_inside("head -c 80000000 /dev/zero > /tmp/a")[0], confine.FAILED)
        self.assertEqual(self.run_inside("head -c 2000000000 /dev/zero | tail -n 1 | wc -c | grep 2000000000")[0],
                         confine.FAILED)


if __name__ == "__main__":
    BUILD, SANITIZED = (Path(sys.argv.pop(1)).resolve() for _ in range(2))
    OUT = BUILD / "mutate-sample"
    SEEN_AGAIN = ["--again", "--sanitized", SANITIZED]
    unittest.main()
