"""check-style finds names and braces that are not the house's, each fault in a small tree of its own."""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
CHECK = REPOSITORY / "script" / "check-style"
# One of each kind, as it has to be.
CLEAN_HEADER = """#pragma once
enum Corner { LOW_LEFT, HIGH_RIGHT };
enum class State { idle, atWork };
struct API_Version {
  int majorNumber = 0;
};
class Counter {
 public:
  static constexpr int MOST = 7;
  int getCount() const { return count; }
  void add(int howMany);

 private:
  static int s_instances;
  int count = 0;
};
"""
CLEAN_SOURCE = """#include "app/counter.h"

int Counter::s_instances = 0;

namespace {

constexpr int PAUSE = 5;

int half(int number) { return number / 2; }

}  // namespace

void Counter::add(int howMany) {
  constexpr int STEP = 2;
  const int wanted = half(howMany) * STEP;
  if (wanted < MOST) {
    count += wanted + PAUSE;
  }
}
"""


class CheckStyleTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        # Nothing follows from the names of the folders that it stands in.
        self.root = pathlib.Path(folder.name).resolve() / "src" / "product"
        subprocess.run(["git", "init", "--quiet", self.root], check=True)
        shutil.copy(REPOSITORY / ".clang-tidy", self.root)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def check(self):
        return subprocess.run([sys.executable, CHECK, "--root", self.root], capture_output=True,
                              text=True)

    def assert_faults(self, *expected):
        """The lines that are told, each without what follows what is expected of it."""
        result = self.check()
        lines = result.stdout.splitlines()
        self.assertEqual(len(expected), len(lines), result.stdout + result.stderr)
        for beginning, line in zip(expected, lines):
            self.assertEqual(beginning, line[:len(beginning)])
        self.assertEqual(1 if expected else 0, result.returncode)

    def test_clean_tree_passes(self):
        self.write("src/app/counter.h", CLEAN_HEADER)
        self.write("src/app/counter.cpp", CLEAN_SOURCE)
        self.assert_faults()

    def test_every_kind_of_name_is_checked(self):
        self.write("device/head/head.cpp", "\n".join([
            "class counter {};",
            "class Head {",
            " public:",
            "  void Turn(int fast_speed);",
            " private:",
            "  int speed_ = 0;",
            "  static int instances;",
            "};",
            "enum Corner { lowLeft };",
            "enum class State { Idle };",
            "int openWindows = 0;",
            "constexpr int kPause = 5;",
            "int add_all(int count) {",
            "  const int LimitOfAll = 3;",
            "  constexpr int most = 7;",
            "  return count + LimitOfAll + most;",
            "}",
            ""]))
        wrong = {"1:7": "class 'counter'", "4:8": "method 'Turn'", "4:17": "parameter 'fast_speed'",
                 "6:7": "member 'speed_'", "7:14": "class member 'instances'",
                 "9:15": "enum constant 'lowLeft'", "10:20": "scoped enum constant 'Idle'",
                 "11:5": "global variable 'openWindows'", "12:15": "constexpr variable 'kPause'",
                 "13:5": "function 'add_all'", "14:13": "local constant 'LimitOfAll'",
                 "15:17": "constexpr variable 'most'"}
        self.assert_faults(*sorted(f"device/head/head.cpp:{place}: invalid case style for {what} "
                                   for place, what in wrong.items()))

    def test_names_of_static_data_and_of_constants_are_checked_wherever_they_stand(self):
        self.write("platform/memory/clock.cpp", "\n".join([
            "struct Hour {",
            "  Hour();",
            "  int number;",
            "};",
            "const Hour s_noon;",
            "const Hour MIDNIGHT;",
            "int next() {",
            "  static int last = 0;",
            "  static int s_first = 0;",
            "  static const Hour none;",
            "  static const Hour NOON;",
            "  return ++last + s_first + none.number + NOON.number + s_noon.number + MIDNIGHT.number;",
            "}",
            ""]))
        self.assert_faults(
            "platform/memory/clock.cpp:10:21: invalid case style for static constant 'none'",
            "platform/memory/clock.cpp:5:12: invalid case style for global constant 's_noon'",
            "platform/memory/clock.cpp:8:14: invalid case style for static variable 'last'")

    def test_owners_and_the_platform_in_memory_are_checked_too(self):
        self.write("platform/owners.h", "#pragma once\ninline int First() { return 1; }\n")
        self.write("platform/memory/log.h", "#pragma once\ninline int Second() { return 2; }\n")
        self.write("platform/memory/log.cpp", '#include "memory/log.h"\n'
                                              '#include "platform/owners.h"\n')
        self.assert_faults("platform/memory/log.h:2:12: invalid case style for function 'Second'",
                           "platform/owners.h:2:12: invalid case style for function 'First'")

    def test_branch_without_braces_is_a_fault(self):
        self.write("fuzz/input.cpp", "int half(int number) {\n"
                                     "  if (number < 0) return 0;\n"
                                     "  return number / 2;\n"
                                     "}\n")
        self.assert_faults("fuzz/input.cpp:2:18: statement should be inside braces")

    def test_header_is_checked_with_the_source_that_includes_it(self):
        self.write("src/app/counter.h", CLEAN_HEADER.replace("count = 0", "count_ = 0")
                                                    .replace("return count;", "return count_;"))
        self.write("src/app/counter.cpp", '#include "app/counter.h"\n')
        self.assert_faults("src/app/counter.h:15:7: invalid case style")

    def test_headers_of_libraries_and_of_the_device_have_names_of_their_own(self):
        self.write("platform/include/gm.h", "int gm_Clip(int Subject_Count);\n")
        self.write("src/main.cpp", "#include <gm.h>\n#include <jansson.h>\n\n"
                                   "int main() { return gm_Clip(1); }\n")
        self.assert_faults()

    def test_each_source_of_a_folder_is_checked_whatever_the_others_are_called(self):
        # The same names, used inside and outside of the unnamed namespaces.
        for name in ("first", "second", "third"):
            self.write(f"tests/src/app/{name}_test.cpp", "\n".join([
                "namespace {",
                "",
                "constexpr int PAUSE = 5;",
                "struct Clock {",
                "  int time_of_day = PAUSE;",
                "};",
                "Clock clockOf(Clock clock) { return clock; }",
                "",
                "}  // namespace",
                "",
                f"int {name}() {{ return clockOf(Clock()).time_of_day + PAUSE; }}",
                "int main() { return 0; }",
                ""]))
        self.assert_faults("tests/src/app/first_test.cpp:5:7: invalid case style",
                           "tests/src/app/second_test.cpp:5:7: invalid case style",
                           "tests/src/app/third_test.cpp:5:7: invalid case style")

    def test_sources_that_only_clang_sees_to_disagree_are_checked_one_by_one(self):
        for name in ("First", "Second"):
            self.write(f"src/ptz/{name.lower()}.cpp", "static int pause() { return 1; }\n"
                                                      f"int {name}() {{ return pause(); }}\n")
        self.assert_faults("src/ptz/first.cpp:2:5: invalid case style for function 'First'",
                           "src/ptz/second.cpp:2:5: invalid case style for function 'Second'")

    def test_source_that_clang_does_not_understand_is_a_fault(self):
        self.write("src/ptz/first.cpp", "int first() { return 1; }\n")
        self.write("src/ptz/second.cpp", "int second();\ndouble second();\n")
        self.assert_faults("src/ptz/second.cpp:2:8: functions that differ only in their return type")

    def test_missing_header_of_ours_is_a_fault(self):
        self.write("src/ptz/second.cpp", '\n#include "ptz/second.h"\n')
        self.assert_faults("src/ptz/second.cpp:2:10: 'ptz/second.h' file not found")

    def test_source_for_a_library_that_is_not_here_is_passed_over_and_said_to_be(self):
        self.write("bench/other_verdicts.cpp", "#include <other/library.hpp>\n")
        self.write("bench/verdicts.cpp", "int Verdict() { return 1; }\n")
        result = self.check()
        self.assertEqual("check-style: bench/other_verdicts.cpp is passed over: no other/library.hpp on "
                         "this machine\n", result.stderr)
        self.assertIn("bench/verdicts.cpp:1:5: invalid case style", result.stdout)
        self.assertEqual(1, result.returncode)

    def test_names_of_tests_are_checked(self):
        self.write("tests/base/units_test.cpp", "#include <gtest/gtest.h>\n\n"
                                                "TEST(UnitsTest, TurnsSeconds) {}\n"
                                                "TEST(UnitsTest, turns_minutes) {}\n"
                                                "TEST(unitsTest, TurnsHours) {}\n")
        self.assert_faults("tests/base/units_test.cpp:4: the names of tests are in CamelCase",
                           "tests/base/units_test.cpp:5: the names of tests are in CamelCase")

    def test_what_glib_hands_out_has_its_owners_in_one_place(self):
        self.write("device/report/name.cpp", "#include <glib.h>\n"
                                             "#include <memory>\n"
                                             "std::unique_ptr<char, decltype(&g_free)> name() {\n"
                                             "  return {g_strdup(\"\"), g_free};\n"
                                             "}\n")
        self.assert_faults("device/report/name.cpp:3: what GLib hands out has its owners in base/glib_ptr.h")


if __name__ == "__main__":
    unittest.main()
