#!/usr/bin/python3
"""Looks for secrets of the tests in logs. Each of them holds one mark, which tests/support/NeverLogged.h has, too.

  never_logged.py FILE...     "FILE:LINE: a secret" for each line that holds one, without showing it; exit code 1 when there is any

A file that is missing, and no line in any of them, count as failures, too: nothing was looked at.
"""

import base64
import sys

# None of its characters is changed by percent encoding or by JSON.
MARK = "s3cr3t-never-log"


def base64_forms():
    """What the mark looks like in Base64, with any number of bytes before it: the characters of which all six bits are the mark's."""
    for before in range(3):
        whole = base64.b64encode(b"\0" * before + MARK.encode())
        yield whole[(before * 8 + 5) // 6:(before + len(MARK)) * 8 // 6]


FORMS = tuple(base64_forms())


def holds_secret(text):
    """Whether a text (or bytes) holds a secret: as it is, in any case of letters, or in Base64."""
    data = text.encode(errors="replace") if isinstance(text, str) else text
    return MARK.encode() in data.lower() or any(form in data for form in FORMS)


def search(path):
    """(number of lines, faults) of one log."""
    lines, faults = 0, []
    try:
        with open(path, "rb") as file:
            for lines, line in enumerate(file, 1):
                faults += [f"{path}:{lines}: a secret"] if holds_secret(line) else []
    except OSError as error:
        faults.append(f"{path}: {error.strerror}")
    return lines, faults


def main(paths):
    found = [search(path) for path in paths]
    lines, faults = sum(count for count, _ in found), [fault for _, faults in found for fault in faults]
    if not faults and lines == 0:
        faults = ["no line to look at"]
    print("\n".join(faults) if faults else f"no secret in {lines} lines of {len(paths)} logs")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
