"""What the library imports of the four foundation libraries, as the table of docs/own-foundation.md shows it.

foundation_imports.py FOLDER_OF_LIBRARIES prints it.
"""

import pathlib
import re
import subprocess
import sys

LIBRARIES = ("KblUtils", "KblLogger", "BsCloudConfig", "BsNet")


def symbols(library, *options):
    """The names, as the linker has them, of one library's dynamic symbols."""
    lines = subprocess.run(["nm", "-D", *options, str(library)], check=True, capture_output=True, text=True).stdout
    return {line.split()[-1].split("@")[0] for line in lines.splitlines()}


def demangled(names):
    text = subprocess.run(["c++filt"], check=True, input="\n".join(names), capture_output=True, text=True).stdout
    return text.splitlines()


def place(name):
    """The class and the operation that a demangled name stands for; ("", function) where there is no class."""
    name = re.sub(r"^(virtual thunk|non-virtual thunk) to ", "", name)
    kind = re.match(r"^(typeinfo|vtable|VTT|typeinfo name) for (.*)$", name)
    if kind:
        return kind.group(2).replace("KBL::", ""), None
    name = re.sub(r"\(.*", "", name.replace("operator()", "operator call").replace("[abi:cxx11]", ""))
    name = name.removeprefix("KBL::").replace("operator call", "operator()")
    owner, _, operation = name.rpartition("::")
    return owner, operation


def imports(folder):
    """{library: {class: sorted operations}}"""
    wanted = symbols(folder / "libExternlMediaTransfer.so", "--undefined-only")
    found = {}
    for library in LIBRARIES:
        classes = found.setdefault(library, {})
        for name in demangled(sorted(wanted & symbols(folder / f"lib{library}.so", "--defined-only"))):
            owner, operation = place(name)
            operations = classes.setdefault(owner, set())
            if operation is not None:
                operations.add(operation)
    return found


def table(folder):
    lines = ["| library | class | what of it |", "|---|---|---|"]
    for library, classes in imports(folder).items():
        for owner, operations in sorted(classes.items()):
            names = ", ".join(f"`{one}`" for one in sorted(operations, key=lambda one: (one.lower(), one)))
            lines.append(f"| {library} | {f'`{owner}`' if owner else 'none'} | {names} |")
    return "\n".join(lines) + "\n"


if __name__ == "__main__":
    print(table(pathlib.Path(sys.argv[1])), end="")
