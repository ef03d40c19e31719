"""Installs a build into a new folder, moves it, and runs an example that needs a solver: with the
one that is installed beside the program or the library, with one on the path, and from the build.

    installed_solver.py BUILD TORVE BY_CALLS PROBLEM
"""

import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

FAKE = """#!/bin/sh
echo "$0 $*" >> "$FAKE_CALLS"
exit 3
"""
PROVEN = "Constraints guaranteed within tolerance"
NO_SOLVER = "TORVE terminated with termination code 73"


def check(holds, what):
    if not holds:
        sys.exit(what)


class Example:
    """Runs of one problem, each in a folder of its own."""

    def __init__(self, folder, problem):
        self.folder = folder
        self.problem = problem
        # Shells and no solver, whatever this machine has.
        self.tools = folder / "tools"
        self.tools.mkdir()
        for tool in ("sh", "cp", "rm", "cat"):
            (self.tools / tool).symlink_to(shutil.which(tool))
        self.calls = folder / "fake_calls"

    def run(self, program, name, path=(), **variables):
        place = self.folder / name
        place.mkdir()
        shutil.copy(self.problem, place)
        environment = {
            **os.environ,
            "PATH": os.pathsep.join(str(entry) for entry in (*path, self.tools)),
            "FAKE_CALLS": str(self.calls),
            **{key: str(value) for key, value in variables.items()},
        }
        done = subprocess.run(
            [program, self.problem.name], cwd=place, env=environment, capture_output=True, text=True,
            timeout=300,
        )
        listing = place / f"{self.problem.stem}.lst"
        return done.stdout, listing.read_text() if listing.exists() else ""


def mirakexe(listing):
    return next(line.split("=", 1)[1].strip() for line in listing.splitlines() if "MIRAKEXE" in line)


def check_program(example, tree):
    screen, listing = example.run(tree / "bin" / "torve", "installed")
    check(PROVEN in screen, f"no solver beside the installed program: {screen}")
    check("Normal termination" in screen, f"the run failed: {screen}")
    solver = mirakexe(listing)
    check(Path(solver) == tree / "libexec" / "torve" / "mirak", f"another solver: {solver}")

    link = example.folder / "a link"
    link.symlink_to(tree / "bin" / "torve")
    screen, _ = example.run(link, "by_a_link")
    check(PROVEN in screen, f"no solver for a link to the program: {screen}")


def check_path(example, tree):
    fakes = example.folder / "fakes"
    fakes.mkdir()
    fake = fakes / "mirak"
    fake.write_text(FAKE)
    fake.chmod(0o755)
    screen, listing = example.run(tree / "bin" / "torve", "with_a_fake", path=[fakes])
    check(PROVEN not in screen, f"the solver on the path wasn't used: {screen}")
    check(mirakexe(listing) == "mirak", f"not the bare name: {mirakexe(listing)}")
    check(example.calls.read_text().startswith(f"{fake} "), "the solver on the path wasn't called")


def check_library(example, tree, by_calls):
    library = next(path.parent for path in tree.rglob("libtorve.so"))
    screen, _ = example.run(by_calls, "by_calls", LD_LIBRARY_PATH=library)
    check(screen.startswith("status 0\n"), f"no solver beside the installed library: {screen}")
    screen, _ = example.run(by_calls, "by_calls_of_the_build", LD_LIBRARY_PATH="")
    check(screen.startswith("status 73\n"), f"a solver in the build: {screen}")


def check_without(example, tree, program):
    screen, listing = example.run(program, "of_the_build")
    check(NO_SOLVER in screen, f"a solver in the build: {screen}")
    check(mirakexe(listing) == "mirak", f"not the bare name: {mirakexe(listing)}")
    shutil.rmtree(tree / "libexec")
    screen, _ = example.run(tree / "bin" / "torve", "solver_gone")
    check(NO_SOLVER in screen, f"a solver that isn't there: {screen}")


def main():
    build, program, by_calls, problem = (Path(argument) for argument in sys.argv[1:5])
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name).resolve()
        staged = folder / "staged"
        subprocess.run(
            ["cmake", "--install", str(build), "--prefix", "/its own/place"],
            env={**os.environ, "DESTDIR": str(staged)}, check=True, capture_output=True, timeout=300,
        )
        # Blanks in the name, and nothing where it was to be.
        tree = folder / "a moved tree"
        shutil.move(staged / "its own" / "place", tree)
        example = Example(folder, problem)
        check_program(example, tree)
        check_path(example, tree)
        check_library(example, tree, by_calls)
        check_without(example, tree, program)


main()
