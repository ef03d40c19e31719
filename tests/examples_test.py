#!/usr/bin/env python3
"""The example files are what their scripts write, the whole-run cases use the same files, and the
README shows one of them with the model that it gives.

    tests/examples_test.py FOLDER   FOLDER is the top of the project
"""
import subprocess
import sys
import tempfile
from pathlib import Path

SHOWN = "planets"


def written_by(script):
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([sys.executable, str(script), folder], check=True)
        return {path.name: path.read_bytes() for path in Path(folder).iterdir()}


def faults_of_example(root, folder):
    if not (folder / "README.md").exists():
        yield f"{folder}: no README.md"
    present = {path.name: path.read_bytes() for path in folder.glob("*.trv")}
    beside = {path.name: path.read_bytes() for path in folder.glob("*_simulator")}
    programs = [path for pattern in ("*.c", "*.py") for path in folder.glob(pattern)]
    if not present and not programs:
        yield f"{folder}: neither a problem file nor a program"
    script = folder / "make_problem.py"
    if script.exists() and written_by(script) != present:
        yield f"{folder}: the problem files aren't what {script.name} writes"
    for name, text in present.items():
        case = root / "tests" / "runs" / f"example_{name.removesuffix('.trv')}"
        for copy, expected in {"problem.trv": text, **beside}.items():
            if not (case / copy).exists() or (case / copy).read_bytes() != expected:
                yield f"{case / copy}: not the file of {folder.name}"


def faults_of_readme(root):
    readme = (root / "README.md").read_text()
    problem = (root / "examples" / SHOWN / f"{SHOWN}.trv").read_text()
    indented = "".join(f"    {line}\n" if line else "\n" for line in problem.splitlines())
    if indented not in readme:
        yield f"README.md: not the problem file of {SHOWN}"
    screen = (root / "tests" / "runs" / f"example_{SHOWN}" / "expected.screen").read_text()
    # The last digits of the metric are those of one processor.
    model = [line for line in screen.splitlines() if line.startswith(" ----")][-1].split(" with ")[1]
    if f" with {model}\n" not in readme:
        yield f"README.md: not the model of {SHOWN}: {model}"


def main():
    root = Path(sys.argv[1])
    # The scripts of examples/python run in the tests of the Python package.
    folders = sorted(
        path for path in (root / "examples").iterdir() if path.is_dir() and path.name != "python"
    )
    found = [fault for folder in folders for fault in faults_of_example(root, folder)]
    found += faults_of_readme(root)
    for fault in found:
        print(fault, file=sys.stderr)
    sys.exit(1 if found or not folders else 0)


if __name__ == "__main__":
    main()
