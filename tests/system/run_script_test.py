"""What script/run promises beside the following itself."""

import json
import pathlib
import subprocess
import tempfile

from namespace import REPOSITORY
from run_script import RunTest

CONFIGURATIONS = REPOSITORY / "device" / "models" / "configurations"

BUILD = """rule touch
  command = touch $out
build sentrelvideo: touch
build virtual_device: touch
build video_scene_subscriber: touch
"""


class RunScriptTest(RunTest):
    def test_second_start_with_the_same_state_does_not_tune_again(self):
        first = self.start()
        first.wait_for_state("running")
        first.interrupt()
        self.assertEqual(0, first.wait(), first.text())
        self.assertIn("autotuning", first.states())
        kept = {path.name: (path.read_bytes(), path.stat().st_mtime_ns)
                for path in self.state.iterdir()}
        self.assertEqual({"config.json", "sentrelvideo.json"}, set(kept))

        second = self.start()
        second.wait_for_state("running")
        second.interrupt()
        self.assertEqual(0, second.wait(), second.text())
        self.assertNotIn("autotuning", second.states())
        self.assertEqual(kept, {path.name: (path.read_bytes(), path.stat().st_mtime_ns)
                                for path in self.state.iterdir()})

    def test_interrupt_ends_all_in_order_and_writes_the_report(self):
        run = self.start()
        run.wait_for_state("connecting", "autotuning")
        run.interrupt()
        self.assertEqual(0, run.wait(), run.text())
        self.assertIn("The daemon ended with status 0", run.text())
        self.assertEqual("perfect", self.read_report()["model"])

    def test_new_state_folder_is_given_settings_that_switch_tracking_on(self):
        self.run_for(2)
        settings = (self.state / "sentrelvideo.json").read_text(encoding="utf-8")
        self.assertIn('"sentrel_enabled":true', settings)
        self.assertIn('"return_to_home_enabled":true', settings)

    def test_building_is_not_told_when_there_is_nothing_to_build(self):
        self.run_for(1)  # whatever there was to build is built
        self.assertNotIn("building", self.run_for(1).text())

    def test_building_is_told_once_and_before_it_ends(self):
        # A build of its own, in which only touching files is work.
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "build.ninja").write_text(BUILD, encoding="utf-8")
            self.assertEqual(1, self.output_with(folder).count("run: building in "))
            self.assertEqual(0, self.output_with(folder).count("run: building in "))
            pathlib.Path(folder, "sentrelvideo").unlink()
            self.assertEqual(1, self.output_with(folder).count("run: building in "))

    def test_build_that_fails_is_told_with_its_reason(self):
        with tempfile.TemporaryDirectory() as folder:
            broken = BUILD.replace("touch $out", "echo the reason && false")
            pathlib.Path(folder, "build.ninja").write_text(broken, encoding="utf-8")
            result = self.run_with(folder)
            self.assertEqual(1, result.returncode)
            self.assertIn("the reason", result.stderr)

    def run_with(self, build):
        """Of a build in which the programs are empty files, so that nothing can be started."""
        command = [REPOSITORY / "script" / "run", "--build", build, "--state", self.state]
        return subprocess.run(command, capture_output=True, text=True)

    def output_with(self, build):
        return self.run_with(build).stdout

    def test_model_file_elsewhere_stands_on_a_model_of_the_repository(self):
        own = self.write_model({"base": "compass", "head": {"product": "OWN-100"}})
        self.assertNotIn("unable to open", self.run_for(2, "--model", own).text())
        self.assertEqual("own", self.read_report()["model"])
        # The daemon's own default: no configuration stands beside the file.
        self.assertEqual([True, False, False, False], self.active_cameras())

    def test_model_file_elsewhere_has_the_configuration_beside_it(self):
        own = self.write_model({"base": "compass", "head": {"product": "OWN-100"}})
        beside = own.parent / "configurations" / own.name
        beside.parent.mkdir()
        document = json.loads((CONFIGURATIONS / "compass.json").read_text(encoding="utf-8"))
        document["params"]["cameras"][0]["active"] = False
        beside.write_text(json.dumps(document), encoding="utf-8")
        self.run_for(2, "--model", own)
        self.assertEqual([False, True, True, True], self.active_cameras())

    def write_model(self, model):
        path = self.folder / "models" / "own.json"
        path.parent.mkdir()
        path.write_text(json.dumps(model), encoding="utf-8")
        return path

    def active_cameras(self):
        stored = json.loads((self.state / "config.json").read_text(encoding="utf-8"))
        return [camera["active"] for camera in stored["params"]["cameras"]]

    def test_unknown_option_is_refused(self):
        result = subprocess.run([REPOSITORY / "script" / "run", "--no-such-option"],
                                capture_output=True, text=True)
        self.assertEqual(2, result.returncode)
        self.assertIn("--no-such-option", result.stderr)
