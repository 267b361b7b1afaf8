#!/usr/bin/env python3
"""Makes the Debian package in a temporary folder and looks into it.

    package_test.py CPACK BUILD_FOLDER VERSION

The programs in BUILD_FOLDER must have been built.
"""

import gzip
import pathlib
import platform
import shutil
import subprocess
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from lib.testcase import REPOSITORY, make_folder  # noqa: E402

PROGRAMS = ["ldif-migrate", "ldif-migrate-check"]
DOCUMENTS = "./usr/share/doc/ldif-migrate/"
FOLDERS = {"./usr/", "./usr/bin/", "./usr/share/", "./usr/share/bash-completion/",
           "./usr/share/bash-completion/completions/", "./usr/share/doc/", DOCUMENTS,
           DOCUMENTS + "docs/", DOCUMENTS + "examples/", "./usr/share/man/",
           "./usr/share/man/man1/"}
FILES = {DOCUMENTS + name for name in (
    "README.md", "changelog.Debian.gz", "copyright", "docs/guide.md", "docs/performance.md",
    "examples/broken.ldif", "examples/export.ldif", "examples/migrated.ldif")}


def output_of(*command):
    return subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          encoding="utf-8").stdout


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = make_folder(cls)
        # What the maker of the package hides from others must not be hidden in the package.
        subprocess.run([CPACK, "--config", BUILD_FOLDER / "CPackConfig.cmake", "-B", cls.folder],
                       check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, umask=0o077)
        [cls.package] = cls.folder.glob("*.deb")
        cls.tree = cls.folder / "tree"
        subprocess.run(["dpkg-deb", "--extract", cls.package, cls.tree], check=True)

    def field(self, name):
        return output_of("dpkg-deb", "--field", self.package, name).strip()

    def test_it_holds_what_belongs_there_with_the_right_modes(self):
        expected = {name: "drwxr-xr-x" for name in FOLDERS}
        expected |= {name: "-rw-r--r--" for name in FILES}
        for program in PROGRAMS:
            expected[f"./usr/bin/{program}"] = "-rwxr-xr-x"
            expected[f"./usr/share/bash-completion/completions/{program}"] = "-rw-r--r--"
            expected[f"./usr/share/man/man1/{program}.1.gz"] = "-rw-r--r--"
        found = {}
        for line in output_of("dpkg-deb", "--contents", self.package).splitlines():
            mode, owner, _, _, _, name = line.split(maxsplit=5)
            found[name] = mode
            self.assertEqual(owner, "root/root", name)
        self.assertEqual(found, expected)

    def test_it_has_the_version_of_the_project(self):
        self.assertEqual(self.field("Version").rsplit("-", 1)[0], VERSION)
        changelog = gzip.open(self.tree / DOCUMENTS / "changelog.Debian.gz", "rt").readline()
        self.assertTrue(changelog.startswith(f"ldif-migrate ({self.field('Version')}) "), changelog)

    def test_it_depends_on_the_standard_library_alone(self):
        names = {dependency.split()[0] for dependency in self.field("Depends").split(", ")}
        self.assertEqual(names, {"libc6", "libgcc-s1", "libstdc++6"})

    def test_its_manual_pages_are_those_of_the_project(self):
        for program in PROGRAMS:
            page = self.tree / f"usr/share/man/man1/{program}.1.gz"
            self.assertEqual(gzip.decompress(page.read_bytes()),
                             (REPOSITORY / f"man/{program}.1").read_bytes())

    def test_its_program_migrates_its_example(self):
        examples = self.tree / DOCUMENTS / "examples"
        migrated = self.folder / "migrated.ldif"
        output_of(self.tree / "usr/bin/ldif-migrate", examples / "export.ldif", migrated, "5", "5")
        self.assertEqual(migrated.read_bytes(), (examples / "migrated.ldif").read_bytes())

    def elf(self, program, *options):
        return output_of("readelf", "--wide", *options, self.tree / "usr/bin" / program)

    def test_its_programs_cannot_be_loaded_at_a_known_address(self):
        for program in PROGRAMS:
            self.assertRegex(self.elf(program, "--file-header"), r"Type: +DYN ")
            self.assertRegex(self.elf(program, "--dynamic"), r"\(FLAGS_1\).* PIE\b")

    def test_what_its_programs_call_cannot_be_redirected(self):
        for program in PROGRAMS:
            self.assertIn("GNU_RELRO", self.elf(program, "--program-headers"))
            self.assertRegex(self.elf(program, "--dynamic"), r"\(FLAGS\).* BIND_NOW\b")

    def test_its_programs_notice_writes_and_accesses_beyond_a_buffer(self):
        for program in PROGRAMS:
            symbols = self.elf(program, "--dyn-syms")
            self.assertIn(" __stack_chk_fail@", symbols)
            self.assertRegex(symbols, r" __\w+_chk@")
            self.assertIn("__glibcxx_assert_fail", symbols)

    @unittest.skipUnless(platform.machine() == "x86_64", "another processor")
    def test_its_programs_mark_where_indirect_jumps_may_end(self):
        for program in PROGRAMS:
            code = output_of("objdump", "--disassemble", self.tree / "usr/bin" / program)
            self.assertGreater(code.count("endbr64"), 100)

    @unittest.skipUnless(shutil.which("lintian"), "lintian is not installed")
    def test_lintian_is_silent(self):
        checked = subprocess.run(["lintian", "--cfg", REPOSITORY / "packaging/lintianrc",
                                  "--allow-root", "--fail-on", "error,warning,info", self.package],
                                 check=False, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                 stderr=subprocess.STDOUT, encoding="utf-8")
        self.assertEqual((checked.returncode, checked.stdout), (0, ""))


if __name__ == "__main__":
    CPACK, BUILD_FOLDER, VERSION = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
    unittest.main(argv=sys.argv[:1])
