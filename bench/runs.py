"""Single runs of the benchmarks: of the program, of its floor and of a copy, and what they left."""

import collections
import hashlib
import mmap
import os
import re
import subprocess

OUTPUT, TRACE, SNAPSHOT = "output.ldif", "trace.txt", "TEMPORARY_INPUT_LDIF_FILE"
REPORT, STDOUT, STDERR, WORK_LINK = "report", "stdout", "stderr", "work.link"
CALLGRIND_OUTPUT = "callgrind.out"
CALLGRIND = ("valgrind", "--tool=callgrind", "--callgrind-out-file=" + CALLGRIND_OUTPUT)
RESOURCE_CREDENTIAL = re.compile(rb"\ndn: (?:secResource=|cn=ResCreds,cn=)(?:.+\n)+")
FIRST_REBUILT = b"\ndn: principalName="

Usage = collections.namedtuple("Usage", "wall cpu peak")

# Bytes of the work file, of the output's passed-through and rebuilt part, and of the entries that
# are gathered.
Traffic = collections.namedtuple("Traffic", "work passed rebuilt cached")


class Faulty(Exception):
    """A run that did not go as it must."""


class Runner:
    """Runs workloads with a program and with what stands beside it, in one folder."""

    def __init__(self, program, folder):
        self.program = program.resolve()
        self.folder = folder
        self.traffic = {}  # by the names of the exports
        self.results = {}  # of the first run of each workload

    def prepare(self, workload):
        """Makes the export and migrates it once. Returns the export's size and the traffic."""
        export = self.export(workload)
        # The work file is removed at the end of a run; by its second name it stays.
        work = self.file(export + ".tmp")
        work.touch()
        os.link(work, self.file(WORK_LINK))
        self.succeed(self.program, *self.arguments(workload))
        work_size = self.file(WORK_LINK).stat().st_size
        self.remove(WORK_LINK)
        with mapped(self.file(OUTPUT)) as output, mapped(self.file(export)) as text:
            passed = output.find(FIRST_REBUILT) + 1
            left_over = sum(len(entry.group().replace(b"\n ", b""))
                            for entry in RESOURCE_CREDENTIAL.finditer(text))
            size = len(text)
            self.traffic[workload.name] = Traffic(work_size, passed, len(output) - passed,
                                                  work_size - left_over)
        self.results[workload.name] = self.taken_result(workload)
        return size, self.traffic[workload.name]

    def migrate(self, workload, program):
        """Returns the usage of a run that must do what the first did."""
        usage = self.succeed(program.resolve(), *self.arguments(workload))
        result = self.taken_result(workload)
        for name, digest in self.results[workload.name].items():
            if result[name] != digest:
                raise Faulty(f"{workload.name}: {program} gives another {name} than the first run")
        return usage

    def floor(self, workload):
        """Returns the seconds that the file traffic of the workload takes."""
        traffic = self.traffic[workload.name]
        usage = self.succeed(self.tool("floor"), self.export(workload), OUTPUT, traffic.work,
                             traffic.passed, traffic.rebuilt)
        if self.file(OUTPUT).stat().st_size != traffic.passed + traffic.rebuilt:
            raise Faulty(f"{workload.name}: the floor wrote another size than the program")
        self.remove(OUTPUT)
        return usage.wall

    def copy(self, workload):
        usage = self.succeed("sh", "-c", 'cp "$0" "$1" && sync "$1"', self.export(workload), OUTPUT)
        self.remove(OUTPUT)
        return usage.wall

    def instructions(self, workload):
        """Returns the instructions for each line of the workload's export."""
        self.succeed(*CALLGRIND, self.program, *self.arguments(workload))
        counted = re.search(r"Collected : (\d+)", self.file(STDERR).read_text())
        self.remove_written(workload)
        with mapped(self.file(self.export(workload))) as text:
            return int(counted.group(1)) / sum(1 for _ in iter(text.readline, b""))

    def export(self, workload):
        """Returns the name of the workload's export, which is made unless it is there."""
        name = workload.export.name + ".ldif"
        if not self.file(name).exists():
            begun = self.file(name + ".begun")
            workload.export.write(self.program, begun)
            begun.rename(self.file(name))
        return name

    def arguments(self, workload):
        trace = [TRACE] if workload.traced else []
        return [self.export(workload), OUTPUT, *workload.counts, *trace]

    def succeed(self, *command):
        """Runs a command and returns its usage. No run pays for what others have written."""
        os.sync()
        with open(self.file(STDOUT), "wb") as out, open(self.file(STDERR), "wb") as err:
            subprocess.run([self.tool("measure"), REPORT, *map(str, command)], cwd=self.folder,
                           check=True, stdin=subprocess.DEVNULL, stdout=out, stderr=err)
        status, wall, cpu, kibibytes = self.file(REPORT).read_text().split()
        if status != "0":
            complaint = self.file(STDERR).read_text(errors="backslashreplace")[:2000]
            raise Faulty(f"status {status} of {' '.join(map(str, command))}: {complaint}")
        return Usage(float(wall), float(cpu), int(kibibytes) * 1024)

    def taken_result(self, workload):
        """Returns the digests of what a run left, and removes it."""
        names = [OUTPUT, STDOUT, STDERR] + ([TRACE] if workload.traced else [])
        digests = []
        for name in names:
            with open(self.file(name), "rb") as stream:
                digests.append(hashlib.file_digest(stream, "sha256").digest())
        self.remove_written(workload)
        return dict(zip(names, digests))

    def remove_written(self, workload):
        self.remove(OUTPUT, TRACE, SNAPSHOT, self.export(workload) + ".tmp", CALLGRIND_OUTPUT)

    def remove(self, *names):
        for name in names:
            self.file(name).unlink(missing_ok=True)

    def file(self, name):
        return self.folder / name

    def tool(self, name):
        return self.program.with_name(name)


def mapped(path):
    with open(path, "rb") as stream:
        return mmap.mmap(stream.fileno(), 0, access=mmap.ACCESS_READ)
