"""What the lab's HTTP server answers on one path, well or badly."""

from dataclasses import dataclass, replace

from .errors import SceneError

MODES = {
    "ok": "the status and the body",
    "empty": "status 200 and no body",
    "no-length": "the body without Content-Length, ended by closing",
    "longer": "a Content-Length that promises more than comes, then the end",
    "shorter": "a Content-Length that promises less than comes",
    "trickle": "one byte at a time, `delay` seconds apart",
    "hang": "nothing, and the connection stays open",
    "hang-body": "the head and half of the body, then nothing more",
    "reset": "a TCP reset instead of an answer",
    "reset-body": "a TCP reset after half of the body",
    "close": "the end of the connection instead of an answer",
    "huge": "the body and then filler up to `size` MiB",
    "binary": "4 KiB that hold every byte value",
    "garbage": "bytes that are no HTTP at all",
    "redirect": "status 302 to `location`",
}


@dataclass(frozen=True)
class Page:
    mode: str = "ok"
    body: str = ""
    status: int = 200
    delay: float = 0.2
    wait: float = 0  # seconds before any answer, as on a long way
    size: int = 8
    location: str = ""

    @staticmethod
    def parse(value, place):
        """A page out of a scene: its body as text, or an object with any of the fields."""
        if isinstance(value, str):
            return Page(body=value)
        if not isinstance(value, dict):
            raise SceneError(f"{place}: expected text or an object")
        return Page().changed({k: str(v) for k, v in value.items()}, place)

    def changed(self, fields, place):
        """This page with some fields replaced; their values come as text."""
        kinds = {"mode": str, "body": str, "status": int, "delay": float, "wait": float, "size": int, "location": str}
        result = self
        for key, text in fields.items():
            if key not in kinds:
                raise SceneError(f"{place}.{key}: is not known here")
            try:
                result = replace(result, **{key: kinds[key](text)})
            except ValueError as error:
                raise SceneError(f"{place}.{key}: '{text}' is no number") from error
        if result.mode not in MODES:
            raise SceneError(f"{place}.mode: '{result.mode}' is none of {', '.join(MODES)}")
        return result


def default_pages(address, port, seen_address):
    """The configuration text and the what-is-my-IP reply that every lab web server has."""
    where = f"http://{address}" + ("" if port == 80 else f":{port}")
    reply = f"<html><head><title>Address check</title></head><body>Current IP Address: {seen_address}</body></html>\n"
    return {
        "/lanterna.txt": Page(body=f"{where}/ip||Current IP Address: ||</body>\n"),
        "/ip": Page(body=reply),
    }
