#!/usr/bin/python3
"""Makes mails to measure imports with: bench/import_corpus.py FOLDER [COUNT] [SEED]

Mails of about 4 KB as people have them: a fifth plain text, the others text and HTML, two fifths with an attachment;
a fifth of all are copies of earlier ones. They lie in folders of a thousand. The same seed makes the same bytes.
"""

from __future__ import annotations

import base64
import email.utils
import pathlib
import random
import sys

WORDS = """harbour jetty meeting minutes invoice travel the of and to in we you for about plan draft review please
regards quarter budget contract ship crane pilot tide chart weather Monday Tuesday agreed open question attached
numbers list soon later north south berth cargo manifest customs größer naïve Zürich façade""".split()
PEOPLE = [(f"{first} {last}", f"{first}.{last}@example.org".lower())
          for first in ("Ann", "Jonas", "Ines", "Per", "Mara", "Tom", "Lea", "Ole")
          for last in ("Hale", "Okafor", "Lindqvist", "Berg", "Moreau", "Stone")]  # fmt: skip


def sentences(chance: random.Random, length: int) -> str:
    out, line = [], ""
    while sum(map(len, out)) < length:
        line += chance.choice(WORDS) + " "
        if len(line) > 66:
            out.append(line.strip() + "\n")
            line = ""
    return "".join(out)


def mail(number: int, chance: random.Random) -> bytes:
    (name, address), (to, to_address), (copy, copy_address) = chance.sample(PEOPLE, 3)
    when = 1_600_000_000 + number * 977
    date, mark = email.utils.formatdate(when), f"b{number:012x}"
    head = [f"Return-Path: <{address}>"]
    for hop in range(3):
        head.append(f"Received: from mx{hop}.example.org (mx{hop}.example.org [192.0.2.{hop}])\n\tby mx{hop + 1}.example.net"
                    f" (Postfix) with ESMTPS id {chance.getrandbits(48):012X}\n\tfor <{to_address}>;"
                    f" {email.utils.formatdate(when + 3 - hop)}")  # fmt: skip
    subject = chance.choice(("", "", "Re: ")) + " ".join(chance.choices(WORDS, k=5))
    if not subject.isascii():
        subject = f"=?utf-8?b?{base64.b64encode(subject.encode()).decode()}?="
    head += [f"From: {name} <{address}>", f"To: {to} <{to_address}>", f"Cc: \"{copy}\" <{copy_address}>",
             f"Subject: {subject}", f"Date: {date}", f"Message-ID: <{number}.{chance.getrandbits(64):x}@example.org>",
             f"References: <{number - 1}.x@example.org>", "MIME-Version: 1.0", "X-Mailer: Letters 3.2",
             f"X-Spam-Status: No, score={chance.random():.2f}"]  # fmt: skip
    text = sentences(chance, 1000)
    shape = chance.randrange(5)
    if shape == 0:
        text += sentences(chance, 2200)
        head += ["Content-Type: text/plain; charset=utf-8", "Content-Transfer-Encoding: 8bit"]
        return ("\n".join(head) + "\n\n" + text).encode()
    html = "<html><body><p>" + "</p>\n<p>".join(text.splitlines()) + "</p></body></html>\n"
    html = html.replace("=", "=3D") if shape % 2 else html
    parts = [f"--{mark}\nContent-Type: text/plain; charset=\"utf-8\"\nContent-Transfer-Encoding: 8bit\n\n{text}\n",
             f"--{mark}\nContent-Type: text/html; charset=\"utf-8\"\nContent-Transfer-Encoding: "
             f"{'quoted-printable' if shape % 2 and html.isascii() else '8bit'}\n\n{html}\n--{mark}--\n"]  # fmt: skip
    if shape < 3:
        head.append(f'Content-Type: multipart/alternative; boundary="{mark}"')
        return ("\n".join(head) + "\n\n" + "".join(parts)).encode()
    data = base64.encodebytes(chance.randbytes(600)).decode()
    head.append(f'Content-Type: multipart/mixed; boundary="m{mark}"')
    return ("\n".join(head) + f"\n\nThis is a multi-part message.\n--m{mark}\nContent-Type: multipart/alternative;"
            f' boundary="{mark}"\n\n' + "".join(parts) + f"\n--m{mark}\nContent-Type: application/octet-stream;"
            f' name="list-{number}.bin"\nContent-Transfer-Encoding: base64\nContent-Disposition: attachment;'
            f' filename="list-{number}.bin"\n\n{data}\n--m{mark}--\n').encode()  # fmt: skip


def main() -> None:
    top = pathlib.Path(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 20_000
    chance = random.Random(int(sys.argv[3]) if len(sys.argv) > 3 else 1)
    made: list[bytes] = []
    for number in range(count):
        copy = made and chance.randrange(5) == 0
        made.append(chance.choice(made[-500:]) if copy else mail(number, chance))
        folder = top / f"{number // 1000:03}"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / f"{number:06}.eml").write_bytes(made[-1])
    print(f"{count} mails, {sum(map(len, made)) // count} bytes each, in {top}")


if __name__ == "__main__":
    main()
