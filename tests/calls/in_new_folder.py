"""Runs a command in a folder that is gone afterwards: in_new_folder.py COMMAND [ARGUMENT ...]"""

import subprocess
import sys
import tempfile

with tempfile.TemporaryDirectory() as folder:
    sys.exit(subprocess.run(sys.argv[1:], cwd=folder).returncode)
