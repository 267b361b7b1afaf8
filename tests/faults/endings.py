"""How a run may end in which a system call or an allocation has failed, and what it must leave.

The interposer reports which calls have failed, on which file, and which files were opened and
closed before. From that follows the phase of the run, and from kind of call, file and phase how
the run has to end. `complaints` compares.
"""

import collections
import errno
import os
import re

from exports import INPUT, OLD, OUTPUT, SNAPSHOT, TRACE, WORK

STARTUP, STAGING, COPYING, PASSES, RESIDUE, CLOSING = (
    "start-up", "staging", "copying the work file", "the passes", "the residue", "the end")

# Endings: status 0 as if nothing had happened; status 255 with a message, if `id` is not 0, about
# `file`, and the system's reason where it gives one; resource credentials cut off with status 0
# unless the output cannot be closed; status 0 with a warning that the work file is still there.
IGNORED, CUT_OFF, WARNED = "undisturbed", "residue cut off", "undisturbed but for a warning"
Fatal = collections.namedtuple("Fatal", "id file has_reason", defaults=(None, True))
NO_MEMORY, POSITION, PROCESSING, OPEN, READ_INPUT, WRITE, READ_WORK = (
    380928300, 380928301, 380928302, 380928304, 380928305, 380928306, 380928307)
WITHOUT_MESSAGE = Fatal(0)

# Kinds of call, files and phases with the endings allowed; None stands for all. The first line
# that fits counts.
RULES = (
    # Two names that cannot be compared count as different files. A file that cannot be looked at
    # any more later on may not be the one that it was.
    ("stat lstat getcwd realpath", None, STARTUP, {IGNORED}),
    ("stat", INPUT, None, {Fatal(READ_INPUT, INPUT)}),
    ("stat", OUTPUT, None, {Fatal(WRITE, OUTPUT)}),
    ("stat", WORK, None, {Fatal(READ_WORK, WORK)}),
    ("fstat", INPUT, STARTUP, {Fatal(OPEN, INPUT)}),
    ("fstat", INPUT, None, {Fatal(READ_INPUT, INPUT)}),
    ("fstat", WORK, None, {Fatal(OPEN, WORK), Fatal(READ_WORK, WORK)}),
    ("fstat", OUTPUT, CLOSING, {Fatal(WRITE, OUTPUT)}),
    ("fstat", OUTPUT, None, {Fatal(OPEN, OUTPUT), IGNORED}),  # the second time to find pipes
    ("fstat", TRACE, None, {Fatal(OPEN, TRACE)}),
    ("fstat", None, STARTUP, {IGNORED}),  # standard output and standard error
    ("memory", None, None, {Fatal(NO_MEMORY), IGNORED}),

    # Nobody depends on the trace, nor on the copy of the staged work file.
    ("open flock ftruncate", TRACE, None, {Fatal(OPEN, TRACE)}),
    ("write close", TRACE, None, {IGNORED}),
    ("open read close", None, COPYING, {IGNORED}),
    ("unlink open write close", SNAPSHOT, None, {IGNORED}),

    # At start-up the input is opened for its lock alone. What is opened next shows why it cannot
    # be, or staging that what it could open is not locked.
    ("open", INPUT, STARTUP, {Fatal(OPEN), Fatal(READ_INPUT, INPUT, False)}),
    ("flock", INPUT, None, {Fatal(OPEN, INPUT)}),
    ("open", INPUT, STAGING, {Fatal(OPEN, INPUT)}),
    ("lseek", INPUT, None, {Fatal(POSITION)}),
    ("read", INPUT, None, {Fatal(READ_INPUT, INPUT)}),
    ("close", INPUT, None, {IGNORED}),

    ("open flock ftruncate", OUTPUT, None, {Fatal(OPEN, OUTPUT)}),
    # The output and its folder. A folder that may not be read is synced with its file system.
    ("fsync syncfs", None, CLOSING, {Fatal(WRITE, OUTPUT)}),
    ("open", ".", CLOSING, {Fatal(WRITE, OUTPUT), IGNORED}),
    ("lstat", OUTPUT, CLOSING, {IGNORED}),
    ("write", OUTPUT, PASSES, {Fatal(PROCESSING, OUTPUT)}),
    ("write", OUTPUT, RESIDUE, {CUT_OFF, WITHOUT_MESSAGE}),
    ("write close", OUTPUT, None, {Fatal(WRITE, OUTPUT)}),

    ("open flock", WORK, None, {Fatal(OPEN, WORK)}),
    ("sync_file_range", WORK, None, {Fatal(WRITE, WORK)}),
    ("lseek", WORK, None, {Fatal(POSITION)}),
    # An entry is read to be looked at, and sometimes again to be blanked or stepped over.
    ("read", WORK, None, {Fatal(READ_WORK, WORK), Fatal(PROCESSING)}),
    # Blank lines are written many entries at a time, the last of a pass at its end.
    ("pwrite", WORK, PASSES, {Fatal(PROCESSING), Fatal(WRITE, WORK)}),
    ("pwrite", WORK, None, {Fatal(PROCESSING)}),
    ("write", WORK, None, {Fatal(WRITE, WORK)}),
    ("close", WORK, STAGING, {Fatal(WRITE, WORK)}),
    ("close", WORK, PASSES, {Fatal(WRITE, WORK)}),
    ("close", WORK, None, {IGNORED}),  # nobody reads it any more
    ("unlink", WORK, None, {WARNED}),
    ("close", None, CLOSING, {IGNORED}),  # the folder
)

# What was asked of the interposer: the kind of call, an error number or "short", and whether all
# later calls fail, too.
Disturbance = collections.namedtuple("Disturbance", "kind call error goes_on")

# One call that has failed.
Fault = collections.namedtuple("Fault", "kind offset size file phase")


class Phase:
    """Follows a run by what it opens and closes."""

    def __init__(self, export):
        # One for its lock, one to write it, one to copy it.
        self.openings_before_passes = 3 if export.traced else 2
        # One opening for each pass that gathers and, to be traced, one for a pass that finds nothing
        # more.
        self.openings_with_passes = (
            self.openings_before_passes + export.gathering_passes + export.traced)
        self.output_opened, self.work_open, self.work_openings = False, False, 0

    def note(self, event, file):
        if file == OUTPUT and event == "open":
            self.output_opened = True
        if file == WORK:
            self.work_open = event == "open"
            self.work_openings += self.work_open

    def name(self):
        if not self.output_opened:
            return STARTUP
        if self.work_openings <= 2:
            return STAGING
        if self.work_openings <= self.openings_before_passes:
            return COPYING
        if self.work_openings <= self.openings_with_passes:
            return PASSES
        return RESIDUE if self.work_open else CLOSING


def read_report(text, export):
    """The calls that have failed, by the interposer's report."""
    phase, faults = Phase(export), []
    for line in text.replace(" (deleted)", "").splitlines():
        event, rest = line.split(" ", 1)
        if event == "fault":
            kind, _, offset, size, path = rest.split(" ", 4)
            faults.append(Fault(kind, int(offset), int(size), os.path.basename(path),
                                phase.name()))
        elif event in ("open", "close"):
            phase.note(event, os.path.basename(rest))
    return faults


def endings_of(fault):
    for kinds, file, phase, endings in RULES:
        if fault.kind in kinds.split() and file in (None, fault.file) and (
                phase in (None, fault.phase)):
            return endings
    raise LookupError(f"no rule for {fault}")


def allowed_endings(disturbance, faults, undisturbed):
    """The endings that fit the calls that have failed, by the first that is not ignored."""
    if disturbance.error in ("short", errno.EINTR):
        return {IGNORED}  # a call to be repeated, not one that has failed
    is_cut_off = False
    for fault in faults:
        endings = endings_of(fault)
        if CUT_OFF in endings and is_cut_off:
            return {Fatal(WRITE, OUTPUT)}  # what has been refused before is refused again
        if CUT_OFF in endings:
            # What does not fit any more is the line behind the bytes refused.
            refused_line_at = fault.offset + fault.size
            if undisturbed.run.files.output[refused_line_at:refused_line_at + 1] == b"\n":
                return {WITHOUT_MESSAGE}
            is_cut_off = True
        elif endings != {IGNORED}:
            return endings
    return {CUT_OFF} if is_cut_off else {IGNORED}


def ending_of(run):
    """The ending that status and standard error show, or what is odd about them."""
    if run.status == 0 and not run.stderr:
        return IGNORED
    lines = run.stderr.decode(errors="backslashreplace").splitlines()
    if run.status == 0 and len(lines) == 1 and (
            lines[0].startswith(f'380928318 WARNING: cannot remove the work file "{WORK}": ')):
        return WARNED
    if run.status == 255 and not lines:
        return WITHOUT_MESSAGE
    match = re.match(r"(\d+) ERROR: ", lines[0]) if lines else None
    # Blanking and stepping over report a position that cannot be set, and their callers the entry.
    if len(lines) == 2 and match and int(match[1]) == POSITION:
        lines = lines[:1] if lines[1].startswith(f"{PROCESSING} ERROR: ") else lines
    if run.status == 255 and len(lines) == 1 and match:
        return Fatal(int(match[1]))
    return f"status {run.status} and on standard error: {lines[:20]}"


def complaints_about_end(disturbance, run, allowed):
    ending = ending_of(run)
    shown = {CUT_OFF: IGNORED}
    fitting = [end for end in allowed if ending == (
        Fatal(end.id) if isinstance(end, Fatal) else shown.get(end, end))]
    if not fitting:
        yield f"ended with {ending} instead of {allowed}"
    for end in fitting:
        if end in (IGNORED, CUT_OFF, WARNED, WITHOUT_MESSAGE, Fatal(NO_MEMORY)):
            continue
        reason = os.strerror(disturbance.error)
        if end.has_reason and reason not in run.stderr.decode():
            yield f"the message does not give the reason, {reason}: {run.stderr}"
        if end.file and f'"{end.file}"' not in run.stderr.decode():
            yield f"the message does not name {end.file}: {run.stderr}"


def blanked(text):
    """The text with every line that is not empty blanked, as when its entries have been taken."""
    return re.sub(rb"[^\n]+\n", lambda line: b" " * (len(line.group()) - 2) + b"\r\n", text)


def is_blanked(before, after):
    """Whether `after` is `before` with nothing but whole lines blanked."""
    if len(before) != len(after):
        return False
    position = 0
    for line in before.splitlines(keepends=True):
        if after[position:position + len(line)] not in (line, blanked(line)):
            return False
        position += len(line)
    return True


def misses_one_piece(whole, rest):
    """Whether `rest` is `whole`, or what is left after one piece has been taken out of it."""
    if len(rest) > len(whole):
        return False
    common = len(os.path.commonprefix([whole, rest]))
    return whole.endswith(rest[common:])


def passes_completed(run):
    """How many passes have written all that they gathered, by the notices."""
    return max(0, run.stdout.count(b"380928312 ") - 1)


def output_due(run, undisturbed, disturbance, faults):
    """How many bytes must have reached the output, whatever has failed since."""
    if b"380928310 " not in run.stdout:
        due = 0
    else:
        due = undisturbed.passed_through
    refused = [fault for fault in faults if (fault.kind, fault.file) == ("write", OUTPUT)]
    if refused and (disturbance.goes_on or refused[0].phase == CLOSING):
        return max(due, refused[0].offset)
    if refused:  # tried again when the process ends
        return max(due, refused[0].offset + refused[0].size)
    done = min(passes_completed(run), len(undisturbed.flushed))
    return undisturbed.flushed[done - 1] if done else due


def complaints_about_loss(run, undisturbed, disturbance, faults):
    output = run.files.output or b""
    if output == OLD:
        output = b""  # not touched yet; whether that may be is asked elsewhere
    due = output_due(run, undisturbed, disturbance, faults)
    if not undisturbed.run.files.output.startswith(output):
        yield "the output holds what an undisturbed run does not write"
    if len(output) < due:
        yield f"the output has lost some of the first {due} bytes, {len(output)} are left"


def cannot_be_opened(run, faults):
    """Whether the run has ended because a file could not be opened, before it emptied any."""
    return ending_of(run) == Fatal(OPEN) and all(
        fault.phase in (STARTUP, STAGING) and fault.kind != "ftruncate" for fault in faults)


def complaints_after_failure(run, undisturbed, faults):
    work = run.files.work
    if undisturbed.is_over and cannot_be_opened(run, faults) and (
            (run.files.output, run.files.trace) != (OLD, OLD)):
        yield "an output or a trace of an earlier run has not been left alone"
    if b"380928310 " in run.stdout:
        if work is None or not is_blanked(undisturbed.staged, work):
            yield "the work file is not the staged one with lines blanked"
    elif not undisturbed.staged.startswith(work or b""):
        yield "the work file holds what staging does not write"


def complaints_after_success(run, undisturbed, faults, cut_off):
    whole, work = undisturbed.run.files, run.files.work
    output = run.files.output or b""
    if cut_off:
        if not undisturbed.flushed[-1] <= len(output) < len(whole.output):
            yield "the output is not cut off within the resource credentials"
        elif not output.endswith(b"\n"):
            yield "the output is cut off within a line"
    elif output != whole.output:
        yield "the output is not that of an undisturbed run"
    kept = any((fault.kind, fault.file) == ("unlink", WORK) for fault in faults)
    if (work is not None) != (kept or whole.work is not None):
        yield "the work file is there, or gone, without a reason"
    elif work is not None and not is_blanked(undisturbed.staged, work):
        yield "the work file is not the staged one with lines blanked"
    elif work is not None and not cut_off and work != (whole.work or blanked(undisturbed.staged)):
        yield "the work file is not that of an undisturbed run"


def complaints_about_trace(run, undisturbed, disturbance, faults):
    whole, trace = undisturbed.run.files.trace, run.files.trace
    on_trace = disturbance.error != "short" and any(
        fault.file == TRACE and fault.kind == "write" for fault in faults)
    if whole is not None and run.status == 0:
        fits = misses_one_piece(whole, trace) if on_trace else trace == whole
        if not fits:
            yield "the trace misses more than the writes that failed"
    touched = any(fault.file == SNAPSHOT or fault.phase == COPYING for fault in faults)
    if whole is not None and run.status == 0 and not touched and (
            run.files.snapshot != undisturbed.staged):
        yield "the copy of the work file is not the staged work file"


def complaints(disturbance, faults, run, undisturbed):
    """Everything about a run in which `faults` have happened that must not be."""
    allowed = allowed_endings(disturbance, faults, undisturbed)
    yield from complaints_about_end(disturbance, run, allowed)
    if run.files.input != undisturbed.run.files.input:
        yield "the input has changed"
    if not undisturbed.run.stdout.startswith(run.stdout):
        yield f"the notices are not those of an undisturbed run: {run.stdout}"
    yield from complaints_about_loss(run, undisturbed, disturbance, faults)
    if run.status == 0:
        if run.stdout != undisturbed.run.stdout:
            yield "a notice is missing"
        yield from complaints_after_success(run, undisturbed, faults, CUT_OFF in allowed)
    else:
        yield from complaints_after_failure(run, undisturbed, faults)
    yield from complaints_about_trace(run, undisturbed, disturbance, faults)
