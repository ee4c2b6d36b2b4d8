"""A file of more than 2 GiB, there and back."""

import filecmp
import unittest

from clienttest import DONE, ClientTest


class Large(ClientTest):
    def test_more_than_two_gibibytes(self):
        source = self.local / "large.bin"
        with open(source, "wb") as file:
            file.truncate(1 << 31)
            file.seek(0, 2)
            file.write(b"the end")
        device = "127.0.0.1:8081"
        self.expect(DONE, "files", "put", source.name, self.user_files, host=device, timeout=280)
        stored = self.user_files / source.name
        self.assertEqual(stored.stat().st_size, (1 << 31) + 7)
        source.unlink()
        self.expect(DONE, "files", "get", stored, host=device, timeout=280)
        self.assertTrue(filecmp.cmp(source, stored, shallow=False))


if __name__ == "__main__":
    unittest.main()
