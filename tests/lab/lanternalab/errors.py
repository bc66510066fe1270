"""What can go wrong, and the exit code that says so."""

EXIT_FAILED = 70  # the LAN could not be built, although this machine can build one (EX_SOFTWARE of sysexits.h)
EXIT_USAGE = 2
EXIT_CANNOT = 77  # this machine allows no namespaces: CTest's SKIP_RETURN_CODE


class LabError(Exception):
    """One clear line for the person, and the exit code of the whole command."""

    code = EXIT_FAILED


class SceneError(LabError):
    """The scene, or an argument, is not understood."""

    code = EXIT_USAGE


class CannotRun(LabError):
    """Neither root nor a user namespace is to be had here."""

    code = EXIT_CANNOT
