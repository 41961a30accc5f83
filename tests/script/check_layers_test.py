"""check-layers finds what it is there for, each fault in a small tree of its own."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "script" / "check-layers"


class CheckLayersTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.write("src/app/clock.h", "#include <string>\n")
        self.write("src/app/clock.cpp", '#include "app/clock.h"\n\n#include <vector>\n')
        self.write("src/ptz/pid.h", '#include "app/clock.h"\n')
        self.write("src/ptz/pid.cpp", '#include "ptz/pid.h"\n')
        self.write("src/main.cpp", '#include <gm.h>\n\n#include "ptz/pid.h"\n')
        self.write("platform/include/gm.h", "")
        self.write("platform/host/scene/encoder.h", "")
        self.write("device/head/head.h", "")

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def check(self):
        result = subprocess.run([sys.executable, CHECK, self.root], capture_output=True, text=True)
        return result.returncode, result.stdout

    def assert_fault(self, line):
        self.assertEqual((1, line + "\n"), self.check())

    def test_clean_tree_passes(self):
        self.assertEqual((0, ""), self.check())

    def test_lower_folder_may_not_include_a_higher_one(self):
        self.write("src/app/clock.h", '#include "ptz/pid.h"\n')
        self.assert_fault("src/app/clock.h:1: app is below ptz and may not include ptz/pid.h")

    def test_nobody_includes_the_main_program(self):
        self.write("src/ptz/pid.h", '\n#include "main.cpp"\n')
        self.assert_fault("src/ptz/pid.h:2: ptz is below main.cpp and may not include main.cpp")

    def test_include_has_to_be_written_from_the_source_folder(self):
        self.write("src/ptz/pid.cpp", '#include "ptz/pid.h"\n#include "pid.h"\n')
        self.assert_fault("src/ptz/pid.cpp:2: pid.h is not a file below src")

    def test_own_header_comes_first(self):
        self.write("src/ptz/pid.cpp", '#include "app/clock.h"\n#include "ptz/pid.h"\n')
        self.assert_fault("src/ptz/pid.cpp:1: the first include has to be ptz/pid.h")

    def test_source_without_an_include_is_a_fault(self):
        self.write("src/ptz/pid.cpp", "int x;\n")
        self.assert_fault("src/ptz/pid.cpp:1: the first include has to be ptz/pid.h")

    def test_headers_of_the_host_libraries_are_out_of_reach(self):
        self.write("src/main.cpp", '#include "scene/encoder.h"\n')
        self.assert_fault("src/main.cpp:1: scene/encoder.h is not of src")

    def test_headers_of_the_device_are_out_of_reach_in_angle_brackets_too(self):
        self.write("src/main.cpp", "#include <head/head.h>\n")
        self.assert_fault("src/main.cpp:1: head/head.h is not of src")

    def test_platform_header_wins_over_one_of_the_host_of_the_same_name(self):
        self.write("platform/host/geometry/gm.h", "")
        self.assertEqual((0, ""), self.check())

    def test_new_folder_has_to_be_given_its_place(self):
        self.write("src/extra/thing.h", "")
        self.assert_fault("src/extra/thing.h:1: extra has no place in the order of folders")

    def test_files_that_include_each_other_are_a_fault(self):
        self.write("src/ptz/regulator.h", '#include "ptz/pid.h"\n')
        self.write("src/ptz/pid.cpp", '#include "ptz/pid.h"\n#include "ptz/regulator.h"\n')
        self.assert_fault("src/ptz/pid.h:1: files include each other: "
                          "ptz/pid -> ptz/regulator -> ptz/pid")

    def test_cycle_over_three_files_is_told_once(self):
        self.write("src/ptz/a.h", '#include "ptz/b.h"\n')
        self.write("src/ptz/b.h", '#include "ptz/c.h"\n')
        self.write("src/ptz/c.h", '#include "ptz/a.h"\n')
        self.assert_fault("src/ptz/a.h:1: files include each other: "
                          "ptz/a -> ptz/b -> ptz/c -> ptz/a")

    def test_header_that_its_own_source_includes_is_no_cycle(self):
        self.write("src/ptz/pid.cpp", '#include "ptz/pid.h"\n')
        self.assertEqual((0, ""), self.check())

    def test_every_tree_stands_on_the_floor(self):
        self.write("base/glib_ptr.h", "")
        for user in ("src/ptz/pid.h", "platform/host/scene/encoder.h", "device/head/head.h"):
            self.write(user, '#include "base/glib_ptr.h"\n')
        self.assertEqual((0, ""), self.check())

    def test_floor_stands_on_nothing_of_the_house(self):
        self.write("base/glib_ptr.h", '#include "app/clock.h"\n')
        self.assert_fault("base/glib_ptr.h:1: app/clock.h is not of base")

    def test_floor_does_not_know_the_device(self):
        self.write("base/glib_ptr.h", "#include <gm.h>\n")
        self.write("platform/host/geometry/gm.h", "")
        self.assert_fault("base/glib_ptr.h:1: gm.h is not of base")

    def test_every_tree_may_own_what_the_contract_hands_out(self):
        self.write("platform/owners.h", "#include <gm.h>\n")
        for user in ("src/ptz/pid.h", "platform/host/scene/encoder.h", "device/head/head.h"):
            self.write(user, '#include "platform/owners.h"\n')
        self.assertEqual((0, ""), self.check())

    def test_floor_owns_nothing_of_the_contract(self):
        self.write("platform/owners.h", "#include <gm.h>\n")
        self.write("base/glib_ptr.h", '#include "platform/owners.h"\n')
        self.assert_fault("base/glib_ptr.h:1: platform/owners.h is not of base")

    def test_device_has_an_order_of_folders_too(self):
        self.write("device/services/lens.h", "")
        self.write("device/head/head.h", '#include "services/lens.h"\n')
        self.assert_fault("device/head/head.h:1: head is below services and may not include "
                          "services/lens.h")

    def test_libraries_of_the_host_have_one_too(self):
        self.write("platform/host/ovevent/event.h", "")
        self.write("platform/host/bus/client.h", '#include "ovevent/event.h"\n')
        self.assert_fault("platform/host/bus/client.h:1: bus is below ovevent and may not include "
                          "ovevent/event.h")

    def test_device_knows_nothing_of_the_daemon(self):
        self.write("device/head/head.h", '#include "ptz/pid.h"\n')
        self.assert_fault("device/head/head.h:1: ptz/pid.h is not of device")

    def test_device_shares_the_wire_with_the_libraries_and_nothing_else(self):
        self.write("platform/host/ovhttp/wire.h", "")
        self.write("device/head/head.h", '#include "ovhttp/wire.h"\n')
        self.assertEqual((0, ""), self.check())
        self.write("device/head/head.h", '#include "scene/encoder.h"\n')
        self.assert_fault("device/head/head.h:1: scene/encoder.h is not of device")

    def test_parts_of_the_pack_have_an_order_of_their_own(self):
        pack = "addon/libs/vigil_pack_lib"
        self.write(f"src/{pack}/filters/swaying.h", "")
        self.write(f"src/{pack}/factory/kinds.h", f'#include "{pack}/filters/swaying.h"\n')
        self.assertEqual((0, ""), self.check())
        self.write(f"src/{pack}/profile/kinds.h", f'#include "{pack}/filters/swaying.h"\n')
        self.assert_fault(f"src/{pack}/profile/kinds.h:1: {pack}/profile is below {pack}/filters and may "
                          f"not include {pack}/filters/swaying.h")

    def test_new_part_of_the_pack_has_to_be_given_its_place(self):
        self.write("src/addon/libs/vigil_pack_lib/extra/thing.h", "")
        self.assert_fault("src/addon/libs/vigil_pack_lib/extra/thing.h:1: "
                          "addon/libs/vigil_pack_lib/extra has no place in the order of folders")

    def test_owners_know_nothing_but_the_contract_and_the_floor(self):
        self.write("platform/owners.h", "#include <gm.h>\n")
        self.assertEqual((0, ""), self.check())
        for name in ("scene/encoder.h", "head/head.h", "ptz/pid.h"):
            self.write("platform/owners.h", f'#include "{name}"\n')
            self.assert_fault(f"platform/owners.h:1: {name} is not of platform")

    def test_product_knows_nothing_of_what_tries_it(self):
        for name in ("tests/fakes/fake_clock.h", "fuzz/input.h", "bench/case.h"):
            self.write(name, "")
        for user, tree in (("src/ptz/pid.h", "src"), ("device/head/head.h", "device"),
                           ("platform/host/scene/encoder.h", "platform/host")):
            for name in ("fakes/fake_clock.h", "fuzz/input.h", "bench/case.h"):
                self.write(user, f'#include "{name}"\n')
                self.assert_fault(f"{user}:1: {name} is not of {tree}")
            self.write(user, "")

    def test_what_tries_the_product_may_name_all_of_it_and_the_fakes(self):
        self.write("tests/fakes/fake_clock.h", '#include "app/clock.h"\n')
        for user in ("tests/src/ptz/pid_test.cpp", "fuzz/input.cpp", "bench/case.cpp"):
            self.write(user, '#include "fakes/fake_clock.h"\n#include "ptz/pid.h"\n'
                             '#include "scene/encoder.h"\n#include "head/head.h"\n')
        self.assertEqual((0, ""), self.check())

    def test_fuzz_targets_and_benchmarks_know_no_tests_and_not_each_other(self):
        self.write("tests/src/ptz/moves.h", "")
        self.write("fuzz/input.h", "")
        self.write("bench/score/job.h", '#include "src/ptz/moves.h"\n')
        self.assert_fault("bench/score/job.h:1: src/ptz/moves.h is not of bench")
        self.write("bench/score/job.h", '#include "fuzz/input.h"\n')
        self.assert_fault("bench/score/job.h:1: fuzz/input.h is not of bench")

    def test_what_tests_share_is_below_them(self):
        self.write("tests/device/source_folder.h", "")
        self.write("tests/fakes/fake_head.h", '#include "device/source_folder.h"\n')
        self.assert_fault("tests/fakes/fake_head.h:1: fakes is below device and may not include "
                          "device/source_folder.h")

    def test_source_of_a_test_has_its_header_first_too(self):
        self.write("tests/src/ptz/trial.h", "")
        self.write("tests/src/ptz/trial.cpp", '#include "ptz/trial.h"\n')
        self.assertEqual((0, ""), self.check())
        self.write("tests/src/ptz/trial.cpp", '#include "ptz/pid.h"\n#include "ptz/trial.h"\n')
        self.assert_fault("tests/src/ptz/trial.cpp:1: the first include has to be src/ptz/trial.h")

    def test_files_of_the_score_that_include_each_other_are_a_fault(self):
        self.write("bench/score/job.h", '#include "score/daemon.h"\n')
        self.write("bench/score/daemon.h", '#include "score/job.h"\n')
        self.assert_fault("bench/score/daemon.h:1: files include each other: "
                          "score/daemon -> score/job -> score/daemon")

    def test_folder_without_sources_is_an_error(self):
        with tempfile.TemporaryDirectory() as empty:
            result = subprocess.run([sys.executable, CHECK, empty], capture_output=True)
        self.assertEqual(2, result.returncode)


if __name__ == "__main__":
    unittest.main()
