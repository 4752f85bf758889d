"""Shared by all faults: sources made once, runs that are counted and checked, mounts."""
import os
import random
import shutil
import sqlite3
import subprocess
import tempfile

import sweep
from sources import android, takeout
from sweep import Figures, attachments_of, database_of, digests, log_of, rows_of

max_seconds_after_signal = 1.0
nobody = 65534
as_nobody = ("setpriv", "--reuid=%d" % nobody, "--regid=%d" % nobody, "--clear-groups")


class Skipped(Exception):
    """Why a fault cannot be tried on this machine."""


class Sweep:
    def __init__(self, options):
        self.short, self.kills, self.dice = options.short, options.kills, random.Random(options.seed)
        self.figures = Figures("runs", "failures logged", "rows kept", "crashes", "sanitizer reports", "hangs",
                               "evidence files changed")
        self.place = tempfile.mkdtemp(prefix="faults_")
        os.chmod(self.place, 0o755)
        self.host = sweep.Host(options.program, self.place)
        self.fault = ""
        self.slowest_cancel = 0.0
        self.sources = {}
        self.known = {}

    def path(self, *parts):
        return os.path.join(self.place, self.fault, *parts)

    def violate(self, where, problems):
        self.figures.violate("%s: %s" % (self.fault, where), problems)

    def source(self, kind, size, *more):
        """A source made once, and its undisturbed result: rows, attachments, seconds."""
        key = (kind, size, *more)
        if key not in self.sources:
            directory = os.path.join(self.place, "source%d" % len(self.sources))
            {"takeout": takeout, "android": android}[kind](directory, size, *more)
            result = self.path("undisturbed")
            ended = self.host.run(directory, result, max_seconds=300)
            self.figures.add(runs=1)
            self.violate("undisturbed", sweep.problems_of(ended, (0,)))
            self.known[directory] = (rows_of(database_of(result)), attachments_of(result), ended.seconds)
            self.sources[key] = (directory, digests(directory))
            shutil.rmtree(result)
        return self.sources[key][0]

    def two_sources(self):
        """One of each kind, large enough to hit any moment of a run."""
        if self.short:
            return [self.source("takeout", 500, 12000), self.source("android", 2000)]
        return [self.source("takeout", 6000, 12000), self.source("android", 40000)]

    def count(self, where, ended, statuses=(0, 3), with_log=True):
        self.figures.add(**{"runs": 1, "failures logged": ended.failures, "rows kept": ended.rows})
        self.violate(where, sweep.problems_of(ended, statuses, with_log))
        if ended.after_signal is not None and ended.status in (130, 143):
            self.slowest_cancel = max(self.slowest_cancel, ended.after_signal)
            if not self.short and ended.after_signal > max_seconds_after_signal * (5 if self.host.sanitized else 1):
                self.violate(where, ["hang: %.2f s from the signal to the end" % ended.after_signal])

    def run(self, where, source, result, *options, statuses=(0, 3), **how):
        ended = self.host.run(source, result, *options, **{"max_seconds": 300, **how})
        self.count(where, ended, statuses, "--no-log" not in options)
        log = log_of(result)
        if os.path.exists(log) and "--log" not in options:
            self.violate(where, sweep.uncounted(ended, log))
        return ended

    def check_rows(self, where, result):
        """Check that the result database is whole; returns its rows, or none when it cannot be read."""
        try:
            return rows_of(database_of(result)) if os.path.exists(database_of(result)) else {}
        except sqlite3.Error as error:
            self.violate(where, ["result database: %s" % error])
            return {}

    def extract_anew(self, where, source, result, *options):
        """A new run with --clear gives the same as an undisturbed run."""
        ended = self.run(where + ", run again", source, result, "--clear", *options, statuses=(0,))
        if ended.status != 0:
            return
        rows, attachments, _ = self.known[source]
        if self.check_rows(where, result) != rows:
            self.violate(where, ["a new run with --clear gives other rows"])
        if attachments_of(result) != attachments:
            self.violate(where, ["a new run with --clear gives other attachments"])

    def check_evidence(self):
        for directory, before in self.sources.values():
            after = digests(directory)
            changed = [entry for entry in before.keys() | after.keys() if before.get(entry) != after.get(entry)]
            self.figures.add(**{"evidence files changed": len(changed)})
            if changed:
                self.violate("evidence", ["changed: %s" % changed[:5]])


def mounted(directory, *options):
    os.makedirs(directory, exist_ok=True)
    if os.getuid() != 0 or subprocess.run(["mount", *options, directory], capture_output=True).returncode != 0:
        raise Skipped("needs root and the right to mount")


def unmount(directory):
    subprocess.run(["umount", directory], check=True)
