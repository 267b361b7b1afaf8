#!/usr/bin/env python3
"""Compares the documents with the sources.

    manual_test.py

The manual pages must name every message, argument, option and type of finding that the programs have,
and no other. Links between the documents must lead somewhere, and the map of the code in
CONTRIBUTING.md must have every module and lead to rules that exist.
"""

import pathlib
import re
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENTS = [PROJECT / "README.md", PROJECT / "CONTRIBUTING.md", *PROJECT.glob("docs/*.md")]


def text_of(name):
    return (PROJECT / name).read_text(encoding="utf-8")


def modules():
    """The text of each module, header included, by its path in src/ without an ending."""
    texts = {}
    for path in [*PROJECT.glob("src/**/*.h"), *PROJECT.glob("src/**/*.cpp")]:
        name = str(path.relative_to(PROJECT / "src").with_suffix(""))
        texts[name] = texts.get(name, "") + path.read_text(encoding="utf-8")
    return texts


MODULES = modules()
MAP = text_of("CONTRIBUTING.md").split("\n## Map of the code\n", 1)[1]


def section(page, title):
    """The part of a manual page between the heading `title` and the next one."""
    _, rest = page.split(f'\n.S{"h" if title.isupper() else "s"} {title}\n', 1)
    return re.split(r"^\.S[hs] ", rest, maxsplit=1, flags=re.MULTILINE)[0]


def items(text, macro):
    """What the list items that begin with `macro` are about."""
    return re.findall(rf"^\.It {macro} ([\w-]+)", text, flags=re.MULTILINE)


class MigrationPageTest(unittest.TestCase):
    page = text_of("man/ldif-migrate.1")
    source = text_of("src/driver/diagnostics/messages.cpp")

    def test_it_has_every_message_with_its_severity(self):
        numbers = dict(re.findall(r"^ +(MESSAGE_\w+) = (\d{9}),", text_of(
            "src/driver/diagnostics/messages.h"), flags=re.MULTILINE))
        catalogue = re.findall(r"^ +\{(MESSAGE_\w+), (\w+),", self.source, flags=re.MULTILINE)
        self.assertEqual([name for name, _ in catalogue], list(numbers))
        explained = re.findall(r"^\.It (\d{9} .*)$", section(self.page, "DIAGNOSTICS"),
                               flags=re.MULTILINE)
        self.assertEqual(" , ".join(explained).split(" , "),
                         [f"{numbers[name]} {severity}" for name, severity in catalogue])

    def test_it_has_every_argument(self):
        usage = re.search(r'"usage: ldif-migrate (.*)\\n"', self.source).group(1)
        arguments = usage.replace("[", "").replace("]", "").split()
        self.assertEqual(items(section(self.page, "Arguments"), "Ar"), arguments)
        self.assertEqual(re.findall(r"Ar (\w+)", section(self.page, "SYNOPSIS")), arguments)


class CheckPageTest(unittest.TestCase):
    page = text_of("man/ldif-migrate-check.1")

    def test_it_has_every_option(self):
        names = re.findall(r'\{"(\w+)", (?:required|no)_argument,', text_of("src/check/main.cpp"))
        self.assertTrue(names)
        self.assertEqual(items(section(self.page, "Options"), "Fl"), [f"-{name}" for name in names])
        synopsis = section(self.page, "SYNOPSIS")
        for name in names:
            self.assertRegex(synopsis, rf"-{name}\b")

    def test_it_has_every_type_of_finding_by_severity(self):
        rows = re.findall(r'Severity::(\w+), "([a-z0-9-]+)"', text_of("src/check/findings.cpp"))
        severities = list(dict.fromkeys(severity for severity, _ in rows))
        headings = ["Errors", "Warnings", "Differences"]
        self.assertEqual(len(severities), len(headings))
        for severity, heading in zip(severities, headings):
            with self.subTest(heading):
                self.assertEqual(items(section(self.page, heading), "Cm"),
                                 [name for row_severity, name in rows if row_severity == severity])


class DocumentsTest(unittest.TestCase):
    def test_links_lead_to_files(self):
        for document in DOCUMENTS:
            for target in re.findall(r"\]\(([^)#]+)", document.read_text(encoding="utf-8")):
                with self.subTest(document=document.name, target=target):
                    self.assertTrue((document.parent / target).exists())

    def test_the_map_of_the_code_has_every_module_and_no_other(self):
        mapped = set(re.findall(r"`((?:driver|entry|ldif|cache|output|check)/[\w/]+)`", MAP))
        self.assertEqual(MODULES.keys() - mapped, set(), "missing in the map")
        self.assertEqual(mapped - MODULES.keys(), set(), "not in src/")

    def test_the_map_of_the_code_leads_to_every_rule(self):
        rows = re.findall(r"^\| (.+) \| `([\w/]+)` \| (`.+`) \|$", MAP, flags=re.MULTILINE)
        self.assertTrue(rows)
        for rule, module, names in rows:
            for name in re.findall(r"`(\w+)`", names):
                with self.subTest(rule):
                    self.assertTrue(re.search(rf"\b{name}\b", MODULES.get(module, "")),
                                    f"{module} has no {name}")


if __name__ == "__main__":
    unittest.main()
