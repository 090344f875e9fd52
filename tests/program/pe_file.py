"""Reads what the tests need of a PE file, 32-bit or 64-bit: headers, imports, exports, resources."""
import struct


class PeFile:
    def __init__(self, path):
        with open(path, "rb") as file:
            self.data = file.read()
        self.nt = struct.unpack_from("<I", self.data, 0x3C)[0]
        assert self.data[self.nt:self.nt + 4] == b"PE\0\0", "no PE signature"
        self.machine, count, self.timestamp = struct.unpack_from("<HHI", self.data, self.nt + 4)
        optional_size = struct.unpack_from("<H", self.data, self.nt + 20)[0]
        self.optional = self.nt + 24
        magic = struct.unpack_from("<H", self.data, self.optional)[0]
        assert magic in (0x10B, 0x20B), "neither PE32 nor PE32+"
        # Four fields of the header have eight bytes in PE32+, and one is missing.
        self.directories = self.optional + (112 if magic == 0x20B else 96)
        self.subsystem, self.dll_characteristics = struct.unpack_from("<HH", self.data, self.optional + 68)
        self.sections = []
        for index in range(count):
            at = self.optional + optional_size + 40 * index
            name = self.data[at:at + 8].rstrip(b"\0").decode()
            size, rva, raw_size, raw = struct.unpack_from("<IIII", self.data, at + 8)
            flags = struct.unpack_from("<I", self.data, at + 36)[0]
            self.sections.append((name, rva, max(size, raw_size), raw, flags))

    def directory(self, index):
        return struct.unpack_from("<II", self.data, self.directories + 8 * index)

    def offset(self, rva):
        for _, start, size, raw, _ in self.sections:
            if start <= rva < start + size:
                return raw + rva - start
        raise ValueError(f"no section holds {rva:#x}")

    def text(self, rva):
        at = self.offset(rva)
        return self.data[at:self.data.index(b"\0", at)].decode()

    def _table(self, index, entry_size, name_at):
        rva, _ = self.directory(index)
        names = []
        while rva:
            entry = self.data[self.offset(rva):self.offset(rva) + entry_size]
            name = struct.unpack_from("<I", entry, name_at)[0]
            if name == 0:
                break
            names.append(self.text(name).lower())
            rva += entry_size
        return names

    def imports(self):
        return self._table(1, 20, 12)

    def exports(self):
        rva, size = self.directory(0)
        if size == 0:
            return []
        at = self.offset(rva)
        count = struct.unpack_from("<I", self.data, at + 24)[0]
        names = struct.unpack_from("<I", self.data, at + 32)[0]
        return [self.text(struct.unpack_from("<I", self.data, self.offset(names) + 4 * i)[0]) for i in range(count)]

    def export_addresses(self):
        """What is exported by name, with its address from the start of the image."""
        at = self.offset(self.directory(0)[0])
        addresses, _, ordinals = struct.unpack_from("<III", self.data, at + 28)
        found = {}
        for index, name in enumerate(self.exports()):
            ordinal = struct.unpack_from("<H", self.data, self.offset(ordinals) + 2 * index)[0]
            found[name] = struct.unpack_from("<I", self.data, self.offset(addresses) + 4 * ordinal)[0]
        return found

    def pdb(self):
        """(GUID, age, name) of the PDB file of the program, or None; the GUID is its 16 bytes."""
        rva, size = self.directory(6)
        for at in range(rva, rva + size, 28):
            kind, length, data_rva = struct.unpack_from("<III", self.data, self.offset(at) + 12)
            at = self.offset(data_rva)
            if kind == 2 and self.data[at:at + 4] == b"RSDS":
                return self.data[at + 4:at + 20], struct.unpack_from("<I", self.data, at + 20)[0], self.text(data_rva + 24)
        return None

    def resources(self):
        """(type, id) of every resource, numbers or texts, with its bytes."""
        root, _ = self.directory(2)
        base = self.offset(root)
        found = {}

        def entries(at):
            named, numbered = struct.unpack_from("<HH", self.data, at + 12)
            for i in range(named + numbered):
                name, child = struct.unpack_from("<II", self.data, at + 16 + 8 * i)
                if name & 0x80000000:
                    text = base + (name & 0x7FFFFFFF)
                    length = struct.unpack_from("<H", self.data, text)[0]
                    name = self.data[text + 2:text + 2 + 2 * length].decode("utf-16-le")
                yield name, child

        for kind, kinds in entries(base):
            for number, languages in entries(base + (kinds & 0x7FFFFFFF)):
                for _, leaf in entries(base + (languages & 0x7FFFFFFF)):
                    rva, size = struct.unpack_from("<II", self.data, base + leaf)
                    at = self.offset(rva)
                    found[(kind, number)] = self.data[at:at + size]
        return found
