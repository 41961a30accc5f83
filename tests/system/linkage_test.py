"""The daemon takes the platform from the libraries of the device and from nowhere else."""

import os
import pathlib
import re
import subprocess
import unittest

PLATFORM = {"libovevent", "libovparameter", "libovhttp", "libscene", "libptztolva", "libptzmath",
            "libfixmath", "libgeometry", "libconfutils", "libglib-utils"}
SYSTEM = {"libjansson", "libglib-2.0", "libgobject-2.0", "libgio-2.0", "libgmodule-2.0",
          "libstdc++", "libgcc_s", "libm", "libc", "ld-linux-x86-64", "ld-linux-aarch64",
          "libasan", "libubsan", "libtsan"}
DEFINED = "TDRB"  # functions and data


def tool(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def stem(library):
    return library.split(".so")[0]


def symbols(path, *options):
    """Name to kind; C++ names, which no interface of the platform has, are left out."""
    lines = [line.split() for line in tool("nm", *options, str(path)).splitlines()]
    return {words[-1].split("@")[0]: words[-2] for words in lines
            if len(words) >= 2 and not words[-1].startswith("_")}


def offered_by(library):
    """What a library is there for; its kinds of symbols are those of nm."""
    return {name for name, kind in symbols(library, "-D").items() if kind in DEFINED}


class LinkageTest(unittest.TestCase):
    def setUp(self):
        self.build = pathlib.Path(os.environ["SENTREL_BUILD"])
        self.daemon = self.build / "bin" / "sentrelvideo"
        needed = re.findall(r"\(NEEDED\).*\[(.*)\]", tool("readelf", "--dynamic", self.daemon))
        self.needed = {stem(library) for library in needed}
        self.host = {stem(path.name): path for path in (self.build / "lib").glob("lib*.so")}

    def test_only_the_named_libraries_and_those_of_the_system_are_needed(self):
        self.assertLessEqual(self.needed, PLATFORM | SYSTEM)
        self.assertTrue(self.needed & PLATFORM)

    def test_everything_that_is_loaded_is_found(self):
        environment = {**os.environ, "LD_LIBRARY_PATH": str(self.build / "lib")}
        output = subprocess.run(["ldd", self.daemon], capture_output=True, text=True, check=True,
                                env=environment).stdout
        self.assertNotIn("not found", output)

    def test_every_named_library_exists(self):
        self.assertLessEqual(PLATFORM, set(self.host))

    def test_what_is_used_of_the_platform_comes_from_the_named_libraries(self):
        wanted = {name for name, kind in symbols(self.daemon, "-D").items() if kind == "U"}
        sources = {name for name, library in self.host.items() if wanted & offered_by(library)}
        self.assertEqual(self.needed & PLATFORM, sources)

    def test_daemon_holds_no_copy_of_the_platform(self):
        own = {name for name, kind in symbols(self.daemon).items() if kind.upper() in DEFINED}
        for library in PLATFORM:
            offered = offered_by(self.host[library])
            self.assertTrue(offered, library)
            self.assertFalse(offered & own, library)
