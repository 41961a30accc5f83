"""The daemon for a device needs the device's libraries by name; nothing is left of where they lay here."""

import os
import pathlib
import shlex
import subprocess
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
LIBRARIES = ("confutils", "fixmath", "geometry", "glib-utils", "ovevent", "ovhttp", "ovparameter",
             "ptzmath", "ptztolva", "scene")


class DeviceLinkTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.platform = self.folder / "sysroot" / "usr" / "lib"
        self.platform.mkdir(parents=True)
        for name in LIBRARIES:
            (self.platform / f"lib{name}.so").touch()

    def configure(self):
        """Only looks for the libraries; nothing is built."""
        return subprocess.run(
            ["cmake", "--preset", "release", "-S", REPOSITORY, "-B", self.folder / "build",
             f"-DSENTREL_PLATFORM={self.folder / 'sysroot'}"],
            cwd=REPOSITORY, capture_output=True, text=True)

    def link_command(self):
        configured = self.configure()
        self.assertEqual(0, configured.returncode, configured.stderr)
        commands = subprocess.run(["ninja", "-C", self.folder / "build", "-t", "commands",
                                   "sentrelvideo"], capture_output=True, text=True, check=True)
        return shlex.split(commands.stdout.splitlines()[-1])

    def test_every_library_is_the_devices_and_its_folder_is_not_left_in_the_program(self):
        words = self.link_command()
        self.assertIn("bin/sentrelvideo", words)
        linked = {os.path.basename(word) for word in words if word.startswith(str(self.platform))}
        linked |= {f"lib{word[2:]}.so" for word in words if word.startswith("-l")}
        self.assertLessEqual({f"lib{name}.so" for name in LIBRARIES}, linked)
        self.assertEqual([], [word for word in words if "-rpath," in word])

    def test_libraries_of_the_devices_libraries_are_found_beside_them(self):
        self.assertIn(f"-Wl,-rpath-link,{self.platform}", self.link_command())

    def test_library_that_the_device_lacks_is_named(self):
        (self.platform / "libscene.so").unlink()
        configured = self.configure()
        self.assertNotEqual(0, configured.returncode)
        self.assertIn("platform_scene", configured.stderr)


if __name__ == "__main__":
    unittest.main()
