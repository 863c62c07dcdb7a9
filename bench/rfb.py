"""A viewer of a VNC server that reads and shows nothing: RFB 3.8 without security, Tight encoding with JPEG."""
import socket
import struct

TIGHT, LAST_RECT, QUALITY_LEVEL, COMPRESS_LEVEL = 7, -224, -32, -256
FINE_QUALITY, FINE_SUBSAMPLING = -512, -768  # TurboVNC's, which libvncserver knows
SUBSAMPLED_BOTH_WAYS = 1
FILL, JPEG = 8, 9  # the upper half of a rectangle's first byte
EXPLICIT_FILTER = 4
COPY, PALETTE = 0, 1
SMALLEST_COMPRESSED = 12
PIXEL_SIZE = 3


class Viewer:
    """Asks for one update after the other."""

    def __init__(self, port, quality):
        self.socket = socket.create_connection(("127.0.0.1", port))
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.input = self.socket.makefile("rb", 1 << 20)
        self.received = 0
        self.read(12)
        self.socket.sendall(b"RFB 003.008\n")
        if 1 not in self.read(self.read(1)[0]):
            raise RuntimeError("the server wants a password")
        self.socket.sendall(b"\1")
        if self.number(">I") != 0:
            raise RuntimeError("the server refuses us")
        self.socket.sendall(b"\1")
        self.width, self.height = struct.unpack(">HH", self.read(4))
        self.read(16)
        self.read(self.number(">I"))
        self.socket.sendall(struct.pack(">B3xBBBBHHHBBB3x", 0, 32, 24, 0, 1, 255, 255, 255, 16, 8, 0))
        encodings = [TIGHT, LAST_RECT, QUALITY_LEVEL + 5, COMPRESS_LEVEL + 1, FINE_QUALITY + quality,
                     FINE_SUBSAMPLING + SUBSAMPLED_BOTH_WAYS]
        self.socket.sendall(struct.pack(f">BxH{len(encodings)}i", 2, len(encodings), *encodings))
        self.ask(incremental=0)

    def read(self, size):
        data = self.input.read(size)
        if len(data) != size:
            raise EOFError("the server is gone")
        self.received += size
        return data

    def number(self, form):
        return struct.unpack(form, self.read(struct.calcsize(form)))[0]

    def compact(self):
        """A length of one to three bytes, the lowest bits first."""
        length = 0
        for shift in (0, 7, 14):
            byte = self.read(1)[0]
            length |= (byte if shift == 14 else byte & 0x7F) << shift
            if not byte & 0x80:
                break
        return length

    def ask(self, incremental=1):
        self.socket.sendall(struct.pack(">BBHHHH", 3, incremental, 0, 0, self.width, self.height))

    def update(self):
        """Reads the next update, asking for another at once. Its bytes; 0 if it was another message."""
        before = self.received
        kind = self.read(1)[0]
        if kind == 1:  # colours of a palette
            self.read(3)
            self.read(6 * self.number(">H"))
        elif kind == 3:  # a clipboard
            self.read(3)
            self.read(self.number(">I"))
        if kind != 0:
            return 0
        self.read(1)
        count = self.number(">H")
        self.ask()
        while count > 0:
            _, _, width, height, encoding = struct.unpack(">HHHHi", self.read(12))
            if encoding == LAST_RECT:
                break
            if encoding != TIGHT:
                raise RuntimeError(f"a rectangle in encoding {encoding}")
            self.rectangle(width, height)
            count -= 1
        return self.received - before

    def rectangle(self, width, height):
        control = self.read(1)[0] >> 4
        if control == FILL:
            self.read(PIXEL_SIZE)
        elif control == JPEG:
            self.read(self.compact())
        else:
            size = width * height * PIXEL_SIZE
            kind = self.read(1)[0] if control & EXPLICIT_FILTER else COPY
            if kind == PALETTE:
                colors = self.read(1)[0] + 1
                self.read(colors * PIXEL_SIZE)
                size = (width + 7) // 8 * height if colors == 2 else width * height
            self.read(size if size < SMALLEST_COMPRESSED else self.compact())
