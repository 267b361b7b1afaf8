"""Single runs of the benchmarks: of the program, its floor and a copy, with their results.

Each run has a fresh folder beside the exports, with a second name of its export in it.
"""

import collections
import contextlib
import hashlib
import mmap
import os
import pathlib
import re
import subprocess
import tempfile

from workloads import CHECK, MIGRATE, VERIFY

INPUT, WORK, OUTPUT, TRACE = "export.ldif", "export.ldif.tmp", "output.ldif", "trace.txt"
STDOUT, STDERR, REPORT = "stdout", "stderr", "report"
COMPARED = (OUTPUT, STDOUT, STDERR, TRACE)
CALLGRIND = ("valgrind", "--tool=callgrind", "--callgrind-out-file=callgrind.out")
RESOURCE_CREDENTIAL = re.compile(rb"\ndn: (?:secResource=|cn=ResCreds,cn=)(?:.+\n)+")
FIRST_REBUILT = b"\ndn: principalName="

Usage = collections.namedtuple("Usage", "wall cpu peak")

# Bytes of the export, of the work file, of the output's passed-through and rebuilt part, and of the
# entries that are gathered.
Traffic = collections.namedtuple("Traffic", "export work passed rebuilt gathered")


class Faulty(Exception):
    """A run that did not go as expected."""


class Runner:
    """Runs workloads with a program, its floor and a copy."""

    def __init__(self, program, folder):
        self.program = program
        self.folder = folder
        self.traffic = {}  # of the first run of each workload, by its name
        self.digests = {}  # the same

    def run_first(self, workload):
        """Makes the workload's export, and what its other runs are compared with."""
        with self.place(workload) as place:
            # The work file is removed at the end of a run; as long as it is open, it has a size.
            with open(place / WORK, "xb", opener=for_owner_alone) as work:
                self.succeed(place, self.program, *arguments(workload))
                size = os.fstat(work.fileno()).st_size
            self.traffic[workload.name] = traffic_of(place, size)
            self.digests[workload.name] = digests_of(place)

    def run(self, workload):
        """Returns the usage of what the workload measures."""
        if workload.what == MIGRATE:
            return self.migrate(workload, self.program)
        with self.place(workload) as place:
            return self.perform(place, workload)

    def migrate(self, workload, program):
        """Returns the usage of a run that must do what the first did."""
        with self.place(workload) as place:
            usage = self.succeed(place, program, *arguments(workload))
            for name, digest in digests_of(place).items():
                if digest != self.digests[workload.name].get(name):
                    raise Faulty(f"{workload.name}: {program} gives another {name} than the first "
                                 f"run")
        return usage

    def perform(self, place, workload, *tool):
        """Runs what the workload measures, with a tool if need be, and returns its usage."""
        if workload.what == MIGRATE:
            return self.succeed(place, *tool, self.program, *arguments(workload))
        files = [INPUT]
        if workload.what == VERIFY:
            self.succeed(place, self.program, *arguments(workload))
            files.append(OUTPUT)
        # Some DNs of generated exports have commas in their names, which is found.
        return self.succeed(place, *tool, self.tool("ldif-migrate-check"), *files,
                            ends=("0", "1") if workload.what == CHECK else ("0",))

    def floor(self, workload):
        """Returns the seconds that the file traffic of the workload takes."""
        traffic = self.traffic[workload.name]
        with self.place(workload) as place:
            usage = self.succeed(place, self.tool("floor"), INPUT, OUTPUT, traffic.work,
                                 traffic.passed, traffic.rebuilt)
            if (place / OUTPUT).stat().st_size != traffic.passed + traffic.rebuilt:
                raise Faulty(f"{workload.name}: the floor wrote another size than the program")
        return usage.wall

    def copy(self, workload):
        with self.place(workload) as place:
            usage = self.succeed(place, "sh", "-c", 'cp "$0" "$1" && sync "$1"', INPUT, OUTPUT)
        return usage.wall

    def instructions(self, workload):
        """Returns the instructions for each line of the workload's export."""
        with self.place(workload) as place:
            self.perform(place, workload, *CALLGRIND)
            counted = re.search(r"Collected : (\d+)", (place / STDERR).read_text())
            with open(place / INPUT, "rb") as stream:
                return int(counted.group(1)) / sum(1 for _ in stream)

    def succeed(self, place, *command, ends=("0",)):
        """Runs a command and returns its usage. It does not pay for what others have written."""
        os.sync()
        with open(place / STDOUT, "wb") as out, open(place / STDERR, "wb") as err:
            subprocess.run([self.tool("measure"), REPORT, *map(str, command)], cwd=place,
                           check=True, stdin=subprocess.DEVNULL, stdout=out, stderr=err)
        status, wall, cpu, kibibytes = (place / REPORT).read_text().split()
        if status not in ends:
            complaint = (place / STDERR).read_text(errors="backslashreplace")[:2000]
            raise Faulty(f"status {status} of {' '.join(map(str, command))}: {complaint}")
        return Usage(float(wall), float(cpu), int(kibibytes) * 1024)

    def tool(self, name):
        return self.program.with_name(name)

    @contextlib.contextmanager
    def place(self, workload):
        """A fresh folder with the workload's export, which is made unless it is there."""
        export = self.folder / (workload.export.name + ".ldif")
        with tempfile.TemporaryDirectory(dir=self.folder) as name:
            place = pathlib.Path(name)
            if not export.exists():
                workload.export.write(self.program, place / INPUT)
                (place / INPUT).rename(export)
            (place / INPUT).hardlink_to(export)
            yield place


def arguments(workload):
    return [INPUT, OUTPUT, *workload.counts, *([TRACE] if workload.traced else [])]


def for_owner_alone(path, flags):
    return os.open(path, flags, 0o600)


def traffic_of(place, work):
    with mapped(place / INPUT) as export, mapped(place / OUTPUT) as output:
        passed = output.find(FIRST_REBUILT) + 1
        left_over = sum(len(entry.group().replace(b"\n ", b""))
                        for entry in RESOURCE_CREDENTIAL.finditer(export))
        return Traffic(len(export), work, passed, len(output) - passed, work - left_over)


def mapped(path):
    with open(path, "rb") as stream:
        return mmap.mmap(stream.fileno(), 0, access=mmap.ACCESS_READ)


def digests_of(place):
    return {name: digest(place / name) for name in COMPARED if (place / name).exists()}


def digest(path):
    with open(path, "rb") as stream:
        return hashlib.file_digest(stream, "sha256").digest()
