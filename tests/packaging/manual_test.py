#!/usr/bin/env python3
"""Compares what is told of the program in two places, word for word.

    manual_test.py

The manual page is all that an administrator has beside an installed program, and README.md all that
somebody reads who has not installed it. Letter case, quotes and punctuation may differ.
"""

import difflib
import html
import pathlib
import re
import subprocess
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
README = (PROJECT / "README.md").read_text(encoding="utf-8")
MESSAGES = (PROJECT / "src/driver/diagnostics/messages.h").read_text(encoding="utf-8")
FINDINGS = (PROJECT / "src/check/findings.cpp").read_text(encoding="utf-8")

# Sections of the manual page, and what the same part of README.md begins with and ends before.
PARTS = {
    "Arguments": ("| `INPUT` | the export", "\n\n**Environment.**"),
    "What the output holds": ("The output holds, in this order", "\n## Usage"),
    "Progress": ("When standard error is a terminal", "\n\n**Exit status.**"),
    "ENVIRONMENT": ("When `DEBUG_ERROR` is set", "\n\n**Progress.**"),
    "EXIT STATUS": ("0 when the run came to its end", "\n\n**Files.**"),
    "FILES": ("Besides the output the program", "\n## Check before"),
    "DIAGNOSTICS": ("Errors and warnings go to", "\n## What is dropped"),
    "What is dropped, on purpose": ("- Comments, and the folding", "\n## Limits"),
    "Limits": ("- Object classes are recognised", "\n## Map of the code"),
}


def sections_of_page(name):
    rendered = subprocess.run(["mandoc", "-T", "html", PROJECT / "man" / name], check=True,
                              stdout=subprocess.PIPE, encoding="utf-8").stdout
    content, _ = rendered.split('<table class="foot">')
    _, *pieces = re.split(r"<h[12]\b[^>]*>(.*?)</h[12]>", content, flags=re.DOTALL)
    return {" ".join(without_tags(title).split()): without_tags(text)
            for title, text in zip(pieces[::2], pieces[1::2])}


def without_tags(text):
    return html.unescape(re.sub(r"<[^>]*>", " ", text))


def part_of_readme(start, end):
    return start + README.split(start, 1)[1].split(end, 1)[0]


def words(text):
    stripped = (word.strip("*`|-.,:;()\"“”‘’").lower() for word in text.split())
    return [word for word in stripped if word]


def without_table_frames(text):
    """Of a Markdown table, the rows below the headings; a notice needs nothing done."""
    return re.sub(r"^\|.*\n\|[-|]+$|\| nothing \|$", "", text, flags=re.MULTILINE)


class ManualTest(unittest.TestCase):
    def setUp(self):
        self.page = sections_of_page("ldif-migrate.1")

    def test_manual_page_and_readme_say_the_same(self):
        for section, (start, end) in PARTS.items():
            with self.subTest(section):
                readme = without_table_frames(part_of_readme(start, end))
                differences = difflib.unified_diff(words(readme), words(self.page[section]),
                                                   "README.md", "manual page", lineterm="")
                self.assertEqual("\n".join(differences), "")

    def test_every_message_is_explained(self):
        numbers = re.findall(r"^    MESSAGE_\w+ = (\d+),", MESSAGES, flags=re.MULTILINE)
        self.assertTrue(numbers)
        rows = re.findall(r"^\| (\d{9}(?:, \d{9})*) \|", README, flags=re.MULTILINE)
        self.assertEqual(", ".join(rows).split(", "), numbers)

    def test_every_kind_of_finding_is_explained(self):
        table = FINDINGS.split("texts = {{", 1)[1].split("}};", 1)[0]
        kinds = re.findall(r'"([^"]+)",\s*"([^"]+)",\s*"([^"]+)"\}', table)
        self.assertEqual(len(kinds), table.count("{Kind::"))
        page = words(" ".join(sections_of_page("ldif-migrate-check.1").values()))
        text = f" {' '.join(page)} "
        for identifier, title, repair in kinds:
            with self.subTest(identifier):
                self.assertIn(f" {' '.join(words(f'{identifier} {title}'))} ", text)
                # Of an output nothing is repaired: it is not loaded.
                if not repair.startswith("do not load"):
                    self.assertIn(f" {' '.join(words(repair))} ", text)


if __name__ == "__main__":
    unittest.main()
