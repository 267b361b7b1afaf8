"""Showing bytes and how two files differ."""

import difflib


def shown(line):
    return line.decode("utf-8", "backslashreplace")


def difference(name, expected, actual):
    """The lines in which two contents differ, with some around them."""
    def lines(content):
        return [repr(line)[2:-1] for line in content.splitlines(keepends=True)]

    return "\n".join(difflib.unified_diff(lines(expected), lines(actual), f"expected {name}",
                                          f"actual {name}", lineterm=""))
