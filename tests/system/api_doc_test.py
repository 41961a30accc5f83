"""The requests that docs/api.md shows work as they stand there."""

import json
import re
import subprocess

from journal import PATIENCE
from namespace import REPOSITORY
from run_script import RunTest
from web import Web

PAGE = REPOSITORY / "docs" / "api.md"
EXAMPLE = re.compile(r"^```sh\n(.*?)^```\n(?:\n```json\n(.*?)^```\n)?", re.DOTALL | re.MULTILINE)
HEADING = re.compile(r"^## (\w+)$", re.MULTILINE)
METHODS = ["getSupportedVersions", "getSentrel", "setSentrel", "getConfiguration",
           "setConfiguration", "getConfigurationCapabilities", "startVisualConfirmation",
           "stopVisualConfirmation", "sendAlarmEvent", "getFollowing"]
WRITTEN_ADDRESS = "http://127.0.0.1:8080/"


class ApiDocTest(RunTest):
    following = "predictive"  # of which one of the methods tells

    def test_every_request_of_the_page_gets_the_answer_that_the_page_shows(self):
        run = self.start("--port", "0")
        address = Web(run).address()
        run.wait_for_state("autotuning")  # from where on it identifies the head by prediction
        sections = HEADING.split(PAGE.read_text(encoding="utf-8"))[1:]
        shown = dict(zip(sections[::2], sections[1::2]))
        self.assertEqual(METHODS, list(shown))
        for method, text in shown.items():
            examples = EXAMPLE.findall(text)
            self.assertTrue(examples, method)
            for command, expected in examples:
                with self.subTest(method=method):
                    self.assertIn(WRITTEN_ADDRESS, command)
                    self.check(method, command.replace(WRITTEN_ADDRESS, address), expected)

    def check(self, method, command, expected):
        result = subprocess.run(["bash", "-c", command], capture_output=True, text=True,
                                timeout=PATIENCE)
        self.assertEqual(0, result.returncode, result.stderr)
        answer = json.loads(result.stdout)
        self.assertEqual(method, answer["method"])
        if expected:
            self.assertEqual(json.loads(expected), answer)
        else:
            self.assertIn("data", answer)
            self.assertTrue(answer["data"])
