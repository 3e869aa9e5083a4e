# SPDX-License-Identifier: MIT
"""What the checks of this folder have in common: trees with something planted, and counting."""

import pathlib
import tempfile


def in_tree(files, look):
    """What `look` returns for the root of a tree of these files: path -> text, None for one that is not
    there. The tree is gone when this returns."""
    with tempfile.TemporaryDirectory() as name:
        root = pathlib.Path(name)
        for path, text in files.items():
            if text is not None:
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                (root / path).write_text(text, encoding="utf-8")
        return look(root)


def finds(files, check):
    """Whether a check, which yields what is wrong below a root, finds something in such a tree."""
    return in_tree(files, lambda root: any(check(root)))


class Results:
    """Counts what was right and says what was not."""

    def __init__(self):
        self.passed = self.failed = 0

    def expect(self, right, otherwise):
        self.passed += bool(right)
        self.failed += not right
        if not right:
            print(otherwise)

    def nothing(self, found):
        """One result: nothing is expected to be found."""
        found = list(found)
        self.expect(not found, "\n".join(found))

    def end(self):
        """Says the counts. @return the exit status"""
        print(f"{self.passed} passed, {self.failed} failed")
        return self.failed != 0
