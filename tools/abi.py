"""The binary interface of a library as lines of text, out of what abidw has dumped: tools/abi.sh runs it.

abi.py LIBRARY DUMP FOLDER...: the symbols, and of each type that a header in one of the folders declares its size, the offsets of
its members and its bases, the slots of its virtual operations, and the values of enumerations.
"""

import re
import sys
import xml.etree.ElementTree

# What a compiler adds of its own library, as it likes.
STANDARD = re.compile(r"^_Z(T[VISCT]|GV|Th?n?\d*_?)?(N[KVrO]*)?S[a-z0-9]")


class Dump:
    def __init__(self, path, folders):
        self._root = xml.etree.ElementTree.parse(path).getroot()
        self._folders = tuple(folder.rstrip("/") + "/" for folder in folders)
        self._types = {}
        self._owners = {}
        for unit in self._root.iter("abi-instr"):
            self._collect(unit, "")

    def _collect(self, element, owner):
        """Every type by its id, with the names around it."""
        for child in element:
            inner = owner
            if "id" in child.attrib:
                # Later units declare again what an earlier one defines.
                if child.get("id") not in self._types or "is-declaration-only" not in child.attrib:
                    self._types[child.get("id")] = child
                    self._owners[child.get("id")] = owner
            if child.tag in ("namespace-decl", "class-decl", "union-decl"):
                inner = owner + child.get("name") + "::"
            self._collect(child, inner)

    def name(self, number):
        """The type as one would write it."""
        one = self._types[number]
        if one.tag == "pointer-type-def":
            return self.name(one.get("type-id")) + "*"
        if one.tag == "reference-type-def":
            return self.name(one.get("type-id")) + ("&" if one.get("kind") == "lvalue" else "&&")
        if one.tag == "qualified-type-def":
            words = [word for word in ("const", "volatile") if one.get(word) == "yes"]
            return " ".join([self.name(one.get("type-id")), *words])
        if one.tag == "array-type-def":
            sizes = "".join(f"[{part.get('length')}]" for part in one.iter("subrange"))
            return self.name(one.get("type-id")) + sizes
        if one.tag == "function-type":
            return self.signature(one)
        # Which standard library implements a standard name is not told.
        return (self._owners[number] + one.get("name")).replace("std::__cxx11::", "std::")

    def signature(self, function):
        parameters = [
            "..." if part.get("is-variadic") == "yes" else self.name(part.get("type-id"))
            for part in function.findall("parameter")
            if part.get("is-artificial") != "yes"
        ]
        result = function.find("return")
        return f"({', '.join(parameters)}) -> {self.name(result.get('type-id')) if result is not None else 'void'}"

    def symbols(self):
        for symbol in self._root.iter("elf-symbol"):
            name = symbol.get("name")
            if symbol.get("is-defined") != "yes" or STANDARD.match(name):
                continue
            kind = "function" if symbol.get("type") == "func-type" else "object " + symbol.get("size", "?")
            yield f"symbol {name} {kind}"

    def types(self):
        for number, one in self._types.items():
            path = one.get("filepath", "")
            name = (self._owners[number] + one.get("name", "")) if path.startswith(self._folders) else ""
            if not name or "<" in name or "__anonymous" in name or one.get("is-declaration-only") == "yes":
                continue
            if one.tag in ("class-decl", "union-decl"):
                yield from self.of_class(name, one)
            elif one.tag == "enum-decl":
                yield f"type {name} of {self.name(one.find('underlying-type').get('type-id'))}"
                for value in one.findall("enumerator"):
                    yield f"type {name} value {value.get('name')} = {value.get('value')}"
            elif one.tag == "typedef-decl" and name.startswith("signature_"):
                yield f"symbol {name[10:]} of {self.name(one.get('type-id'))}"
            elif one.tag == "typedef-decl":
                yield f"type {name} is {self.name(one.get('type-id'))}"

    def of_class(self, name, one):
        yield f"type {name} size {int(one.get('size-in-bits', '0')) // 8}"
        for base in one.findall("base-class"):
            virtual = " virtual" if base.get("is-virtual") == "yes" else ""
            offset = int(base.get("layout-offset-in-bits", "0")) // 8
            yield f"type {name} base {self.name(base.get('type-id'))} at {offset}{virtual}"
        for member in one.findall("data-member"):
            if member.get("static") != "yes":
                variable = member.find("var-decl")
                offset = int(member.get("layout-offset-in-bits")) // 8
                yield f"type {name} offset {offset:04d} {variable.get('name')} {self.name(variable.get('type-id'))}"
        for member in one.findall("member-function"):
            slot = member.get("vtable-offset")
            if slot is not None:
                function = member.find("function-decl")
                const = " const" if member.get("const") == "yes" else ""
                yield f"type {name} slot {int(slot):03d} {function.get('name')}{self.signature(function)}{const}"


def main():
    library, path, *folders = sys.argv[1:]
    dump = Dump(path, folders)
    lines = sorted({*dump.symbols(), *dump.types()})
    if not any(line.startswith("symbol") for line in lines) or not any(line.startswith("type") for line in lines):
        sys.exit(f"abi: the dump of {library} has no symbols, or none of its public types")
    print(f"# Binary interface of {library}, x86-64 Linux; tools/abi.sh --write makes it.", *lines, sep="\n")


if __name__ == "__main__":
    main()
