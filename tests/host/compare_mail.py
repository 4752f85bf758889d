#!/usr/bin/env python3
"""Compares what `gmail_host read` finds in mbox files with what Python's `email` finds.

    compare_mail.py PROGRAM [--real SOURCE] [--count N] [--seed N]

Without --real, mail is generated: nested multiparts, odd boundaries, encodings, fields. Every part's bytes, and each
date, address and subject that Python reads, must be equal; otherwise the status is 1. Where Python is known to be
wrong, the comment at that line says so.
"""
import argparse, base64, binascii, email, email.policy, email.utils, glob, hashlib, os, random, re, sqlite3
import subprocess, sys, tempfile

SEPARATOR = re.compile(rb"From .*[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9]?[0-9] \d\d:\d\d(:\d\d)?( [A-Za-z+\-0-9]+)? \d{4}"
                       rb"( [A-Za-z+\-0-9]+)*[ \t\r]*$")
HEADER = re.compile(rb"[\x21-\x39\x3b-\x7e]+:")


def split(data):
    """Offsets and bytes of the mails of an mbox."""
    lines = re.split(rb"(?<=\n)", data)
    starts, at = [], 0
    for number, line in enumerate(lines):
        if line.startswith(b"From ") and SEPARATOR.match(line.rstrip(b"\n")):
            before = lines[number - 1] if number else b"\n"
            after = lines[number + 1] if number + 1 < len(lines) else b""
            if before in (b"\n", b"\r\n") or HEADER.match(after):
                starts.append(at)
        at += len(line)
    return [(start, data[start:end]) for start, end in zip(starts, starts[1:] + [len(data)])]


def content(stored, followed):
    """The input of a parser: without "From " line, empty line before the next mail, and quoting."""
    mail = stored.partition(b"\n")[2]
    if followed:
        mail = re.sub(rb"(?:(?<=\n)|^)\r?\n\Z", b"", mail)
    return re.sub(rb"(?m)^>(>*From )", rb"\1", mail)


def leaves(message, prefix=""):
    """(path, message) of leaf parts, numbered as IMAP does; embedded messages have no bytes here."""
    children = message.get_payload() if message.is_multipart() else None
    if message.get_content_maintype() == "multipart" and children is not None:
        for number, child in enumerate(children, 1):
            path = f"{prefix}{number}"
            if child.get_content_maintype() == "multipart" and child.is_multipart():
                yield from leaves(child, path + ".")
            elif child.is_multipart():
                yield from embedded(child, path)
            else:
                yield path, child
    elif children is not None:
        yield from embedded(message, prefix + "1")
    else:
        yield prefix + "1", message


def embedded(part, path):
    """Programs that encode embedded messages exist, but Python does not decode them: their contents are skipped."""
    encoding = (part["content-transfer-encoding"] or "").strip().lower()
    if part.get_content_type() == "message/rfc822" and encoding in ("base64", "quoted-printable"):
        yield path + ".", None
        return
    yield path, None
    if part.get_content_type() == "message/rfc822":
        yield from leaves(part.get_payload(0), path + ".")


def python_date(text):
    """UTC seconds, None when Python cannot read the date; False when it guesses."""
    fields = email.utils.parsedate_tz(text)
    if fields is None:
        return None
    try:
        return int(email.utils.mktime_tz(fields[:9] + (fields[9] or 0,)))
    except (ValueError, OverflowError):
        return None


class comparison:
    def __init__(self, database):
        self.db = sqlite3.connect(database)
        self.db.text_factory = lambda raw: raw.decode("utf-8", "surrogateescape")
        self.checked, self.differences = 0, []

    def check(self, mail, what, ours, theirs, context=b""):
        self.checked += 1
        if ours != theirs:
            self.differences.append((mail, what, ours, theirs, context))

    def one(self, mail_id, parsed, modern):
        db = self.db
        parts = dict(db.execute("select path, sha256 from part where mail = ?", (mail_id,)))
        known = set()
        # A boundary that is folded keeps its line end in Python, and is never found.
        folded = any("\n" in (part.get_boundary() or "") for part in parsed.walk())
        for path, part in leaves(parsed) if not folded else ():
            known.add(path)
            if path.endswith("."):
                known.update(each for each in parts if each == path[:-1] or each.startswith(path))
                continue
            if part is None:
                self.check(mail_id, f"part {path} is there", path in parts, True)
                continue
            if part["content-transfer-encoding"]:  # Python looks at the blanks after it, too
                part.replace_header("content-transfer-encoding", part["content-transfer-encoding"].strip())
            payload = part.get_payload(decode=True)
            self.check(mail_id, f"part {path}", parts.get(path), hashlib.sha256(payload or b"").hexdigest(), payload)
        if not folded:
            self.check(mail_id, "surplus parts", sorted(set(parts) - known), [])
        date, subject = db.execute("select date, subject from mail where id = ?", (mail_id,)).fetchone()
        if parsed["date"] is not None and python_date(str(parsed["date"])) is not None:
            self.check(mail_id, "date", date, python_date(str(parsed["date"])), parsed["date"])
        self.fields(mail_id, modern, subject)

    def fields(self, mail_id, modern, subject):
        try:
            expected = str(modern["subject"] or "").strip()
            people = [(role, position, each.addr_spec, each.display_name)
                      for role in ("from", "to", "cc", "bcc", "reply-to", "sender") if modern[role] is not None
                      for position, each in enumerate(getattr(modern[role], "addresses", ()), 1)]
        except Exception:  # Python's reader of fields fails on some
            return
        if "\ufffd" not in expected:
            self.check(mail_id, "subject", subject or "", expected)
        for role, position, address, name in people:
            if not address or address == "<>":
                continue
            found = self.db.execute("select address, name from address where mail = ? and role = ? and position = ?",
                                    (mail_id, role, position)).fetchone()
            # Undeclared 8-bit text is kept as surrogates, names in comments are left out, and blanks between encoded
            # words are kept by Python.
            if found and (not name or re.search("[\ufffd\udc80-\udcff]", name)):
                name = found[1]
            strip = lambda text: re.sub(r"\s+", "", text or "")
            self.check(mail_id, f"{role} {position}", found and (found[0], strip(found[1])), (address, strip(name)),
                       modern[role])


def compare(program, source, extra=()):
    with tempfile.TemporaryDirectory() as result:
        subprocess.run([program, "read", "--quiet", *extra, source, result], check=True, stdout=subprocess.DEVNULL)
        folder = os.path.join(result, "Artifacts_Result", "Gmail")
        against = comparison(os.path.join(folder, "Mail.sqlite"))
        for path in sorted(glob.glob(os.path.join(glob.escape(source), "Mail", "**", "*.mbox"), recursive=True)):
            data = open(path, "rb").read()
            place = "/" + os.path.relpath(path, source)
            found = split(data)
            rows = against.db.execute("select id, offset, length, sha256 from mail where source_file = ? order by "
                                      "ordinal", (place,)).fetchall()
            against.check(place, "mails", [row[1] for row in rows], [start for start, _ in found])
            for row, (start, stored) in zip(rows, found):
                against.check(row[0], "bytes", row[3], hashlib.sha256(stored).hexdigest())
                mail = content(stored, start + len(stored) < len(data))
                against.one(row[0], email.message_from_bytes(mail, policy=email.policy.compat32),
                            email.message_from_bytes(mail, policy=email.policy.default))
        for file, digest in against.db.execute("select distinct file, sha256 from part where file is not null"):
            data = open(os.path.join(folder, file), "rb").read()
            against.check(file, "file", hashlib.sha256(data).hexdigest(), digest)
        return against


# ---- Generated mail --------------------------------------------------------------------------------------------------

class generator:
    def __init__(self, seed):
        self.random = random.Random(seed)
        self.boundaries = 0

    def choose(self, *options):
        return self.random.choice(options)

    def chance(self, share):
        return self.random.random() < share

    def boundary(self):
        self.boundaries += 1
        return self.choose("b%d", "----=_Part_%d_1.2", "=_%d x", "000%d", "(%d)'+_,-./:=?", "%d--", "--%d").replace(
            "%d", str(self.boundaries))

    def text(self):
        words = ["Hase", "Igel", "--", "From here", "--b1x", "\tTab ", "Gr\u00fc\u00dfe", "=", "==", ".", "x" * 80, "-- "]
        lines = [" ".join(self.random.choices(words, k=self.random.randrange(6)))
                 for _ in range(self.random.randrange(8))]
        return "\n".join(lines) + self.choose("", "\n", "\n\n")

    def leaf(self, digest=False):
        charset = self.choose("utf-8", "iso-8859-1", "UTF-8", "windows-1252")
        data = self.text().encode(charset, "replace")
        kind = self.choose("text/plain", "text/html", "image/png", "application/octet-stream", "TEXT/Plain")
        header = ""
        if not self.chance(0.1):
            header += f"Content-Type: {kind}; charset={self.choose(charset, chr(34) + charset + chr(34))}"
            header += self.choose("", '; name="a b.txt"', ";\n name*0*=utf-8''%C3%A4;\n name*1=\"b.PDF\"",
                                  "; name==?utf-8?Q?x=C3=A4?=", "; name=../../etc/x") + "\n"
        encoding = self.choose("7bit", "8bit", "base64", "quoted-printable", "", "x-uuencode", "BASE64")
        if encoding.lower() == "base64":
            data = self.random.randbytes(self.random.randrange(200))
            encoded = base64.encodebytes(data)
            if self.chance(0.2):
                encoded = encoded.rstrip(b"\n").rstrip(b"=")
            if self.chance(0.1):
                encoded = encoded.rstrip(b"\n") + b"\n-- \nlist!\n" if encoded.rstrip(b"\n").endswith(b"=") else encoded
            data = encoded
        elif encoding == "quoted-printable":
            data = binascii.b2a_qp(data) if self.chance(0.8) else data
        elif encoding == "x-uuencode":
            data = b"begin 644 x\n" + b"".join(binascii.b2a_uu(data[i:i + 45]) for i in range(0, len(data), 45)) + b"`\nend\n"
        if encoding:
            header += f"Content-Transfer-Encoding: {encoding}\n"
        if self.chance(0.3):
            header += f"Content-Disposition: {self.choose('inline', 'attachment')}; filename=f.{self.choose('txt', 'P1', 'x' * 12)}\n"
        if self.chance(0.2):
            header += "Content-ID: <a@b@c>\n"
        return header.encode() + b"\n" + data

    def entity(self, depth):
        kind = self.random.random()
        if depth > 4 or kind < 0.45:
            return self.leaf()
        if kind < 0.55:
            return b"Content-Type: message/rfc822\n\n" + self.mail(depth + 1)
        return self.multipart(depth)

    def multipart(self, depth):
        boundary = self.boundary()
        subtype = self.choose("mixed", "alternative", "related", "digest", "signed")
        header = f'Content-Type: multipart/{subtype};\n boundary="{boundary}"\n\n'.encode()
        body = self.choose(b"", b"preamble\n", b"\n", b"--not\n")
        for _ in range(self.random.randrange(1, 4)):
            body += f"--{boundary}{self.choose('', '', ' ', chr(9))}\n".encode() + self.entity(depth + 1) + b"\n"
        if not self.chance(0.1):
            body += f"--{boundary}--{self.choose('', ' ')}".encode() + self.choose(b"", b"\n", b"\nepilogue\n", b"\n\n")
        return header + body

    def fields(self):
        r = self.choose
        lines = [r("From: Anna Beispiel <anna@example.org>", 'From: "Beispiel, Anna" <a@b.org>',
                   "From: =?utf-8?B?w4Q=?= =?utf-8?B?w7Y=?= <a@b>", "From: a@b (Anna)", "FROM: =?iso-8859-1?q?=C4nna?= <x@y>",
                   "From: x@y"),
                 r("To: A <a@b>, B <c@d>", "To: undisclosed-recipients:;", "To: G: a@b, C <c@d>;, e@f",
                   "To: a@b,\n\tc@d", "To: <a@b>"),
                 r("Cc: \"q \\\" x\" <q@x>", "X-Y: z", "Bcc: hidden@example.org"),
                 r("Subject: plain", "Subject: =?utf-8?Q?a=C3=A4?=\n =?utf-8?Q?_b?=", "Subject: two\n lines", "Subject:",
                   "Subject: =?iso-8859-15?B?pA==?= x", "Subject: =?utf-8?B?4pi6?= =?utf-8?B?4pi7?=",
                   "Subject: \u00e4 undeclared"),
                 r("Date: Mon, 1 Jan 2024 10:11:12 +0100", "Date: 1 Jan 99 10:11 EST", "Date: Fri, 12-Jan-2001 10:11:12 GMT",
                   "Date: Mon Jan  1 10:11:12 2024", "Date: Mon, 01 Jan 2024 10:11:12 -0330 (NST)", "Date: none",
                   "Date: Tue, 29 Feb 2000 23:59:60 +0000", "Date: 11-04-2023")]
        self.random.shuffle(lines)
        return "\n".join(lines).encode() + b"\n"

    def mail(self, depth=0):
        return self.fields() + b"MIME-Version: 1.0\n" + self.entity(depth)

    def mbox(self, count, line_end):
        data = b""
        for _ in range(count):
            mail = re.sub(rb"(?m)^(>*From )", rb">\1", self.mail())
            data += b"From 1@xxx Mon Jan 01 10:11:12 +0000 2024\n" + mail + self.choose(b"", b"\n") * (not mail.endswith(b"\n"))
            data += self.choose(b"", b"\n") if not data.endswith(b"\n") else b""
            data += b"\n" if data.endswith(b"\n") else b"\n\n"
        data = data[:len(data) - self.random.randrange(3)] if self.chance(0.5) and data.endswith(b"\n\n") else data
        return data.replace(b"\n", line_end)


def generate(folder, count, seed):
    made = generator(seed)
    os.makedirs(os.path.join(folder, "Mail"))
    for name, line_end in (("lf", b"\n"), ("crlf", b"\r\n")):
        with open(os.path.join(folder, "Mail", name + ".mbox"), "wb") as file:
            file.write(made.mbox(count, line_end))


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("program")
    options.add_argument("--real", help="a source to compare instead of generated mail")
    options.add_argument("--count", type=int, default=300)
    options.add_argument("--seed", type=int, default=1)
    given = options.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        source = given.real or os.path.join(folder, "source")
        if not given.real:
            generate(source, given.count, given.seed)
        result = compare(given.program, source)
    for difference in result.differences:
        print("mail %s, %s:\n    ours   %.300r\n    Python %.300r\n    %.400r" % difference)
    print(f"{result.checked} values compared, {len(result.differences)} differ")
    return 1 if result.differences or not result.checked else 0


if __name__ == "__main__":
    sys.exit(main())
