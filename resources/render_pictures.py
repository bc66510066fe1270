#!/usr/bin/env python3
"""Renders the committed PNG pictures from the SVG drawings beside this script, and gives the windows their copy of the icon. Needs librsvg2-2 and libcairo2; run it after changing a drawing."""

import ctypes
import pathlib
import shutil
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ICONS = HERE / "icons" / "hicolor"

cairo = ctypes.CDLL("libcairo.so.2")
rsvg = ctypes.CDLL("librsvg-2.so.2")
cairo.cairo_image_surface_create.restype = ctypes.c_void_p
cairo.cairo_create.restype = ctypes.c_void_p
rsvg.rsvg_handle_new_from_file.restype = ctypes.c_void_p


class Rectangle(ctypes.Structure):
    _fields_ = [(name, ctypes.c_double) for name in ("x", "y", "width", "height")]


def render(svg_text, size, target):
    """Draws the SVG text into a square PNG of this size."""
    target.parent.mkdir(parents=True, exist_ok=True)
    with tempfile.NamedTemporaryFile(suffix=".svg") as source:
        source.write(svg_text.encode())
        source.flush()
        error = ctypes.c_void_p()
        handle = rsvg.rsvg_handle_new_from_file(source.name.encode(), ctypes.byref(error))
        assert handle, f"{target.name}: the drawing cannot be read"
        surface = cairo.cairo_image_surface_create(0, size, size)
        context = cairo.cairo_create(ctypes.c_void_p(surface))
        area = Rectangle(0, 0, size, size)
        assert rsvg.rsvg_handle_render_document(ctypes.c_void_p(handle), ctypes.c_void_p(context), ctypes.byref(area), ctypes.byref(error))
        assert cairo.cairo_surface_write_to_png(ctypes.c_void_p(surface), str(target).encode()) == 0
        cairo.cairo_destroy(ctypes.c_void_p(context))
        cairo.cairo_surface_destroy(ctypes.c_void_p(surface))


def main():
    template = (ICONS / "symbolic/apps/lanterna_menuitemTemplate-symbolic.svg").read_text()
    for name, colour in (("light", "#ffffff"), ("dark", "#1c1c1e")):
        # Twice the largest size a panel asks for is a whole multiple of most of them.
        render(template.replace("color: #9a9a9a", f"color: {colour}").replace("currentColor", colour), 128,
               HERE / "lanterna" / f"lanterna_menuitem_{name}.png")
    warning = (ICONS / "scalable/status/lanterna_warning.svg").read_text()
    render(warning, 128, HERE / "lanterna" / "lanterna_warning.png")
    shutil.copy(ICONS / "scalable/apps/lanterna.svg", HERE.parent / "ui/icons/lanterna.svg")
    for size in (22, 48):
        render((ICONS / "scalable/apps/lanterna.svg").read_text(), size, ICONS / f"{size}x{size}" / "apps" / "lanterna.png")
        render(warning, size, ICONS / f"{size}x{size}" / "status" / "lanterna_warning.png")


if __name__ == "__main__":
    main()
