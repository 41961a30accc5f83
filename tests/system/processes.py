"""Who has been started by whom."""

import pathlib


def children_of(pid):
    """Of all its threads; looked for anew if one of these ends meanwhile, as another has its children then."""
    folder = pathlib.Path(f"/proc/{pid}")
    while folder.exists():
        try:
            return [int(child) for task in (folder / "task").iterdir()
                    for child in (task / "children").read_text(encoding="ascii").split()]
        except (FileNotFoundError, ProcessLookupError):
            pass
    return []


def descendants_of(pid):
    found = []
    for child in children_of(pid):
        found += [child, *descendants_of(child)]
    return found
