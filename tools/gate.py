"""What the checks of this folder share: the checkout, its files, and the form of a complaint."""

import argparse
import pathlib
import re
import subprocess
import sys

SOURCE_SUFFIXES = {".h", ".hpp", ".ipp", ".c", ".cc", ".cpp"}


def parser(description):
    """Options of every check."""
    result = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    result.add_argument(
        "--root", type=pathlib.Path, default=pathlib.Path(__file__).resolve().parent.parent, help="checkout to look at"
    )
    return result


def files(root):
    """All files of the checkout that are or may be committed, relative to its root, sorted; never built ones."""
    if (root / ".git").exists():
        command = ["git", "-C", str(root), "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
        result = subprocess.run(command, capture_output=True, text=True)
        if result.returncode != 0:
            sys.exit(
                f"git does not list the files of {root}:\n{result.stderr.rstrip()}\n"
                "If the checkout belongs to another user whom you trust, run:\n"
                f"    git config --global --add safe.directory {root}"
            )
        paths = {pathlib.Path(name) for name in result.stdout.split("\0") if name}
    else:  # an unpacked archive
        paths = {path.relative_to(root) for path in root.rglob("*")}
        paths = {path for path in paths if path.parts[0] != "build"}
    return sorted(path for path in paths if (root / path).is_file() and not (root / path).is_symlink())


def sources(root):
    """The C and C++ files among them."""
    return [path for path in files(root) if path.suffix in SOURCE_SUFFIXES]


def warnings(root):
    """The warnings that the build uses, so that they are written in one place only."""
    text = (root / "cmake/QuorvelBuild.cmake").read_text()
    match = re.search(r"^add_compile_options\((-Wall [^)]*)\)", text, re.MULTILINE)
    if not match:
        sys.exit("cmake/QuorvelBuild.cmake has no add_compile_options(-Wall …) any more; look here.")
    return match[1].split()


def public_folder(root, library):
    """The folder of a library's public headers, relative to the library's."""
    cmake = root / library / "CMakeLists.txt"
    match = re.search(r"\bHEADERS\s+([\w/]+)", cmake.read_text()) if cmake.is_file() else None
    return match[1] if match else None


def public_headers(root):
    """Pairs of an include folder and a header below it, both relative to the root.

    Public are the headers below core/Quorvel/ and below the namespace folder of each platform library: the folder that its
    CMakeLists.txt names after HEADERS, or else every folder whose name starts with a capital letter.
    """
    folders = {}
    for path in sources(root):
        if path.suffix != ".h":
            continue
        if path.parts[0] == "core" and path.parts[1] == "Quorvel":
            yield pathlib.Path("core"), path
        elif path.parts[0] == "platform" and len(path.parts) > 3:
            library = pathlib.Path(*path.parts[:2])
            if library not in folders:
                folders[library] = public_folder(root, library)
            inside = path.relative_to(library)
            if inside.is_relative_to(folders[library]) if folders[library] else inside.parts[0][0].isupper():
                yield library, path


def finish(name, complaints, looked_at):
    """Prints the complaints and returns the exit status; looking at nothing is a failure too."""
    for complaint in complaints:
        print(complaint)
    if not looked_at:
        print(f"{name}: found nothing to look at; is this the root of a checkout?")
        return 1
    if complaints:
        print(f"{name}: {len(complaints)} complaint{'s' if len(complaints) > 1 else ''}", file=sys.stderr)
        return 1
    print(f"{name}: {looked_at} looked at, nothing to complain about")
    return 0
