"""Links something of a build once more, beside what is there."""
import os
import pathlib
import subprocess


def relink(ninja, build_dir, output, folder):
    """Links output, a path in the build folder, from the same objects into folder, which is beside the build folder. Gives
    the path of the result, folder/output; its import library is in folder where the build has it in the build folder.

    The command stays the same, since a PDB file holds it: it runs in folder as in a build folder of its own."""
    commands = subprocess.run([ninja, "-C", build_dir, "-t", "commands", "-s", output], check=True, text=True,
                              capture_output=True).stdout.strip().splitlines()
    build_dir, folder = pathlib.Path(build_dir).resolve(), pathlib.Path(folder).resolve()
    for place, _, files in os.walk(build_dir):
        inside = pathlib.Path(place).relative_to(build_dir)
        (folder / inside).mkdir(exist_ok=True)
        for name in files:
            # What a link reads. Everything that it writes is new.
            if name.endswith((".obj", ".o", ".a", ".rsp", ".res", ".lib")) and not name.endswith(".dll.a"):
                if not (folder / inside / name).exists():
                    (folder / inside / name).symlink_to(pathlib.Path(place, name))
            elif name.endswith(".dll.a") and not (folder / inside / name).exists():
                # Also read by others, and written by this link.
                (folder / inside / name).write_bytes(pathlib.Path(place, name).read_bytes())
    link = commands[-1].replace(str(build_dir), str(folder))
    subprocess.run(link, shell=True, check=True, cwd=folder)
    return folder / output
