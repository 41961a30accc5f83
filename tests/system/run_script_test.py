"""What script/run promises beside the following itself."""

import subprocess

from namespace import REPOSITORY
from run_script import RunTest


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
        run.wait_for_state("connecting")
        run.interrupt()
        self.assertEqual(0, run.wait(), run.text())
        self.assertIn("The daemon ended with status 0", run.text())
        self.assertEqual("default", self.read_report()["model"])

    def test_new_state_folder_is_given_settings_that_switch_tracking_on(self):
        self.run_for(2)
        settings = (self.state / "sentrelvideo.json").read_text(encoding="utf-8")
        self.assertIn('"sentrel_enabled":true', settings)
        self.assertIn('"return_to_home_enabled":true', settings)

    def test_unknown_option_is_refused(self):
        result = subprocess.run([REPOSITORY / "script" / "run", "--no-such-option"],
                                capture_output=True, text=True)
        self.assertEqual(2, result.returncode)
        self.assertIn("--no-such-option", result.stderr)
