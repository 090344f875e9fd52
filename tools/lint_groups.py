#!/usr/bin/env python3
"""Runs clang-tidy over sources in groups, since most of its time for one goes into the headers, which a group reads once.

    tools/lint_groups.py BUILD_FOLDER COMMAND [ARGUMENT...] -- FILE...

BUILD_FOLDER has the compile_commands.json. A group is up to 12 of the files that are compiled alike and whose names do not
clash, in a source that includes them. Where a group has a finding or cannot be compiled as one, its files are looked at
one by one, and what that says counts; with NEXLET_LINT_VERBOSE in the environment it also says why. Exits with 1 where a
file has a finding.
"""
import collections
import concurrent.futures
import json
import os
import re
import shlex
import subprocess
import sys

AT_MOST = 12
NOISE = ('Suppressed', 'Use -header-filter', 'Processing file', 'Use -system-headers')


def compile_commands(build):
    """The compile command of each source: its folder and its arguments without the source and the output."""
    found = {}
    with open(os.path.join(build, 'compile_commands.json'), encoding='utf-8') as file:
        for entry in json.load(file):
            if entry['file'] in found or not entry['file'].endswith('.cpp'):
                continue
            arguments = shlex.split(entry['command'])
            at = arguments.index('-o')
            del arguments[at:at + 2]
            found[entry['file']] = (entry['directory'], tuple(a for a in arguments if a not in ('-c', entry['file'])))
    return found


def own_names(path):
    """What a source declares for itself, by its form: a second source that declares one too goes elsewhere."""
    with open(path, encoding='utf-8') as file:
        text = file.read()
    names = set()
    for inner in re.findall(r'^namespace \{$(.*?)^\}', text, re.MULTILINE | re.DOTALL):
        names.update(re.findall(r'^(?:struct|class|enum|enum class|union|using) (\w+)', inner, re.MULTILINE))
        names.update(re.findall(r'^[\w:].*?(\w+) ?(?:\(|=|;|\{|\[)', inner, re.MULTILINE))
    names.update(re.findall(r'^\w[^:(=]*?(\w+)\(', text, re.MULTILINE))
    names.update(re.findall(r'^static .*?(\w+) ?(?:\(|=|;|\{|\[)', text, re.MULTILINE))
    names.update('#' + name for name in re.findall(r'^#define (\w+)', text, re.MULTILINE))
    return names


def without_clashes(paths):
    """The paths in lists of at most AT_MOST, none of which declares a name twice."""
    lists = []
    for path in paths:
        names = own_names(path)
        for found, taken in lists:
            if len(found) < AT_MOST and not names & taken:
                found.append(path)
                taken |= names
                break
        else:
            lists.append(([path], names))
    return [found for found, _ in lists]


def make_groups(build, files):
    """Lists of files, and the folder with a source for each and its compile_commands.json."""
    commands = compile_commands(build)
    alike = collections.defaultdict(list)
    for name in files:
        path = os.path.abspath(name)
        alike[commands[path]].append(path)
    folder = os.path.join(build, 'lint')
    os.makedirs(folder, exist_ok=True)
    groups, entries = [], []
    for (directory, arguments), paths in alike.items():
        for of_part in without_clashes(paths):
            source = os.path.abspath(os.path.join(folder, f'group_{len(groups)}.cpp'))
            with open(source, 'w', encoding='utf-8') as file:
                file.writelines(f'#include "{path}"  // NOLINT(bugprone-suspicious-include)\n' for path in of_part)
            entries.append({'directory': directory, 'file': source, 'arguments': [*arguments, '-c', source]})
            groups.append((source, of_part))
    with open(os.path.join(folder, 'compile_commands.json'), 'w', encoding='utf-8') as file:
        json.dump(entries, file, indent=1)
    return groups, folder


def run(command, build, source, *more):
    done = subprocess.run([*command, '--quiet', '-p', build, *more, source], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, check=False)
    lines = [line for line in done.stdout.splitlines()
             if not line.startswith(NOISE) and not line.endswith(('warnings generated.', 'warning generated.'))]
    return done.returncode, '\n'.join(lines)


def main():
    build = sys.argv[1]
    at = sys.argv.index('--')
    command, files = sys.argv[2:at], sys.argv[at + 1:]
    groups, folder = make_groups(build, files)
    with open('.clang-tidy', encoding='utf-8') as file:
        headers = next(line for line in file if line.startswith('HeaderFilterRegex:')).split("'")[1]
    of_group = '--header-filter=' + headers.replace(r'\.h$', r'\.(h|cpp)$')
    status = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        def look(group):
            source, paths = group
            if len(paths) > 1:
                code, said = run(command, folder, source, of_group)
                if code == 0:
                    return []
                if os.environ.get('NEXLET_LINT_VERBOSE'):
                    print(f'Looking one by one at {len(paths)} files, among them {paths[0]}:\n{said[:1500]}', flush=True)
            return [run(command, build, path) for path in paths]
        for done in concurrent.futures.as_completed([pool.submit(look, group) for group in groups]):
            for code, said in done.result():
                if code != 0:
                    print(said, flush=True)
                    status = 1
    return status


if __name__ == '__main__':
    sys.exit(main())
