"""Running ldif-migrate-check, and what it tells."""

import collections
import json
import subprocess

TIME_LIMIT_SECONDS = 60
CLEAN, FOUND = 0, 1

# What a run has printed; `document` is what the JSON holds, or None when there is none.
Run = collections.namedtuple("Run", "status document stdout stderr")


def check(program, export, output=None, options=("--json",)):
    """Checks an export, or the output with it if there is one."""
    command = [program, *options, export] + ([] if output is None else [output])
    ended = subprocess.run(command, check=False, stdin=subprocess.DEVNULL, capture_output=True,
                           timeout=TIME_LIMIT_SECONDS)
    document = None
    if ended.returncode in (CLEAN, FOUND) and "--json" in options:
        document = json.loads(ended.stdout)
    return Run(ended.returncode, document, ended.stdout, ended.stderr)


def kinds(run, severity=None):
    """The kinds that were found, or those of the severity."""
    return {found["kind"] for found in run.document["findings"]
            if severity in (None, found["severity"])}


def shown(run, kind):
    """What is shown of a kind: the lines in the export and in the output, None for none."""
    return [(one.get("line"), one.get("outputLine"))
            for found in run.document["findings"] if found["kind"] == kind
            for one in found["shown"]]
