"""Trouble with the source: files that cannot be read, links, files that change, names that mislead."""
import os
import shutil
import subprocess
import time

import sweep
from fault_sweep import Skipped, as_nobody, mounted, nobody, unmount
from sources import android, application, attachment, message, separator, takeout
from sweep import artifact_dir, attachments_of, digests, log_of, write


def unreadable(s):
    """Files and folders that an ordinary user may not read: each is named in the log."""
    if os.getuid() != 0:
        raise Skipped("needs root, to become an ordinary user")
    def two_folders(source):
        takeout(source, 5)
        takeout(source + "/x", 5)
        shutil.move(source + "/x/Mail", source + "/Mail/deep")

    kinds = {
        "takeout": (two_folders,
                    ("Mail", "Mail/All mail.mbox", "Mail/deep", "Mail/deep/All mail.mbox")),
        "android": (lambda source: android(source, 50),
                    [application + path for path in ("db/EmailProvider.db", "db/mailstore.emil@example.org.db",
                                                     "f/body/0", "f/body", "r/app_webview", "r",
                                                     "r/app_webview/Cookies", "sp", "db",
                                                     "sp/warm_accounts_preferences.xml")]),
    }
    for kind, (make, victims) in kinds.items():
        for victim in victims:
            source, result = s.path("source"), s.path("result")
            make(source)
            os.makedirs(result)
            os.chown(result, nobody, nobody)
            path = os.path.join(source, victim)
            os.chmod(path, 0)
            s.run(victim, source, result, before=as_nobody, statuses=(3,))
            if os.path.exists(log_of(result)) and not any(path in line for line in sweep.failure_lines(log_of(result))):
                s.violate(victim, ["no failure names it"])
            os.chmod(path, 0o755)
            shutil.rmtree(source)
            shutil.rmtree(result)


def read_only_mount(s):
    for source in s.two_sources():
        there, result = s.path("mount"), s.path("result")
        mounted(there, "--bind", source)
        try:
            subprocess.run(["mount", "-o", "remount,bind,ro", there], check=True)
            s.run("read-only", there, result, statuses=(0,))
        finally:
            unmount(there)
        rows, attachments, _ = s.known[source]
        if s.check_rows("read-only", result) != rows or attachments_of(result) != attachments:
            s.violate("read-only", ["other rows or attachments"])
        shutil.rmtree(result)


def links(s):
    """Links that lead out of the source, or in a circle; pipes and sockets in place of files."""
    outside = s.path("outside")
    takeout(os.path.join(outside, "t"), 50)
    android(os.path.join(outside, "a"), 50)
    source, result = s.path("source"), s.path("result")
    takeout(source, 20)
    mail = os.path.join(source, "Mail")
    os.symlink(os.path.join(outside, "t/Mail/All mail.mbox"), mail + "/out.mbox")
    os.symlink(os.path.join(outside, "t/Mail"), mail + "/folder")
    os.symlink("circle.mbox", mail + "/circle.mbox")
    os.symlink("..", mail + "/up")
    os.symlink("nowhere.mbox", mail + "/dangling.mbox")
    os.mkfifo(mail + "/pipe.mbox")
    os.mkdir(mail + "/folder.mbox")
    os.symlink("/dev/zero", mail + "/zero.mbox")
    ended = s.run("takeout", source, result, statuses=(3,))
    if ended.rows != 20:
        s.violate("takeout", ["%d rows" % ended.rows])
    shutil.rmtree(source)
    shutil.rmtree(result)
    android(source, 20)
    gm = os.path.join(source, application)
    for victim, target in (("db/EmailProvider.db", "db/EmailProvider.db"), ("f/body/0", "f/body/0"), ("r", "r"),
                           ("sp/warm_accounts_preferences.xml", "sp/warm_accounts_preferences.xml")):
        path = os.path.join(gm, victim)
        shutil.rmtree(path) if os.path.isdir(path) else os.remove(path)
        os.symlink(os.path.join(outside, "a", application, target), path)
    os.symlink(".", os.path.join(gm, "db/circle"))
    os.symlink(os.path.join(outside, "a", application, "db/mailstore.emil@example.org.db"), gm + "db/mailstore.x.db")
    os.mkfifo(gm + "db/mailstore.pipe.db")
    os.symlink("/dev/zero", gm + "db/mailstore.emil@example.org.db-wal")
    ended = s.run("android", source, result, statuses=(3,))
    if ended.rows > 11:
        s.violate("android", ["%d rows from outside" % ended.rows])


def moving_files(s):
    """Files that shrink, grow or vanish while they are read."""
    def shrink(path):
        os.truncate(path, os.path.getsize(path) // 3)

    def grow(path):
        with open(path, "ab") as file:
            file.write(b"\r\nFrom more\r\n" * 100000)

    def change(path):
        with open(path, "r+b") as file:
            file.seek(os.path.getsize(path) // 2)
            file.write(os.urandom(200000))

    messages = 400 if s.short else 3000
    for kind, make in (("takeout", lambda source: takeout(source, messages, 12000)),
                       ("android", lambda source: android(source, 4000))):
        for name, act in (("shrink", shrink), ("grow", grow), ("vanish", os.remove), ("change", change)):
            for number in range(1 if s.short else 5):
                source, result = s.path("source"), s.path("result")
                path = make(source)
                process = s.host.start(source, result)
                delay = s.dice.uniform(0.05, 0.4)
                time.sleep(delay)
                act(path)
                ended = s.host.wait(process, 120)
                where = "%s, %s after %.3f s" % (kind, name, delay)
                s.count(where, ended)
                if kind == "takeout" and name == "shrink" and ended.rows < messages and ended.status == 0:
                    s.violate(where, ["%d rows of %d with status 0" % (ended.rows, messages)])
                s.check_rows(where, result)
                shutil.rmtree(source)
                shutil.rmtree(result)


def odd_names(s):
    """File names that are not UTF-8, of the greatest length, or full of control characters."""
    names = [b"\xff\xfe", b"a\nb\tc\x01", b"\xc3\xa4" * 120, "\u202egnp.\u0000".encode()[:-1], b" blank ", b"-rf",
             b"%s%n", b"'\"; drop table messages; --"]
    source, result = s.path("source"), s.path("result")
    mail = os.fsencode(source) + b"/Mail/"
    for name in names:
        os.makedirs(mail + b"folder " + name)
        for path in (mail + name + b".mbox", mail + b"folder " + name + b"/in.mbox"):
            with open(path, "wb") as file:
                file.write(message(1) + separator)
    ended = s.run("takeout", source, result)
    expected = 2 * len(names)
    told = len([line for line in sweep.failure_lines(log_of(result))
                if "File Open Failed" in line or "cannot be" in line])
    if ended.rows + told < expected:
        s.violate("takeout", ["%d files, %d rows, %d failures" % (expected, ended.rows, told)])
    shutil.rmtree(source)
    shutil.rmtree(result)
    android(source, 20)
    gm = os.fsencode(os.path.join(source, application))
    for name in names:
        shutil.copy(gm + b"db/mailstore.emil@example.org.db", gm + b"db/mailstore." + name[:200] + b".db")
        with open(gm + b"f/body/0/3." + name, "wb") as file:
            file.write(b"x")
    ended = s.run("android", source, result)
    told = len([line for line in sweep.failure_lines(log_of(result)) if "cannot be" in line])
    rows = s.check_rows("android", result)
    if len(rows["messages"]) != 20 + 10 * len(names):
        s.violate("android", ["%d rows, %d failures" % (len(rows["messages"]), told)])


def attachment_names(s):
    """Names that try to get out of Attachments/, and links planted there."""
    source, result, outside = s.path("source"), s.path("result"), s.path("outside")
    names = [b"../../escape", b"/tmp/escape_of_a_sweep", b"..", b".", b"", b"/", b"a/../../b", b"..\\..\\c", b"planted",
             b"planted_folder/d", b"nul\0../../e", b"f" * 255, b"g" * 300, b"\xff\xfe", b"CON", b"h\x1b[2J",
             b"dangling"]
    write(os.path.join(source, "Mail/a.mbox"),
          b"".join(message(i, attachment(name, b"content%d" % i)) for i, name in enumerate(names)) + separator)
    write(os.path.join(outside, "target"), b"untouched")
    os.makedirs(os.path.join(artifact_dir(result), "Attachments"))
    planted = os.path.join(artifact_dir(result), "Attachments")
    os.symlink(os.path.join(outside, "target"), os.path.join(planted, "planted"))
    os.symlink(outside, os.path.join(planted, "planted_folder"))
    os.symlink(os.path.join(outside, "new"), os.path.join(planted, "dangling"))
    before = digests(s.path())
    s.run("names", source, result)
    inside = os.path.relpath(artifact_dir(result), s.path()).encode()
    new = [entry for entry, what in digests(s.path()).items()
           if not entry.startswith(inside) and before.get(entry) != what]
    if new or os.path.exists("/tmp/escape_of_a_sweep"):
        s.violate("names", ["written outside: %s" % new])
    deep = [entry for entry in digests(planted) if b"/" in entry]
    if deep:
        s.violate("names", ["folders made: %s" % deep])
