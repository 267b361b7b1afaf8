"""Generated exports, for the scripts beside this one and for others."""

import pathlib
import subprocess


def make_export(program, path, *options):
    """Has the make_export that stands beside the program write the export `path`."""
    generator = pathlib.Path(program).resolve().with_name("make_export")
    subprocess.run([generator, path, *map(str, options)], check=True)
