"""Shared by both sweeps: watched runs of gmail_host, and the checks that every run must pass."""
import hashlib
import json
import os
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time

sys.dont_write_bytecode = True
top = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
tables = ("messages", "attachments", "accounts", "mailbox", "cookies")
mebibyte = 1024 * 1024


class Ended:
    """How a run ended. `peak` is its largest resident memory in bytes, `after_signal` the seconds it continued after a signal."""

    def __init__(self, status, output, errors, seconds, peak, hung, after_signal=None):
        self.status, self.output, self.errors = status, output, errors
        self.seconds, self.peak, self.hung, self.after_signal = seconds, peak, hung, after_signal
        try:
            self.summary = json.loads(output)
        except ValueError:
            self.summary = None

    @property
    def failures(self):
        return (self.summary or {}).get("failures") or 0

    @property
    def rows(self):
        return sum((self.summary or {}).get("tables", {}).values())


def peak_of(process_id):
    try:
        with open("/proc/%d/status" % process_id, encoding="ascii", errors="replace") as status:
            for line in status:
                if line.startswith("VmHWM:"):
                    return int(line.split()[1]) * 1024
    except OSError:
        pass
    return 0


class Host:
    """The program under test."""

    def __init__(self, directory, place=None):
        """With a `place`, run a copy there: other users may not enter the directory of the checkout."""
        if place:
            for name in ("gmail_host", "libgmail.so"):
                shutil.copy2(os.path.join(directory, name), place)
        self.program = os.path.join(place or directory, "gmail_host")
        with open(os.path.join(directory, "CMakeCache.txt"), encoding="utf-8") as cache:
            self.sanitized = "-fsanitize=" in cache.read()

    def start(self, source, result, *options, before=(), address_space=None):
        command = [*before, self.program, "extract", source, result, "--json", "--quiet", *options]
        if address_space and not self.sanitized:
            command = ["prlimit", "--as=%d" % address_space, *command]
        output, errors = tempfile.TemporaryFile(), tempfile.TemporaryFile()
        process = subprocess.Popen(command, stdout=output, stderr=errors, stdin=subprocess.DEVNULL,
                                   env={**os.environ, "UBSAN_OPTIONS": "print_stacktrace=1"})
        process.files = output, errors
        process.began = time.monotonic()
        process.signalled = None
        return process

    def wait(self, process, max_seconds=20):
        """Wait until the run ends, or end it because it takes too long. (The memory that wait4 reports includes the
        memory of this program when it started the run.)"""
        peak, hung, pid = 0, False, 0
        while not pid:
            peak = max(peak, peak_of(process.pid))
            if not hung and time.monotonic() - process.began > max_seconds:
                hung = True
                os.kill(process.pid, signal.SIGKILL)
            time.sleep(0.004)
            pid, status = os.waitpid(process.pid, os.WNOHANG)
        ended_at = time.monotonic()
        process.returncode = os.waitstatus_to_exitcode(status)
        texts = []
        for file in process.files:
            file.seek(0)
            texts.append(file.read().decode("utf-8", "replace"))
            file.close()
        after_signal = ended_at - process.signalled if process.signalled else None
        return Ended(process.returncode, *texts, ended_at - process.began, peak, hung, after_signal)

    def run(self, source, result, *options, max_seconds=20, **how):
        return self.wait(self.start(source, result, *options, **how), max_seconds)

    def run_with_signal(self, source, result, number, delay, *options, max_seconds=60, **how):
        process = self.start(source, result, *options, **how)
        time.sleep(delay)
        process.signalled = time.monotonic()
        os.kill(process.pid, number)  # not waited for yet, so the id is still its own
        return self.wait(process, max_seconds)


def problems_of(ended, statuses=(0, 3), with_log=True):
    """The problems of a run that are problems in any case."""
    found = []
    if ended.hung:
        return ["hang: ended after %.0f s" % ended.seconds]
    if "Sanitizer" in ended.errors or "runtime error:" in ended.errors:
        found.append("sanitizer report: " + ended.errors[:2000])
    if ended.status not in statuses:
        found.append("status %d: %s" % (ended.status, ended.errors.strip()[-500:]))
    if ended.status in (0, 3) and ended.summary is None:
        found.append("no summary")
    elif ended.status == 0 and (ended.failures or (with_log and ended.summary["failures"] is None)):
        found.append("status 0 with failures")
    elif ended.status == 3 and not ended.failures and "run.json" not in ended.errors:
        found.append("status 3 without failures")
    return found


def artifact_dir(result):
    return os.path.join(result, "Artifacts_Result", "Gmail")


def database_of(result):
    return os.path.join(artifact_dir(result), "Gmail.sqlite")


def log_of(result):
    return os.path.join(artifact_dir(result), "gmail.log")


def log_lines(path):
    with open(path, "rb") as log:
        return [line.decode("utf-8", "replace") for line in log.read().split(b"\n") if line]


def failure_lines(path):
    """The log's failures, found by a looser rule than the host's."""
    return [line for line in log_lines(path)
            if "]:-- " in line and re.search("FAILED|Failed:", line.split("]:-- ", 1)[1].split("/", 1)[0])]


def uncounted(ended, log):
    """A failure in the log must be in the summary."""
    counted, there = ended.failures, len(failure_lines(log)) if os.path.exists(log) else 0
    return ["%d failures in the log, %d counted" % (there, counted)] if there > counted else []


def rows_of(database):
    """Every row of every table, as a digest per row. An SQLite that cannot read the file raises."""
    connection = sqlite3.connect(database)
    connection.text_factory = bytes
    try:
        if connection.execute("pragma integrity_check").fetchall() != [(b"ok",)]:
            raise sqlite3.DatabaseError("integrity_check failed")
        there = {name.decode() for (name,) in connection.execute("select name from sqlite_master where type = 'table'")}
        return {table: [hashlib.sha1(repr(row).encode()).digest()
                        for row in connection.execute("select * from %s order by INT" % table)]
                if table in there else [] for table in tables}
    finally:
        connection.close()


def attachments_of(result):
    return digests(os.path.join(artifact_dir(result), "Attachments"))


def digests(directory):
    """Every entry below a directory: bytes, type, link target, size."""
    found = {}
    for folder, folders, files in os.walk(os.fsencode(directory)):
        for name in folders + files:
            path = os.path.join(folder, name)
            entry = os.lstat(path)
            if os.path.islink(path):
                what = b"link " + os.readlink(path)
            elif os.path.isfile(path):
                with open(path, "rb") as file:
                    what = hashlib.file_digest(file, "sha1").hexdigest().encode()
            else:
                what = b"other"
            found[os.path.relpath(path, os.fsencode(directory))] = (what, entry.st_size)
    return found


def write(path, content):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)


class Figures:
    """Counts, and the violations that were found; `report` ends the program."""

    def __init__(self, *names):
        self.counts = dict.fromkeys(names, 0)
        self.violations = []
        self.lock = threading.Lock()

    def add(self, **counts):
        with self.lock:
            for name, count in counts.items():
                self.counts[name] = self.counts.get(name, 0) + count

    def violate(self, where, problems, keep=None):
        """`keep`: a directory that shows the problem, kept for inspection."""
        if not problems:
            return
        with self.lock:
            for problem in problems:
                for word in ("hang", "sanitizer report"):
                    if problem.startswith(word):
                        self.counts[word + "s"] = self.counts.get(word + "s", 0) + 1
                if problem.startswith("status -"):
                    self.counts["crashes"] = self.counts.get("crashes", 0) + 1
                self.violations.append("%s: %s" % (where, problem))
                print("VIOLATION", self.violations[-1], flush=True)
            if keep and len(self.violations) < 20:
                kept = tempfile.mkdtemp(prefix="kept_")
                shutil.copytree(keep, os.path.join(kept, "case"), symlinks=True, dirs_exist_ok=True)
                print("   kept in", kept, flush=True)

    def report(self, seconds):
        for name, count in self.counts.items():
            print("%-28s %s" % (name, format(count, ",")))
        print("%-28s %.0f s" % ("time", seconds))
        print("%-28s %d" % ("violations", len(self.violations)))
        sys.exit(1 if self.violations else 0)
