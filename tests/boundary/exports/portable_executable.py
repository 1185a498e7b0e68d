"""Reads the tables of a Windows program or library: what it exports, what it imports, and its version resource."""

import struct
from typing import Dict, List, Tuple

MACHINE_AMD64 = 0x8664
VERSION_RESOURCE = 16


class PortableExecutable:
    def __init__(self, path: str) -> None:
        with open(path, "rb") as file:
            self.bytes = file.read()
        header = self.number("<I", 60)
        if self.bytes[:2] != b"MZ" or self.bytes[header : header + 4] != b"PE\0\0":
            raise ValueError("%s is no Windows program or library" % path)
        self.machine, sections = struct.unpack_from("<HH", self.bytes, header + 4)
        optional_size = self.number("<H", header + 20)
        optional = header + 24
        if self.number("<H", optional) != 0x20B:
            raise ValueError("%s is none of 64 bits" % path)
        count = self.number("<I", optional + 108)
        self.folders = [struct.unpack_from("<II", self.bytes, optional + 112 + 8 * place) for place in range(count)]
        self.sections = [
            struct.unpack_from("<IIII", self.bytes, optional + optional_size + 40 * place + 8)
            for place in range(sections)
        ]

    def number(self, form: str, offset: int) -> int:
        return int(struct.unpack_from(form, self.bytes, offset)[0])

    def offset(self, address: int) -> int:
        for size, begin, raw_size, raw in self.sections:
            if begin <= address < begin + max(size, raw_size):
                return raw + address - begin
        raise ValueError("the address %x lies in no section" % address)

    def text(self, address: int) -> str:
        begin = self.offset(address)
        return self.bytes[begin : self.bytes.index(b"\0", begin)].decode("ascii")

    def exports(self) -> List[str]:
        address, size = self.folders[0]
        if size == 0:
            return []
        table = self.offset(address)
        names = self.offset(self.number("<I", table + 32))
        return [self.text(self.number("<I", names + 4 * place)) for place in range(self.number("<I", table + 24))]

    def imports(self) -> Dict[str, List[str]]:
        """The names that are asked of each library; those asked by number alone stand as #NUMBER."""
        found: Dict[str, List[str]] = {}
        address, size = self.folders[1]
        entry = self.offset(address) if size else 0
        while size and self.number("<I", entry + 12):
            lookup = self.offset(self.number("<I", entry) or self.number("<I", entry + 16))
            names = found.setdefault(self.text(self.number("<I", entry + 12)), [])
            while True:
                value = self.number("<Q", lookup)
                if value == 0:
                    break
                names.append("#%d" % (value & 0xFFFF) if value >> 63 else self.text((value & 0x7FFFFFFF) + 2))
                lookup += 8
            entry += 20
        return found

    def version(self) -> Tuple[Tuple[int, ...], Dict[str, str]]:
        """The four numbers of the file's version, and the texts of the resource."""
        begin, size = self.resource(VERSION_RESOURCE)
        block = self.bytes[begin : begin + size]
        fixed = block.index(struct.pack("<I", 0xFEEF04BD))
        high, low = struct.unpack_from("<II", block, fixed + 8)
        texts: Dict[str, str] = {}
        self.collect(block, 0, texts)
        return (high >> 16, high & 0xFFFF, low >> 16, low & 0xFFFF), texts

    def resource(self, kind: int) -> Tuple[int, int]:
        if len(self.folders) < 3 or self.folders[2][1] == 0:
            raise ValueError("it has no resources")
        root = self.offset(self.folders[2][0])
        folder, wanted = root, kind
        for _ in range(3):  # kind, name and language; of the latter two the first serves
            named, numbered = struct.unpack_from("<HH", self.bytes, folder + 12)
            entries = [
                struct.unpack_from("<II", self.bytes, folder + 16 + 8 * place) for place in range(named + numbered)
            ]
            found = [target for number, target in entries if wanted in (0, number)]
            if not found:
                raise ValueError("it has no resource of the kind %d" % kind)
            folder, wanted = root + (found[0] & 0x7FFFFFFF), 0
        address, size = struct.unpack_from("<II", self.bytes, folder)
        return self.offset(address), size

    def collect(self, block: bytes, begin: int, texts: Dict[str, str]) -> int:
        """Goes through a node of the version resource; returns where it ends."""

        def aligned(place: int) -> int:
            return (place + 3) & ~3

        length, value_length, is_text = struct.unpack_from("<HHH", block, begin)
        end = begin + length
        place = begin + 6
        stop = place
        while block[stop : stop + 2] != b"\0\0":
            stop += 2
        key = block[place:stop].decode("utf-16-le")
        value = aligned(stop + 2)
        size = value_length * (2 if is_text else 1)
        if is_text and value_length:
            texts[key] = block[value : value + size].decode("utf-16-le").split("\0")[0]
        child = aligned(value + size)
        while child + 6 <= end and struct.unpack_from("<H", block, child)[0]:
            child = aligned(self.collect(block, child, texts))
        return end
