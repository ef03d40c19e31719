"""Installs a build into a new folder and builds a caller against it, as another project would.

    installed_library.py BUILD CALLER C_COMPILER [FLAGS]
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

CALLS = set(
    """trvsetint trvsetreal trvsetstring trvsetintvector trvsetrealvector trvsetlabels trvrun
    trvinit trvgetstatus trvgettime trvgetversion trvgetmodellength trvgetmodel""".split()
)
LAW = re.compile(r" lnperiod = 1\.499\d* \* ln\(axis\) - 1\.60\d*\n$")


def run(*command, **options):
    done = subprocess.run(
        [str(word) for word in command], capture_output=True, text=True, timeout=300, **options
    )
    if done.returncode != 0:
        sys.exit(f"{command}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def check(holds, what):
    if not holds:
        sys.exit(what)


def check_library(prefix):
    header = prefix / "include" / "torve.h"
    libraries = [path for path in prefix.rglob("libtorve.so*") if not path.is_symlink()]
    check(header.exists() and (prefix / "bin" / "torve").exists(), "header or program is missing")
    installed = [path for path in (prefix / "include").rglob("*") if path.is_file()]
    check(installed == [header], f"more headers than one: {installed}")
    check(len(libraries) == 1, f"not one library: {libraries}")
    symbols = {line.split()[-1] for line in run("nm", "-D", "--defined-only", libraries[0]).splitlines()}
    check(symbols == CALLS, f"not the calls: {symbols ^ CALLS}")
    declared = set(re.findall(r"TORVE_CALL \w+ (trv\w+)\(", header.read_text()))
    check(declared == CALLS, f"the header declares others: {declared ^ CALLS}")
    check("[libtorve.so.1]" in run("readelf", "-d", libraries[0]), "the soname isn't libtorve.so.1")
    return libraries[0].parent


def check_caller(program, folder, library):
    environment = {**os.environ, "LD_LIBRARY_PATH": str(library)}
    before = set(folder.iterdir())
    output = run(program, cwd=folder, env=environment)
    check(LAW.match(output), f"not the law: {output}")
    check(set(folder.iterdir()) == before, "the run left files")


def main():
    build, caller, compiler = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3]
    flags = [word for word in sys.argv[4:] if word]
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        prefix = folder / "tree"
        run("cmake", "--install", build, "--prefix", prefix)
        # Nothing may be found where it was built.
        moved = folder / "moved"
        shutil.move(prefix, moved)
        library = check_library(moved)

        run("cmake", "-S", caller, "-B", folder / "by_cmake", f"-DCMAKE_PREFIX_PATH={moved}",
            f"-DCMAKE_C_FLAGS={' '.join(flags)}")
        run("cmake", "--build", folder / "by_cmake")
        check_caller(folder / "by_cmake" / "kepler", folder, library)

        environment = {**os.environ, "PKG_CONFIG_PATH": str(library / "pkgconfig")}
        options = run("pkg-config", f"--define-variable=prefix={moved}", "--cflags", "--libs", "torve",
                      env=environment).split()
        by_pkg_config = folder / "kepler"
        run(compiler, "-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Werror", *flags,
            caller / "kepler.c", "-o", by_pkg_config, *options, "-lm")
        check_caller(by_pkg_config, folder, library)


main()
