"""Programs for macOS as far as scripts/macos reads and changes them: one processor's part of 64 bits at a time."""

import hashlib
import re
import struct

PROCESSORS = {0x0100000C: "arm64", 0x01000007: "x86_64"}
SYMBOL_TABLE, LOAD_LIBRARY, SIGNATURE, DYLD_INFO, BUILD_VERSION = 0x2, 0xC, 0x1D, 0x80000022, 0x32
POSITION_INDEPENDENT, WEAK_DEFINITIONS, BINDS_TO_WEAK = 0x200000, 0x8000, 0x10000
DIRECTORY_SLOT, ENTITLEMENTS_SLOT = 0, 5


def parts(data):
    """The parts of a program for several processors; one that is for one processor is its only part."""
    if struct.unpack_from(">I", data)[0] != 0xCAFEBABE:
        return [bytearray(data)]
    count = struct.unpack_from(">I", data, 4)[0]
    heads = [struct.unpack_from(">5I", data, 8 + 20 * i) for i in range(count)]
    return [bytearray(data[offset:offset + size]) for _, _, offset, size, _ in heads]


def join(programs):
    """A program for all the processors that those given are for."""
    joined, alignment = bytearray(struct.pack(">2I", 0xCAFEBABE, len(programs))), 14  # pages of 16 KiB
    offset = 1 << alignment
    body = bytearray()
    for program in programs:
        body += bytes(-len(body) % (1 << alignment))
        kind = struct.unpack_from("<2I", program, 4)
        joined += struct.pack(">5I", *kind, offset + len(body), len(program), alignment)
        body += program
    return joined.ljust(offset, b"\0") + body


class Program:
    """One part. `data` is what the file holds of it, and is changed in place."""

    def __init__(self, data):
        self.data = data
        magic, kind, _, self.type, count, _, self.flags = struct.unpack_from("<7I", data)
        if magic != 0xFEEDFACF or kind not in PROCESSORS:
            raise ValueError("no program for a processor that is known here")
        self.processor = PROCESSORS[kind]
        self._commands, offset = [], 32
        for _ in range(count):
            command, size = struct.unpack_from("<2I", data, offset)
            self._commands.append((command, offset))
            offset += size

    def _words(self, command, count):
        return [struct.unpack_from(f"<{count}I", self.data, at + 8) for kind, at in self._commands if kind == command]

    def _text(self, at):
        return self.data[at:self.data.index(0, at)].decode()

    def libraries(self):
        return [self._text(at + struct.unpack_from("<I", self.data, at + 8)[0])
                for kind, at in self._commands if kind == LOAD_LIBRARY]

    def system(self):
        """Its platform (1: macOS) and the oldest version that it runs on, as text."""
        platform, oldest = self._words(BUILD_VERSION, 2)[0]
        return platform, f"{oldest >> 16}.{oldest >> 8 & 255}"

    def symbols(self):
        """(name, number of its library, whether it comes from there, whether others may bind to it)."""
        offset, count, texts, _ = self._words(SYMBOL_TABLE, 4)[0]
        for i in range(count):
            name, kind, _, description, _ = struct.unpack_from("<IBBHQ", self.data, offset + 16 * i)
            if kind & 0xE0 == 0 and kind & 1:  # no debugger's; external
                yield self._text(texts + name), description >> 8, kind & 0x0E == 0, kind & 0x10 == 0

    def weak_bindings(self):
        return self._words(DYLD_INFO, 6)[0][5]

    def isolate(self):
        """Keeps the loader from putting another library's weak definitions in the place of the program's own: all
        that are bound are in the program, and their addresses are there already. Hidden ones are bound as well by the
        linker that is used; with the system's libc++ in the process half of ours would be exchanged for it."""
        struct.pack_into("<I", self.data, 24, self.flags & ~(WEAK_DEFINITIONS | BINDS_TO_WEAK))
        for kind, at in self._commands:
            if kind == DYLD_INFO:
                struct.pack_into("<2I", self.data, at + 24, 0, 0)
        self.__init__(self.data)
        self.seal()

    def _signature(self):
        """The places of the signature's blobs by their slots; empty when there is none."""
        for offset, _ in self._words(SIGNATURE, 2):
            count = struct.unpack_from(">I", self.data, offset + 8)[0]
            index = [struct.unpack_from(">2I", self.data, offset + 12 + 8 * i) for i in range(count)]
            return {slot: offset + at for slot, at in index}
        return {}

    def _pages(self):
        """(place of the sum that is kept, the page's own sum) of every page of code."""
        directory = self._signature()[DIRECTORY_SLOT]
        _, _, _, _, sums, _, _, count, limit = struct.unpack_from(">9I", self.data, directory)
        size, method, _, page = struct.unpack_from(">4B", self.data, directory + 36)
        if (size, method) != (32, 2) or count != -(-limit // (1 << page)):
            raise ValueError("a signature of an unknown form")
        for i in range(count):
            code = self.data[i << page:min((i + 1) << page, limit)]
            yield directory + sums + size * i, hashlib.sha256(code).digest()

    def seal(self):
        """Makes the sums of the ad hoc signature right again."""
        for at, digest in list(self._pages()):
            self.data[at:at + 32] = digest

    def wrong_pages(self):
        """How many pages do not agree with the signature; None without one."""
        if DIRECTORY_SLOT not in self._signature():
            return None
        return sum(self.data[at:at + 32] != digest for at, digest in self._pages())

    def entitlements(self):
        """Their text; empty when there are none, or none that the signature vouches for."""
        blobs = self._signature()
        if ENTITLEMENTS_SLOT not in blobs:
            return ""
        at, directory = blobs[ENTITLEMENTS_SLOT], blobs[DIRECTORY_SLOT]
        length = struct.unpack_from(">I", self.data, at + 4)[0]
        kept = directory + struct.unpack_from(">I", self.data, directory + 16)[0] - 32 * ENTITLEMENTS_SLOT
        blob = bytes(self.data[at:at + length])
        return blob[8:].decode() if hashlib.sha256(blob).digest() == self.data[kept:kept + 32] else ""


def library_symbols(stub, processor):
    """What a library exports by its stub (.tbd): its name for the loader, and its symbols for the processor."""
    target = {"arm64": r"arm64e?-macos", "x86_64": r"x86_64-macos"}[processor]
    found = set()
    for targets, lists in re.findall(r"- targets:\s*\[(.*?)\]((?:\s+[\w-]*symbols:\s*\[.*?\])+)", stub, re.DOTALL):
        if re.search(rf"\b{target}\b", targets):
            found.update(name for text in re.findall(r"\[(.*?)\]", lists, re.DOTALL)
                         for name in re.findall(r"[^\s,'\"]+", text))
    return re.search(r"install-name:\s*'(.*?)'", stub).group(1), found
