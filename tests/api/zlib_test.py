#!/usr/bin/env python3
"""The zlib driver's data is read by another zlib, and the other way round."""
import ctypes
import unittest
import zlib

from zutheader import BUILD

TEXT = b"".join(b"%d bottles of beer on the wall\n" % i for i in range(5000))


class Buf(ctypes.Structure):
    _fields_ = [("data", ctypes.POINTER(ctypes.c_uint8)), ("offset", ctypes.c_int32),
                ("size", ctypes.c_int32), ("capacity", ctypes.c_int32),
                ("is_static", ctypes.c_int32)]


class Zlib(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.zut = ctypes.CDLL(str(BUILD / "bin" / "libzut.so.1"))
        cls.zut.ZutBufCreate.restype = ctypes.POINTER(Buf)
        cls.zut.ZutBufAllocAligned.restype = ctypes.c_void_p

    def run_through(self, operation, data):
        source, result = self.zut.ZutBufCreate(len(data)), self.zut.ZutBufCreate(16)
        place = self.zut.ZutBufAllocAligned(source, len(data), 1)
        ctypes.memmove(place, data, len(data))
        self.assertEqual(operation(result, source), 1)
        return ctypes.string_at(result.contents.data, result.contents.size)

    def test_another_zlib_reads_ours(self):
        self.assertEqual(zlib.decompress(self.run_through(self.zut.ZutCompress, TEXT)), TEXT)

    def test_we_read_another_zlibs(self):
        for level in (0, 1, 9):
            data = zlib.compress(TEXT, level)
            self.assertEqual(self.run_through(self.zut.ZutUncompress, data), TEXT)


if __name__ == "__main__":
    unittest.main()
