"""What the command line's tests share: running the tool, and a small reader and writer of PNG and BMP of their own."""
import os
import struct
import subprocess
import tempfile
import unittest
import zlib

VEL = os.environ.get("VEL", "vel")
SOURCE = os.environ.get("VEL_SOURCE", ".")
OK, DIFFERENT, USAGE, INPUT, OUTPUT, OPERATION, WORKER, MODULE = range(8)


def example(name):
    return os.path.join(SOURCE, "examples", name)


class Picture:
    """Rows of channel tuples (or single numbers); depth in bits per channel; a palette of (r, g, b) or None."""

    def __init__(self, width, height, kind, depth, rows, palette=None):
        self.width, self.height, self.kind, self.depth = width, height, kind, depth
        self.rows, self.palette = rows, palette

    def __eq__(self, other):
        return vars(self) == vars(other)


CHANNELS = {"grey": 1, "rgb": 3, "palette": 1, "grey-alpha": 2, "rgba": 4}
PNG_TYPES = {"grey": 0, "rgb": 2, "palette": 3, "grey-alpha": 4, "rgba": 6}


def photo_like(width, height, kind="rgb"):
    """Smooth gradients with a little texture, the same every time."""
    rows = []
    for y in range(height):
        row = []
        for x in range(width):
            texture = (x * 7919 + y * 104729 + x * y) % 31
            pixel = ((x * 200 // width + texture) % 256, (y * 180 // height + 2 * texture) % 256,
                     ((x + y) * 90 // (width + height) + texture) % 256, 255 - texture)
            row.append(pixel[:CHANNELS[kind]] if CHANNELS[kind] > 1 else pixel[0])
        rows.append(row)
    return Picture(width, height, kind, 8, rows)


def _chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def write_png(path, picture):
    body = b""
    for row in picture.rows:
        if picture.depth == 8:
            line = bytes(v for pixel in row for v in (pixel if isinstance(pixel, tuple) else (pixel,)))
        elif picture.depth == 16:
            line = b"".join(struct.pack(">H", v) for v in row)
        else:
            bits = "".join(format(v, "0%db" % picture.depth) for v in row)
            bits += "0" * (-len(bits) % 8)
            line = bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8))
        body += b"\0" + line
    header = struct.pack(">IIBBBBB", picture.width, picture.height, picture.depth, PNG_TYPES[picture.kind], 0, 0, 0)
    data = b"\x89PNG\r\n\x1a\n" + _chunk(b"IHDR", header)
    if picture.palette is not None:
        data += _chunk(b"PLTE", bytes(v for entry in picture.palette for v in entry))
    data += _chunk(b"IDAT", zlib.compress(body)) + _chunk(b"IEND", b"")
    with open(path, "wb") as file:
        file.write(data)
    return path


def _unfilter(data, stride, step):
    rows, previous = [], bytearray(stride)
    for start in range(0, len(data), stride + 1):
        kind, line = data[start], bytearray(data[start + 1:start + 1 + stride])
        for i in range(stride):
            a = line[i - step] if i >= step else 0
            b = previous[i]
            c = previous[i - step] if i >= step else 0
            if kind == 1:
                line[i] = (line[i] + a) & 255
            elif kind == 2:
                line[i] = (line[i] + b) & 255
            elif kind == 3:
                line[i] = (line[i] + (a + b) // 2) & 255
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(bytes(line))
        previous = line
    return rows


def read_png(path_or_bytes):
    data = path_or_bytes
    if not isinstance(data, bytes):
        with open(data, "rb") as file:
            data = file.read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG"
    at, body, palette, header = 8, b"", None, None
    while at < len(data):
        length, name = struct.unpack(">I4s", data[at:at + 8])
        content = data[at + 8:at + 8 + length]
        assert struct.unpack(">I", data[at + 8 + length:at + 12 + length])[0] == zlib.crc32(name + content)
        if name == b"IHDR":
            header = struct.unpack(">IIBBBBB", content)
        elif name == b"PLTE":
            palette = [tuple(content[i:i + 3]) for i in range(0, length, 3)]
        elif name == b"IDAT":
            body += content
        at += 12 + length
    width, height, depth, kind_number, _, _, interlace = header
    assert interlace == 0
    kind = {number: name for name, number in PNG_TYPES.items()}[kind_number]
    channels = CHANNELS[kind]
    stride = (width * channels * depth + 7) // 8
    rows = []
    for line in _unfilter(zlib.decompress(body), stride, max(1, channels * depth // 8)):
        if depth < 8:
            per_byte = 8 // depth
            values = [line[x // per_byte] >> (8 - depth * (x % per_byte + 1)) & ((1 << depth) - 1) for x in range(width)]
        elif depth == 16:
            values = [struct.unpack(">H", line[i:i + 2])[0] for i in range(0, len(line), 2)]
        else:
            values = list(line)
        if channels > 1:
            values = [tuple(values[i:i + channels]) for i in range(0, len(values), channels)]
        rows.append(values)
    return Picture(width, height, kind, depth, rows, palette)


def read_bmp8(path):
    """Palette and rows (top first) of an 8-bit BMP without compression, and whether it is stored bottom-up."""
    with open(path, "rb") as file:
        data = file.read()
    offset, header, width, height, _, bits, compression = struct.unpack("<IIiiHHI", data[10:34])
    assert data[:2] == b"BM" and bits == 8 and compression == 0
    used = struct.unpack("<I", data[46:50])[0] or 256
    table = data[14 + header:14 + header + 4 * used]
    palette = [(table[i + 2], table[i + 1], table[i]) for i in range(0, len(table), 4)]
    stride = (width + 3) // 4 * 4
    rows = [list(data[offset + y * stride:offset + y * stride + width]) for y in range(abs(height))]
    return palette, rows[::-1] if height > 0 else rows, height > 0


class VelTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="vel-test-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def vel(self, *words, code=OK, stdin=None, text=True, env=None, cwd=None, timeout=300):
        """Runs the tool, checks its exit code, and returns what it wrote (stdout, stderr)."""
        environment = {key: value for key, value in os.environ.items() if key != "NO_COLOR"}
        environment.update(env or {})
        done = subprocess.run([VEL, *words], input=stdin, capture_output=True, timeout=timeout, env=environment,
                              cwd=cwd or self.folder)
        out = done.stdout.decode() if text else done.stdout
        err = done.stderr.decode()
        self.assertEqual(done.returncode, code, "vel %s\n%s%s" % (" ".join(words), out if text else "", err))
        return out, err

    def refused(self, code, *words, says=(), **more):
        """The command fails with that code and one line that holds every text of `says`."""
        out, err = self.vel(*words, code=code, **more)
        self.assertEqual(out, "")
        self.assertEqual(err.count("\n"), 1, err)
        self.assertTrue(err.startswith("vel: "), err)
        for text in [says] if isinstance(says, str) else says:
            self.assertIn(text, err)
        return err

    def files(self, folder=None):
        return sorted(os.listdir(folder or self.folder))
