"""Trouble with the result: a full disk, a result that is removed or write-protected, two runs at once."""
import collections
import contextlib
import os
import shutil
import subprocess
import time

import sweep
from fault_sweep import Skipped, as_nobody, mounted, nobody, unmount
from sweep import artifact_dir, attachments_of, database_of, log_of


def account_for_missing(s, where, source, result, log, ended):
    """After a full disk: everything missing is reported in the log."""
    rows, attachments, _ = s.known[source]
    found = s.check_rows(where, result)
    missing = sum(len(rows[table]) - len(found.get(table, ())) for table in rows)
    failures = sweep.failure_lines(log) if os.path.exists(log) else []
    if missing and ended.status not in (3, 7):  # 7: the record does not fit either
        s.violate(where, ["%d rows missing, but status %d" % (missing, ended.status)])
    whole_tables = [line for line in failures if "opening" in line or "Select query" in line or "copy of" in line
                    or "table creation" in line or "dropped" in line]
    could_log = not any("debug log" in line for line in failures) and ended.log_whole
    if could_log and missing > len(failures) and not whole_tables:
        s.violate(where, ["%d rows missing, %d failures logged" % (missing, len(failures))])
    there = attachments_of(result)
    wanted = collections.Counter(what for what in attachments.values())
    wanted.subtract(there.values())
    lost = [what for what, count in wanted.items() if count > 0]
    told = [line for line in failures if "File Open Failed" in line or "File Write" in line]
    if could_log and len(lost) > len(told) + missing and not whole_tables:
        s.violate(where, ["%d attachments missing, %d failures logged" % (len(lost), len(told))])
    s.figures.add(**{"rows lost to a full disk": max(0, missing)})


def disk_full(s):
    """A small file system for the result, of sizes that end each stage; and one for the log alone."""
    disk = s.path("disk")
    sources = [s.source("takeout", 300, 12000), s.source("android", 2000)]
    sizes = (40, 2000) if s.short else (16, 40, 80, 120, 200, 300, 450, 600, 900, 1200, 1600, 2000, 2500, 3000, 3600)
    for source in sources:
        for kibibytes in sizes:
            for log_place in ("beside", "elsewhere", "alone"):
                where = "%d KiB, log %s" % (kibibytes, log_place)
                mounted(disk, "-t", "tmpfs", "-o", "size=%dk" % kibibytes, "tmpfs")
                try:
                    result = os.path.join(disk, "r") if log_place != "alone" else s.path("result")
                    log = {"beside": log_of(result), "elsewhere": s.path("log"),
                           "alone": os.path.join(disk, "log")}[log_place]
                    ended = s.host.run(source, result, "--log", log, max_seconds=120)
                    s.count(where, ended, (0, 3, 5, 7))
                    if os.path.exists(log):
                        s.violate(where, sweep.uncounted(ended, log))
                        with open(log, "rb") as file:
                            text = file.read()
                        ended.log_whole = b"pub_extract_artifacts] - END" in text and \
                            b"could not be written" not in text
                        if not ended.log_whole and ended.status == 0:
                            s.violate(where, ["the log is incomplete, but status 0"])
                    if ended.status != 5:
                        account_for_missing(s, where, source, result, log, ended)
                    subprocess.run(["mount", "-o", "remount,size=64m", disk], check=True)
                    s.extract_anew(where, source, result, "--log", log)
                finally:
                    unmount(disk)
                shutil.rmtree(s.path("result"), ignore_errors=True)
                if os.path.exists(s.path("log")):
                    os.remove(s.path("log"))


def meanwhile(s, source, result, act, moments, statuses=(0, 3, 5), options=(), before=()):
    """Runs during each of which `act` is called once, at a random moment."""
    _, _, seconds = s.known[source]
    for number in range(moments):
        delay = s.dice.uniform(0, seconds)
        process = s.host.start(source, result, *options, before=before)
        time.sleep(delay)
        act()
        ended = s.host.wait(process, 120)
        where = "after %.3f s" % delay
        s.count(where, ended, statuses)
        yield where, ended


def result_removed(s):
    for source in s.two_sources():
        result = s.path("result")
        for victim in (artifact_dir(result), os.path.join(artifact_dir(result), "Attachments"),
                       os.path.join(artifact_dir(result), "tmp"), database_of(result), log_of(result)):
            def act():
                shutil.rmtree(victim, ignore_errors=True) if os.path.isdir(victim) else \
                    os.path.exists(victim) and os.remove(victim)
            for where, ended in meanwhile(s, source, result, act, 1 if s.short else 4):
                rows = s.known[source][0]
                whole = os.path.exists(database_of(result)) and s.check_rows(where, result) == rows and \
                    os.path.exists(log_of(result))
                if not whole and ended.status == 0 and not victim.endswith(("tmp", "Attachments")) and \
                        float(where.split()[1]) < s.known[source][2] * 0.6: # not after everything was done
                    s.violate("%s of %s removed" % (where, os.path.basename(victim)), ["incomplete with status 0"])
                shutil.rmtree(result, ignore_errors=True)


def result_write_protected(s):
    if os.getuid() != 0:
        raise Skipped("needs root, to become an ordinary user")
    for source in s.two_sources():
        result = s.path("result")

        def act():
            for folder, _, files in os.walk(result, topdown=False):
                for path, mode in [(os.path.join(folder, name), 0o444) for name in files] + [(folder, 0o555)]:
                    with contextlib.suppress(FileNotFoundError):  # the run removes working copies
                        os.chmod(path, mode)
        for number in range(2 if s.short else 6):
            os.makedirs(result)
            os.chown(result, nobody, nobody)
            for where, ended in meanwhile(s, source, result, act, 1, before=as_nobody):
                if os.path.exists(database_of(result)):
                    rows, attachments, _ = s.known[source]
                    whole = s.check_rows(where, result) == rows and attachments_of(result) == attachments
                    if not whole and ended.status not in (3, 5):
                        s.violate(where, ["incomplete with status %d" % ended.status])
            shutil.rmtree(result)


def two_runs_at_once(s):
    for source in s.two_sources():
        for number in range(1 if s.short else 6):
            result = s.path("result")
            runs = [s.host.start(source, result, "--append") for _ in range(2)]
            ended = [s.host.wait(process, 300) for process in runs]
            for run in ended:
                s.count("run %d" % number, run, (0, 3, 5))
            taken = sum(run.status != 5 for run in ended)  # the others were refused with a message
            if not taken:
                s.violate("run %d" % number, ["both runs refused"])
            found = s.check_rows("run %d" % number, result)
            rows = s.known[source][0]
            missing = taken * sum(map(len, rows.values())) - sum(map(len, found.values()))
            if missing > 0 and not sweep.failure_lines(log_of(result)):
                s.violate("run %d" % number, ["%d rows missing, no failure" % missing])
            s.extract_anew("run %d" % number, source, result)
            shutil.rmtree(result)
