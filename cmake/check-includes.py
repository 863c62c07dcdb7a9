#!/usr/bin/env python3
"""Fails when a file of a room includes a header of a room that its CMake target doesn't name, directly or through the
public dependencies of one that it names. A room is a folder of src with a tandemview_room in its CMakeLists.txt."""
import pathlib
import re
import sys

source = pathlib.Path(__file__).resolve().parent.parent / "src"


class Target:
    def __init__(self, folder, public, private, files=None):
        self.folder, self.public, self.private = folder, public, private
        self.files = files  # of a program in a folder of others; else all of the folder


def words_after(keyword, words):
    """The words that follow a keyword of a CMake call, up to the next keyword."""
    result, inside = [], False
    for word in words:
        if re.fullmatch(r"[A-Z_]+", word):
            inside = word == keyword
        elif inside:
            result.append(word)
    return result


def room_names(words):
    return [re.sub(r"^tandemview(::|_)", "", word) for word in words if re.match(r"tandemview(::|_)", word)]


def read_targets():
    rooms, programs, aliases = {}, [], {}
    for lists in sorted(source.rglob("CMakeLists.txt")):
        text = re.sub(r"#.*", "", lists.read_text())
        folder = lists.parent
        links = {}
        for call in re.finditer(r"(\w+)\s*\(([^()]*)\)", text):
            words = call[2].replace('"', " ").split()
            if call[1] == "tandemview_room":
                rooms[words[0]] = Target(folder, room_names(words_after("DEPENDS", words)),
                                         room_names(words_after("PRIVATE_DEPENDS", words)))
            elif call[1] == "target_link_libraries":
                links.setdefault(words[0], []).extend(room_names(words))
            elif call[1] == "add_library" and "ALIAS" in words:
                aliases[words[0].removeprefix("tandemview::")] = words[-1].removeprefix("tandemview_")
            elif call[1] == "add_executable":
                programs.append((words[0], folder, [word for word in words if word.endswith((".cpp", ".mm"))]))
        for name, room in rooms.items():
            if room.folder == folder:
                room.private += links.get(f"tandemview_{name}", [])
        programs = [program if isinstance(program, Target) else
                    Target(folder, [], links.get(program[0], []), {folder / file for file in program[2]})
                    for program in programs]
    for target in [*rooms.values(), *programs]:
        target.public = [aliases.get(name, name) for name in target.public]
        target.private = [aliases.get(name, name) for name in target.private]
    return rooms, programs


def main():
    rooms, programs = read_targets()
    folders = {}
    for name, room in rooms.items():
        if room.folder in folders:
            sys.exit(f"check-includes: {room.folder.relative_to(source)} holds two rooms, {folders[room.folder]} and {name}")
        folders[room.folder] = name

    def room_of(path):
        return next((folders[folder] for folder in path.parents if folder in folders), None)

    def closure(names):
        found, waiting = set(), list(names)
        while waiting:
            name = waiting.pop()
            if name in rooms and name not in found:
                found.add(name)
                waiting += rooms[name].public
        return found

    allowed = {name: closure([name, *room.public, *room.private]) for name, room in rooms.items()}
    faults = files = 0
    for path in sorted(source.rglob("*")):
        if path.suffix not in (".h", ".cpp", ".mm"):
            continue
        files += 1
        program = next((program for program in programs if path in program.files), None)
        own = room_of(path)
        may = closure(program.private) if program else allowed.get(own, set())
        for number, line in enumerate(path.read_text().splitlines(), 1):
            include = re.match(r'#(?:include|import) "([^"]+)"', line)
            if not include or not (source / include[1]).exists():
                continue
            other = room_of(source / include[1])
            if other and other != own and other not in may:
                faults += 1
                print(f"{path.relative_to(source.parent)}:{number}: {include[1]} is of the room {other}, "
                      f"which {'the program' if program else own} does not name")
    if faults:
        sys.exit(1)
    print(f"check-includes: {files} files of {len(rooms)} rooms include what their targets name")


main()
