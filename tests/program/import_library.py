"""Reads the members of an import library: an archive of COFF objects or of import records in the short form."""
import struct

ARCHIVE_MARK = b"!<arch>\n"
MEMBER_HEAD_SIZE = 60
SHORT_IMPORT_HEAD_SIZE = 20
MACHINE_X64 = 0x8664
MACHINE_X86 = 0x14C
# The bits of the last field of a short import record.
TYPE_CODE = 0
NAME_AS_IS = 1
NAME_WITHOUT_PREFIX = 2


class ShortImport:
    """One record of the short form: 20 bytes, the symbol's name, the name of the library."""

    def __init__(self, data):
        _, _, self.version, self.machine, self.time, size, self.ordinal, bits = struct.unpack_from("<HHHHIIHH", data)
        self.type, self.name_type = bits & 3, bits >> 2 & 7
        self.name, self.library, rest = data[SHORT_IMPORT_HEAD_SIZE:SHORT_IMPORT_HEAD_SIZE + size].split(b"\0")
        assert rest == b"", "more than two texts"
        self.name, self.library = self.name.decode(), self.library.decode()


def is_short_import(data):
    return data[:4] == b"\0\0\xff\xff"


class ImportLibrary:
    def __init__(self, path):
        with open(path, "rb") as file:
            data = file.read()
        assert data.startswith(ARCHIVE_MARK), "not an archive"
        self.imports = []  # the members in the short form
        self.others = []   # the names of the sections of each other member
        self.times = set()
        at = len(ARCHIVE_MARK)
        while at < len(data):
            head = data[at:at + MEMBER_HEAD_SIZE]
            size = int(head[48:58])
            member = data[at + MEMBER_HEAD_SIZE:at + MEMBER_HEAD_SIZE + size]
            name = head[:16].rstrip()
            self.times.add(int(head[16:28].strip() or b"0"))
            if is_short_import(member):
                self.imports.append(ShortImport(member))
            elif name not in (b"/", b"//"):  # the tables of symbols and of long names
                self.others.append(self._sections(member))
            at += MEMBER_HEAD_SIZE + size + (size & 1)

    @staticmethod
    def _sections(member):
        count = struct.unpack_from("<H", member, 2)[0]
        return [member[20 + 40 * i:28 + 40 * i].rstrip(b"\0").decode() for i in range(count)]
