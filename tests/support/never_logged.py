#!/usr/bin/python3
"""Looks for secrets of the tests in logs. Each of them holds one mark, which tests/support/NeverLogged.h has, too.

  never_logged.py FILE...     "FILE:LINE: a secret" for each line that holds one, without showing it; exit code 1 when there is any

No file at all, and one that is missing or empty, counts as a failure, too: nothing was looked at.
"""

import base64
import os
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


def faults_of(path):
    try:
        with open(path, "rb") as file:
            if os.fstat(file.fileno()).st_size == 0:
                return [f"{path}: empty"]
            return [f"{path}:{number}: a secret" for number, line in enumerate(file, 1) if holds_secret(line)]
    except OSError as error:
        return [f"{path}: {error.strerror}"]


def main(paths):
    faults = [fault for path in paths for fault in faults_of(path)] if paths else ["no log to look at"]
    print("\n".join(faults) if faults else f"no secret in {len(paths)} logs")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
