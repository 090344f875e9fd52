"""Links something of a build once more, beside what is there."""
import pathlib
import re
import subprocess


def relink(ninja, build_dir, output, folder):
    """Links output, a path in the build folder, from the same objects into folder, a new one in the build folder. Gives
    the path of the result; its import library is in folder where the build has it in the build folder."""
    name = pathlib.Path(output).name
    commands = subprocess.run([ninja, "-C", build_dir, "-t", "commands", "-s", output], check=True, text=True,
                              capture_output=True).stdout.strip().splitlines()
    link = commands[-1]
    again = link.replace(output, f"{folder}/{name}").replace(f"{build_dir}/{output}", f"{folder}/{name}")
    # The library of its exports is written there too; everything else of the command stays.
    again = again.replace("-Wl,--out-implib,", f"-Wl,--out-implib,{folder}/")
    again = again.replace(f"{build_dir}/{folder}", str(folder))
    for library in re.findall(r"-Wl,--out-implib,([^ ,]+)", again):
        pathlib.Path(library).parent.mkdir(parents=True, exist_ok=True)
    subprocess.run(again, shell=True, check=True, cwd=build_dir)
    return pathlib.Path(folder, name)
