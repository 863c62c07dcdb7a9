#!/usr/bin/env python3
"""Fails when a file includes a header of a room that its own CMake target doesn't name, directly or through the public
dependencies of one that it names. A room is a folder of src with a tandemview_room in its CMakeLists.txt; a program, with
an add_executable, has what lies in its folder and is no room; in a room's folder it shares what both name."""
import pathlib
import re
import sys

source = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent).resolve() / "src"


class Target:
    def __init__(self, name, folder, public=(), private=(), is_room=True):
        self.name, self.folder, self.is_room = name, folder, is_room
        self.public, self.private = list(public), list(private)


def words_after(keyword, words):
    """The words that follow a keyword of a CMake call, up to the next keyword."""
    result, inside = [], False
    for word in words:
        if re.fullmatch(r"[A-Z_]+", word):
            inside = word == keyword
        elif inside:
            result.append(word)
    return result


def targets_in(words):
    return [re.sub(r"^tandemview(::|_)", "", word) for word in words if re.match(r"tandemview(::|_)", word)]


def read_targets():
    targets, aliases = {}, {}
    for lists in sorted(source.rglob("CMakeLists.txt")):
        for call in re.finditer(r"(\w+)\s*\(([^()]*)\)", re.sub(r"#.*", "", lists.read_text())):
            words = call[2].split()
            name = re.sub(r"^tandemview(::|_)", "", words[0]) if words else ""
            if call[1] == "tandemview_room":
                targets[name] = Target(name, lists.parent, targets_in(words_after("DEPENDS", words)),
                                       targets_in(words_after("PRIVATE_DEPENDS", words)))
            elif call[1] == "add_executable":
                targets[name] = Target(name, lists.parent, is_room=False)
            elif call[1] == "target_link_libraries" and name in targets:
                targets[name].private += targets_in(words[1:])
            elif call[1] == "add_library" and "ALIAS" in words:
                aliases[name] = targets_in(words[-1:])[0]
    for target in targets.values():
        target.public = [aliases.get(name, name) for name in target.public]
        target.private = [aliases.get(name, name) for name in target.private]
    return targets


def main():
    targets = read_targets()
    folders = {}
    for target in sorted(targets.values(), key=lambda target: not target.is_room):
        if target.folder in folders and not target.is_room:
            folders[target.folder].private += target.private
            continue
        if target.folder in folders:
            sys.exit(f"check-includes: {target.folder.relative_to(source)} holds both {folders[target.folder].name} and "
                     f"{target.name}")
        folders[target.folder] = target

    def owner(path):
        return next((folders[folder] for folder in path.parents if folder in folders), None)

    def allowed(target):
        found, waiting = set(), [target.name, *target.public, *target.private]
        while waiting:
            name = waiting.pop()
            if name in targets and name not in found:
                found.add(name)
                waiting += targets[name].public
        return found

    may_include = {name: allowed(target) for name, target in targets.items()}
    faults = files = 0
    for path in sorted(path for path in source.rglob("*") if path.suffix in (".h", ".cpp", ".mm")):
        files += 1
        own = owner(path)
        for number, line in enumerate(path.read_text().splitlines(), 1):
            include = re.match(r'#(?:include|import) "([^"]+)"', line)
            other = include and (source / include[1]).exists() and owner(source / include[1])
            if other and (not own or other.name not in may_include[own.name]):
                faults += 1
                print(f"{path.relative_to(source.parent)}:{number}: {include[1]} is {other.name}'s, which "
                      f"{own.name if own else 'no target'} does not name")
    if faults:
        sys.exit(1)
    print(f"check-includes: {files} files of {len(targets)} rooms and programs include what their targets name")


main()
