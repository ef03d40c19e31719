"""Every example gives the same models by its file and by calls.

    examples_by_calls.py EXAMPLES TORVE BY_CALLS
"""

import shutil
import subprocess
import sys
import tempfile
from pathlib import Path


def results(command, example, listing):
    """The termination, and the last full-digit model of each output, of a run in a new folder."""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        for path in example.parent.iterdir():
            if path.is_file():
                shutil.copy(path, folder)
        done = subprocess.run(
            [*command, example.name], cwd=folder, capture_output=True, text=True, timeout=300
        )
        if done.returncode != 0:
            sys.exit(f"{example}: {command} ended with {done.returncode}: {done.stderr}")
        return done.stdout if listing is None else (folder / listing).read_text()


def models_of_listing(text):
    """The models of a listing; a model that was replaced isn't among them."""
    models = {}
    for line in text.splitlines():
        if line.startswith(" ----") and " with " in line:
            model = line.split(" with ", 1)[1].strip()
            models[model.split(" = ")[0]] = model
    return models


def models_of_calls(text):
    lines = text.splitlines()[1:]
    return {line.split(" = ")[0].strip(): line.strip() for line in lines}


def main():
    examples, program, by_calls = (Path(argument).resolve() for argument in sys.argv[1:4])
    failed = 0
    problems = sorted(examples.glob("*/*.trv"))
    for problem in problems:
        expected = models_of_listing(results([program], problem, f"{problem.stem}.lst"))
        found = models_of_calls(results([by_calls], problem, None))
        same = expected == found
        failed += not same
        print(f"{problem.stem}: {len(found)} models, {'the same' if same else 'they differ'}")
        if not same:
            print(f"  file:  {expected}\n  calls: {found}")
    sys.exit(failed > 0 or not problems)


main()
