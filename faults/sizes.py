"""Sources that are very large, of very many pieces, or too large for memory."""
import os
import shutil
import sqlite3

import sweep
from fault_sweep import Skipped
from sources import android, attachment, end_of_parts, end_of_text, headers, message, multipart, separator, text_part
from sweep import attachments_of, log_of, mebibyte, write


def great_sizes(s):
    """A line of 1 GiB, a million empty messages, 100,000 attachments in one, a file without end or contents."""
    part = 16 if s.short else 1
    empty = os.path.join(s.path("empty"), "Mail/a.mbox")
    write(empty, (separator + b"\r\n") * (1000000 // part) + separator)
    ended = s.run("empty messages", s.path("empty"), s.path("r1"), statuses=(0,))
    if ended.rows != 1000000 // part:
        s.violate("empty messages", ["%d rows" % ended.rows])
    many = os.path.join(s.path("many"), "Mail/a.mbox")
    write(many, message(1, *(attachment(b"n%d" % (i % 1000), b"abc") for i in range(100000 // part))) + separator)
    ended = s.run("attachments", s.path("many"), s.path("r2"))
    if len(attachments_of(s.path("r2"))) != 100000 // part:
        s.violate("attachments", ["%d files" % len(attachments_of(s.path("r2")))])
    for name, start in (("line", separator + headers % 1 + multipart + text_part[:-4] % b""),
                        ("line before any message", b"")):
        source = s.path(name)
        path = os.path.join(source, "Mail/a.mbox")
        size = 1024 * mebibyte // part
        write(path, start)
        with open(path, "ab") as mbox:
            for _ in range(size // mebibyte):
                mbox.write(b"x" * mebibyte)
            mbox.write(b"\r\n" + message(2) + separator)
        ended = s.run(name, source, s.path("r " + name), statuses=(0, 3))
        s.figures.add(**{"memory for a %d MiB %s, MiB" % (size // mebibyte, name): ended.peak // mebibyte})
        if ended.peak > 48 * mebibyte + 6 * size + 20 * mebibyte and not s.host.sanitized:
            s.violate(name, ["%d MiB of memory" % (ended.peak // mebibyte)])
        shutil.rmtree(source)


def memory_of_giants(s):
    """Memory grows with the largest message, not with the file."""
    peaks = []
    # Without attachments: the program keeps a list of these.
    text = b"".join(message(number, text_part % (b"More text. " * 1000)) for number in range(700))
    for times in (1, 4):
        source, result = s.path("source"), s.path("result")
        write(os.path.join(source, "Mail/a.mbox"), text * times + separator)
        peaks.append(s.run("%d times" % times, source, result).peak)
        for directory in (source, result):
            shutil.rmtree(directory)
    s.figures.add(**{"memory for a mbox, MiB": peaks[0] // mebibyte,
                     "memory for 4 times the mbox, MiB": peaks[1] // mebibyte})
    if peaks[1] > peaks[0] + 4 * mebibyte and not s.host.sanitized:
        s.violate("4 times the mbox", ["%d instead of %d KiB" % (peaks[1] // 1024, peaks[0] // 1024)])
    size = (32 if s.short else 256) * mebibyte
    start = separator + headers % 1 + multipart
    texts = {
        "an attachment": (start + attachment(b"a", b"")[:-12], b"QUJD" * 19 + b"\r\n", b"QQ==\r\n" + end_of_parts),
        "ASCII text": (start + text_part[:-4] % b"", b"plain text of a line\r\n", end_of_text),
        "text with marks": (start + text_part[:-4] % b"", b"=E2=80=9Ctext=E2=80=9D%20\r\n", end_of_text),
        "Greek text": (start + text_part[:-4] % b"", "\u03b1\u03b2\u03b3\r\n".encode(), end_of_text),
        "invalid text": (start + text_part[:-4] % b"", b"\xff\xff\xff\r\n", end_of_text),
        "a subject": (start[:-4] + b"x: ", b"Subject", b"\r\n\r\n"),
        "recipients": (separator + b"x: y\r\nTo: ", b"a <a@x>,", b"\r\n\r\n"),
        "attachments": (start, attachment(b"name", b"abc"), end_of_parts),
        "short attachments": (start, b"filename=a\r\n\r\nQQ==\r\n", end_of_parts),
        "content types": (start, b"Content-Type: text/plain;\r\n\r\n", end_of_parts),
    }
    for name, (begin, middle, end) in texts.items():
        source, result = s.path("source"), s.path("result")
        this_size = size // 8 if "attachments" in name or name == "content types" else size
        write(os.path.join(source, "Mail/a.mbox"), begin + middle * (this_size // len(middle)) + end + separator)
        ended = s.run(name, source, result, "--no-log")
        excess = (ended.peak - 48 * mebibyte) / this_size
        s.figures.counts["memory for %s, times its size" % name] = round(excess, 1)
        # A text is in memory as bytes, as UTF-16, as the UTF-8 for SQLite, and twice in the row made of it.
        # Each byte that is not text becomes three.
        most = 10 if name == "invalid text" else 6.2
        if excess > most and not s.host.sanitized:
            s.violate("giant message, " + name, ["48 MiB and %.1f times its size" % excess])
        shutil.rmtree(source)
        shutil.rmtree(result, ignore_errors=True)


def memory_exhausted(s):
    """A message too large for memory is a failure that names the file; the next file is read."""
    if s.host.sanitized:
        raise Skipped("sanitizers need all of the address space")
    source, result = s.path("source"), s.path("result")
    os.makedirs(source + "/Mail")
    with open(source + "/Mail/1 endless.mbox", "wb") as file:
        file.truncate(8 << 30)  # zeros, not stored
    write(source + "/Mail/2.mbox", message(1) + separator)
    with open(source + "/Mail/3 endless.mbox", "wb") as file:
        file.write(separator)
        file.truncate(8 << 30)
    ended = s.run("takeout", source, result, statuses=(3,), address_space=1536 * mebibyte)
    failures = sweep.failure_lines(log_of(result)) if os.path.exists(log_of(result)) else []
    if ended.rows != 1 or not any("3 endless" in line for line in failures):
        s.violate("takeout", ["%d rows, failures: %s" % (ended.rows, failures[:3])])
    shutil.rmtree(source)
    shutil.rmtree(result, ignore_errors=True)
    path = android(source, 20)
    connection = sqlite3.connect(path)
    connection.execute("update Message set snippet = hex(zeroblob(200000000)) where _id = 5")
    connection.commit()
    connection.close()
    ended = s.run("android", source, result, statuses=(3,), address_space=1024 * mebibyte)
    rows = s.check_rows("android", result)
    if not rows or len(rows["mailbox"]) != 2 or len(rows["messages"]) < 10:
        s.violate("android", ["tables after the large one are missing"])
