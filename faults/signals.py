"""Runs that are killed or cancelled at random moments, and during one long piece of work."""
import glob
import os
import shutil
import signal
import time

import sweep
from sources import (android, application, attachment, end_of_parts, end_of_text, headers, multipart, separator,
                     text_part)
from sweep import artifact_dir, database_of, digests, log_of, mebibyte, write


def time_of(line):
    stamp = line[1:line.index("]")]
    return time.mktime(time.strptime(stamp, "%Y-%b-%dT%H-%M-%S"))


def has_open(path):
    """Whether a process has a file below this path open."""
    for descriptor in glob.iglob("/proc/[0-9]*/fd/*"):
        try:
            if os.readlink(descriptor).startswith(path):
                return True
        except OSError:
            pass  # the process ended while it was looked at
    return False


def wait_for_reader(result):
    """A killed run leaves the process that reads its mail, which ends by itself soon after."""
    deadline = time.time() + 5
    while time.time() < deadline and has_open(result):
        time.sleep(0.02)


def killed(s):
    """SIGKILL at random moments: a whole database, rows up to the last second, and a new run gives everything."""
    sources = s.two_sources()
    for number in range(s.kills):
        source = sources[number % 2]
        rows, attachments, seconds = s.known[source]
        result = s.path("result")
        delay = s.dice.uniform(0, seconds * 1.05)
        where = "kill %d after %.3f s" % (number, delay)
        killed_at = time.time() + delay
        ended = s.host.run_with_signal(source, result, signal.SIGKILL, delay)
        s.count(where, ended, (0, -signal.SIGKILL))
        s.figures.add(kills=1)
        wait_for_reader(result)
        if not os.path.isdir(artifact_dir(result)):
            shutil.rmtree(result, ignore_errors=True)
            continue
        copy = s.path("copy")  # the new run needs the tree as the kill left it
        shutil.copytree(result, copy)
        found = s.check_rows(where, copy)
        for table, kept in found.items():
            if kept != rows[table][:len(kept)]:
                s.violate(where, ["%s: rows that an undisturbed run does not have" % table])
        if not s.short and number % 2 == 0 and found and os.path.exists(log_of(copy)):
            lines = sweep.log_lines(log_of(copy))
            stored = sum("mail_data_start_parsing] -End" in line and time_of(line) + 1 < killed_at - 1
                         for line in lines if line.startswith("["))
            if len(found["messages"]) < stored:
                s.violate(where, ["%d rows of %d messages read more than a second before" %
                                  (len(found["messages"]), stored)])
        s.figures.add(**{"rows after kills": sum(map(len, found.values()))})
        shutil.rmtree(copy)
        s.extract_anew(where, source, result)
        shutil.rmtree(result)


def cancelled(s):
    """SIGINT and SIGTERM at random moments: a run ends within a second and keeps everything read so far."""
    sources = s.two_sources()
    for number in range(6 if s.short else 60):
        source = sources[number % 2]
        rows, attachments, seconds = s.known[source]
        result = s.path("result")
        delay = s.dice.uniform(0.02, seconds * 1.05)
        signal_number = s.dice.choice((signal.SIGINT, signal.SIGTERM))
        where = "signal %d after %.3f s" % (signal_number, delay)
        ended = s.host.run_with_signal(source, result, signal_number, delay)
        # A signal ends the program if it does not watch for signals yet.
        too_early = (-signal_number,) if delay < 0.2 or s.short else ()
        s.count(where, ended, (0, 128 + signal_number, *too_early))
        s.figures.add(cancels=1)
        if ended.status != -signal_number and os.path.exists(database_of(result)):
            for table, kept in s.check_rows(where, result).items():
                if table == "messages":
                    kept = kept[:-1]  # the last mail may lack some of its attachments
                if kept != rows[table][:len(kept)]:
                    s.violate(where, ["%s: rows that an undisturbed run does not have" % table])
            s.extract_anew(where, source, result)
        shutil.rmtree(result, ignore_errors=True)


def cancelled_in_long_work(s):
    """The same during one long piece of work."""
    scale = 1 if s.short else 8

    def one_giant(text):
        def make(source):
            path = os.path.join(source, "Mail", "a.mbox")
            os.makedirs(os.path.dirname(path))
            with open(path, "wb") as mbox:
                mbox.write(text[0])
                for _ in range(32 * scale):
                    mbox.write(text[1] * (mebibyte // len(text[1])))
                mbox.write(text[2] + separator)
        return make

    start = separator + headers % 1
    giants = {
        "giant text": (start + multipart + text_part[:-4] % b"", b"text with %41 and =E2=80=9C in it\r\n", end_of_text),
        "soft line breaks": (start + multipart + text_part[:-4] % b"", b"=\n", end_of_text),
        "giant attachment": (start + multipart + attachment(b"a", b"")[:-12], b"QUJD" * 19 + b"\r\n",
                             b"QQ==\r\n" + end_of_parts),
        "many parts": (start + multipart, b"Content-Type: text/plain; \r\n\r\n", end_of_parts),
        "folded recipients": (start + b"Cc: a\r\n", b" b <b@x>,\r\n", b"\r\n"),
        "names on a line": (start + multipart, b"filename=", b"\r\n\r\nQQ==\r\n"),
        "many short attachments": (start + multipart, b"filename=a\r\n\r\nQQ==\r\n", b"\r\n"),
        "one line": (start + multipart + text_part[:-4] % b"", b"x" * 64, end_of_text),
        "invalid text": (start + multipart + text_part[:-4] % b"", b"\xff\xfe invalid ", end_of_text),
    }

    def body_files(source):
        android(source, 10, 20000 * scale)

    def great_database(source):
        android(source, 4000 * scale, 0, 8000)

    def many_names(source):
        android(source, 10)
        write(os.path.join(source, application, "sp/warm_accounts_preferences.xml"),
              b"<map><string name='lastly_warmed_up_accounts'>" + b"a@x\n" * (500000 * scale) + b"</string></map>")

    makers = {name: one_giant(text) for name, text in giants.items()}
    makers |= {"body files": body_files, "great database": great_database, "many warmed up names": many_names}
    for name, make in makers.items():
        source = s.path("source")
        make(source)
        before = digests(source)
        for delay in [s.dice.uniform(0.1, limit) for limit in ((0.5, 2) if s.short else (0.3, 0.6, 1, 2, 3, 5, 8))]:
            result = s.path("result")
            ended = s.host.run_with_signal(source, result, signal.SIGINT, delay, "--no-log", max_seconds=120)
            too_early = (-signal.SIGINT,) if delay < 0.2 or s.short else ()
            s.count("%s, after %.2f s" % (name, delay), ended, (0, 3, 130, *too_early), False)
            s.figures.add(cancels=1)
            shutil.rmtree(result, ignore_errors=True)
        if digests(source) != before:
            s.violate(name, ["evidence changed"])
        shutil.rmtree(source)
